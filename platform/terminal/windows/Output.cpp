#include "Output.h"

#include "Handle.h"
#include "Text.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <string>
#include <thread>

namespace terminal {

namespace {

constexpr DWORD patienceWithReader = 2000; // milliseconds
constexpr DWORD betweenLooks = 50;

constexpr std::size_t pieceSize = 4096; // bytes that a pipe usually has room for

// Does not return before somebody took it all.
bool writeBlocking(HANDLE stream, std::string_view text) {
    while (!text.empty()) {
        DWORD written = 0;
        auto const size = static_cast<DWORD>(std::min(text.size(), pieceSize));
        if (WriteFile(stream, text.data(), size, &written, nullptr) == FALSE || written == 0) {
            return false;
        }
        text.remove_prefix(written);
    }
    return true;
}

class NoOutput final : public Output {
public:
    bool write(std::string_view) override { return true; } // a program without streams loses nothing
};

class FileOutput final : public Output {
public:
    explicit FileOutput(HANDLE stream) : stream_(stream) {}
    bool write(std::string_view text) override { return writeBlocking(stream_, text); }

private:
    HANDLE stream_;
};

class ConsoleOutput final : public Output {
public:
    explicit ConsoleOutput(HANDLE stream) : stream_(stream) {
        constexpr DWORD colours = ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING;
        if (GetConsoleMode(stream_, &modeBefore_) != FALSE) {
            hasColours_ = SetConsoleMode(stream_, modeBefore_ | colours) != FALSE;
        }
    }
    ConsoleOutput(ConsoleOutput const &) = delete;
    ConsoleOutput & operator=(ConsoleOutput const &) = delete;
    ~ConsoleOutput() override {
        if (hasColours_) {
            SetConsoleMode(stream_, modeBefore_);
        }
    }

    bool write(std::string_view text) override {
        std::wstring const wide = toWide(hasColours_ ? std::string(text) : withoutColours(text));
        std::wstring_view rest = wide;
        while (!rest.empty()) {
            std::size_t size = std::min(rest.size(), pieceSize);
            if (size < rest.size() && IS_HIGH_SURROGATE(rest[size - 1])) {
                --size;
            }
            DWORD written = 0;
            if (WriteConsoleW(stream_, rest.data(), static_cast<DWORD>(size), &written, nullptr) == FALSE ||
                written == 0) {
                return false;
            }
            rest.remove_prefix(written);
        }
        return true;
    }

    bool isConsole() const override { return true; }

    unsigned width() const override {
        CONSOLE_SCREEN_BUFFER_INFO screen{};
        if (GetConsoleScreenBufferInfo(stream_, &screen) == FALSE || screen.srWindow.Right < screen.srWindow.Left) {
            return Output::width();
        }
        return static_cast<unsigned>(screen.srWindow.Right - screen.srWindow.Left) + 1U;
    }

private:
    HANDLE stream_;
    DWORD modeBefore_ = 0;
    bool hasColours_ = false;
};

// Writes on a thread of its own, because a write into a full pipe ends only when somebody reads.
class PipeOutput final : public Output {
public:
    PipeOutput(HANDLE stream, HANDLE stopEvent) : stopEvent_(stopEvent), shared_(std::make_shared<Shared>(stream)) {
        std::thread([shared = shared_] { writeOn(*shared); }).detach();
    }
    PipeOutput(PipeOutput const &) = delete;
    PipeOutput & operator=(PipeOutput const &) = delete;
    ~PipeOutput() override {
        if (!lost_) {
            shared_->ends = true;
            SetEvent(shared_->work.get());
        }
    }

    bool write(std::string_view text) override {
        if (lost_ || text.empty()) {
            return !lost_;
        }
        shared_->text = text;
        SetEvent(shared_->work.get());
        lost_ = !waitForReader() || !shared_->succeeded;
        return !lost_;
    }

private:
    struct Shared {
        explicit Shared(HANDLE handle) : stream(handle) {}
        HANDLE const stream;
        Handle const work = makeEvent(false);
        Handle const done = makeEvent(false);
        std::string text; // the thread's between work and done
        bool succeeded = true;
        bool ends = false;
        std::atomic<std::size_t> pieces = 0; // that were taken so far
    };

    static void writeOn(Shared & shared) {
        while (WaitForSingleObject(shared.work.get(), INFINITE) == WAIT_OBJECT_0 && !shared.ends) {
            std::string_view rest = shared.text;
            shared.succeeded = true;
            while (!rest.empty() && shared.succeeded) {
                std::string_view const piece = rest.substr(0, pieceSize);
                shared.succeeded = writeBlocking(shared.stream, piece);
                rest.remove_prefix(piece.size());
                ++shared.pieces;
            }
            SetEvent(shared.done.get());
        }
    }

    bool waitForReader() {
        std::array<HANDLE, 2> const awaited{shared_->done.get(), stopEvent_};
        if (WaitForMultipleObjects(2, awaited.data(), FALSE, INFINITE) == WAIT_OBJECT_0) {
            return true;
        }
        for (DWORD idle = 0; idle < patienceWithReader;) {
            std::size_t const before = shared_->pieces;
            if (WaitForSingleObject(shared_->done.get(), betweenLooks) == WAIT_OBJECT_0) {
                return true;
            }
            idle = shared_->pieces == before ? idle + betweenLooks : 0;
        }
        return false;
    }

    HANDLE stopEvent_;
    std::shared_ptr<Shared> shared_; // with a thread that is still writing when this goes
    bool lost_ = false;
};

} // namespace

std::unique_ptr<Output> openOutput(HANDLE stream, HANDLE stopEvent) {
    if (stream == nullptr || stream == INVALID_HANDLE_VALUE) {
        return std::make_unique<NoOutput>();
    }
    DWORD mode = 0;
    if (GetConsoleMode(stream, &mode) != FALSE) {
        return std::make_unique<ConsoleOutput>(stream);
    }
    if (GetFileType(stream) == FILE_TYPE_PIPE) {
        return std::make_unique<PipeOutput>(stream, stopEvent);
    }
    return std::make_unique<FileOutput>(stream);
}

} // namespace terminal
