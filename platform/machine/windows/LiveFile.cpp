#include "LiveFile.h"

#include "ControlThreads.h"
#include "Handle.h"
#include "PerformanceClock.h"
#include "Wait.h"
#include "Wide.h"

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace machine::windows {

namespace {

// A read or write with the record that Windows keeps it in.
class LiveTransfer final : public PendingTransfer {
public:
    LiveTransfer(std::shared_ptr<FileHandle const> file, std::uint64_t offset) : file_(std::move(file)) {
        overlapped_.Offset = static_cast<DWORD>(offset);
        overlapped_.OffsetHigh = static_cast<DWORD>(offset >> 32U);
        overlapped_.hEvent = ended_.get();
    }

    // Begins it by a call that is given the handle and the record; true when it goes on. Otherwise the outcome holds.
    template <class Start> bool begin(Start start, Transfer & outcome) {
        if (ended_.get() == nullptr) {
            outcome = {ERROR_NOT_ENOUGH_MEMORY, 0};
            return false;
        }
        if (start(file_->get(), &overlapped_) != FALSE) {
            outcome = result(FALSE);
            return false;
        }
        DWORD const error = GetLastError();
        outcome = {error, 0};
        return error == ERROR_IO_PENDING;
    }

    Transfer waitForEnd() { return result(TRUE); }

    std::optional<Transfer> wait(Duration limit) override {
        if (WaitForSingleObject(ended_.get(), waitMilliseconds(limit)) != WAIT_OBJECT_0) {
            return std::nullopt;
        }
        return result(FALSE);
    }

    void cancel() override { CancelIoEx(file_->get(), &overlapped_); }

private:
    Transfer result(BOOL waits) {
        DWORD moved = 0;
        bool const succeeded = GetOverlappedResult(file_->get(), &overlapped_, &moved, waits) != FALSE;
        return succeeded ? Transfer{ERROR_SUCCESS, moved} : Transfer{GetLastError(), 0};
    }

    std::shared_ptr<FileHandle const> file_;
    EventHandle ended_;
    OVERLAPPED overlapped_{};
};

// Windows has each handle open for overlapped I/O, whatever the caller asked for: so an I/O control can be bounded and
// cancelled, and a position belongs to each transfer.
class LiveFile final : public File {
public:
    LiveFile(FileHandle handle, bool isOverlapped, std::shared_ptr<ControlThreads> threads)
        : handle_(std::make_shared<FileHandle>(std::move(handle))), isOverlapped_(isOverlapped),
          threads_(std::move(threads)) {}

    Started read(std::uint64_t offset, std::span<std::byte> buffer) override {
        return start(offset, [buffer](HANDLE file, OVERLAPPED * overlapped) {
            return ReadFile(file, buffer.data(), static_cast<DWORD>(buffer.size()), nullptr, overlapped);
        });
    }

    Started write(std::uint64_t offset, std::span<std::byte const> buffer) override {
        return start(offset, [buffer](HANDLE file, OVERLAPPED * overlapped) {
            return WriteFile(file, buffer.data(), static_cast<DWORD>(buffer.size()), nullptr, overlapped);
        });
    }

    std::uint32_t flush() override {
        return FlushFileBuffers(handle_->get()) != FALSE ? ERROR_SUCCESS : GetLastError();
    }

    Transfer control(std::uint32_t code, std::span<std::byte const> input, std::span<std::byte> output,
                     std::optional<Duration> limit) override {
        auto const call = std::make_shared<ControlCall>(handle_, code, input, output.size());
        if (!limit) {
            call->carryOut();
        } else if (std::uint32_t const error = threads_->carryOut(call, *limit)) {
            return {error, 0};
        }
        std::ranges::copy(call->output(), output.begin());
        return call->outcome();
    }

private:
    template <class Start> Started start(std::uint64_t offset, Start startTransfer) {
        auto transfer = std::make_unique<LiveTransfer>(handle_, offset);
        Transfer outcome;
        if (!transfer->begin(startTransfer, outcome)) {
            return {outcome, nullptr};
        }
        if (isOverlapped_) {
            return {{}, std::move(transfer)};
        }
        return {transfer->waitForEnd(), nullptr};
    }

    std::shared_ptr<FileHandle const> handle_; // shared with what goes on after this file
    bool isOverlapped_;
    std::shared_ptr<ControlThreads> threads_;
};

// Services open a raw disk for a moment now and then, so one refusal to whoever wants it alone is not the last word.
FileHandle openInTime(OpenRequest const & request, std::wstring const & path) {
    constexpr std::chrono::milliseconds pause{50};
    constexpr std::chrono::seconds patience{1};
    PerformanceClock clock;
    Duration const giveUpAt = request.share == 0 ? clock.now() + patience : clock.now();
    for (;;) {
        bool const isLast = clock.now() >= giveUpAt;
        FileHandle handle(CreateFileW(path.c_str(), request.access, request.share, nullptr, request.disposition,
                                      request.flags | FILE_FLAG_OVERLAPPED, nullptr));
        if (handle.isValid() || isLast || GetLastError() != ERROR_SHARING_VIOLATION) {
            return handle;
        }
        clock.sleep(pause);
    }
}

} // namespace

Opened openLive(OpenRequest const & request, std::shared_ptr<ControlThreads> const & threads) {
    std::wstring const path = toWide(request.path);
    FileHandle handle = openInTime(request, path);
    if (!handle.isValid()) {
        return {nullptr, GetLastError()};
    }
    bool const isOverlapped = (request.flags & FILE_FLAG_OVERLAPPED) != 0;
    return {std::make_unique<LiveFile>(std::move(handle), isOverlapped, threads), ERROR_SUCCESS};
}

} // namespace machine::windows
