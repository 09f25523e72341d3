#include "Output.h"

#include "Handle.h"
#include "Text.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <string>
#include <system_error>
#include <thread>

namespace terminal {

namespace {

constexpr DWORD patienceWithReader = 2000; // milliseconds
constexpr DWORD patienceAtTheEnd = 100;    // of a console or session, which leaves some seconds for everything
constexpr DWORD betweenLooks = 50;

constexpr std::size_t pieceSize = 4096; // bytes that a pipe usually has room for

// Ways to write a piece. They do not return before somebody took it all.
using WritePiece = bool (*)(HANDLE stream, std::string_view piece);

bool writeBytes(HANDLE stream, std::string_view piece) {
    while (!piece.empty()) {
        DWORD written = 0;
        if (WriteFile(stream, piece.data(), static_cast<DWORD>(piece.size()), &written, nullptr) == FALSE ||
            written == 0) {
            return false;
        }
        piece.remove_prefix(written);
    }
    return true;
}

bool writeToConsole(HANDLE stream, std::string_view piece) {
    std::wstring const wide = toWide(piece);
    std::wstring_view rest = wide;
    while (!rest.empty()) {
        DWORD written = 0;
        if (WriteConsoleW(stream, rest.data(), static_cast<DWORD>(rest.size()), &written, nullptr) == FALSE ||
            written == 0) {
            return false;
        }
        rest.remove_prefix(written);
    }
    return true;
}

// Writes on a thread of its own, because a write into a full pipe ends only when somebody reads, and one into a console
// only when nobody selects text in it.
class PatientWriter {
public:
    PatientWriter(HANDLE stream, WritePiece writePiece, StopRequests const & requests)
        : requests_(requests), shared_(std::make_shared<Shared>(stream, writePiece)) {}
    PatientWriter(PatientWriter const &) = delete;
    PatientWriter & operator=(PatientWriter const &) = delete;
    ~PatientWriter() {
        if (!thread_.joinable()) {
            return;
        }
        shared_->ends = true;
        SetEvent(shared_->work.get());
        if (lost_) {
            thread_.detach(); // it may still be writing
        } else {
            thread_.join();
        }
    }

    bool write(std::string_view text) {
        if (lost_ || text.empty()) {
            return !lost_;
        }
        shared_->text = text;
        if (thread_.joinable() || startThread()) {
            SetEvent(shared_->work.get());
            lost_ = !waitForReader();
        } else {
            writeText(*shared_);
        }
        lost_ = lost_ || !shared_->succeeded;
        return !lost_;
    }

private:
    struct Shared {
        Shared(HANDLE handle, WritePiece way) : stream(handle), writePiece(way) {}
        HANDLE const stream;
        WritePiece const writePiece;
        Handle const work = makeEvent(false);
        Handle const done = makeEvent(false);
        std::string text; // the thread's between work and done
        bool succeeded = true;
        std::atomic<bool> ends = false;
        std::atomic<std::size_t> pieces = 0; // that were taken so far
    };

    static void writeText(Shared & shared) {
        std::string_view rest = shared.text;
        shared.succeeded = true;
        while (!rest.empty() && shared.succeeded) {
            std::string_view const piece = wholeCharacters(rest, pieceSize);
            shared.succeeded = shared.writePiece(shared.stream, piece);
            rest.remove_prefix(piece.size());
            ++shared.pieces;
        }
    }

    static void writeOn(Shared & shared) {
        while (WaitForSingleObject(shared.work.get(), INFINITE) == WAIT_OBJECT_0 && !shared.ends) {
            writeText(shared);
            SetEvent(shared.done.get());
        }
    }

    bool startThread() {
        try {
            thread_ = std::thread([shared = shared_] { writeOn(*shared); });
        } catch (std::system_error const &) { // so that the text is written without one
        }
        return thread_.joinable();
    }

    bool waitForReader() {
        std::array<HANDLE, 2> const awaited{shared_->done.get(), requests_.stop};
        if (WaitForMultipleObjects(2, awaited.data(), FALSE, INFINITE) == WAIT_OBJECT_0) {
            return true;
        }
        for (DWORD idle = 0; idle < patience();) {
            std::size_t const before = shared_->pieces;
            if (WaitForSingleObject(shared_->done.get(), betweenLooks) == WAIT_OBJECT_0) {
                return true;
            }
            idle = shared_->pieces == before ? idle + betweenLooks : 0;
        }
        return false;
    }

    DWORD patience() const {
        return WaitForSingleObject(requests_.end, 0) == WAIT_OBJECT_0 ? patienceAtTheEnd : patienceWithReader;
    }

    StopRequests const requests_;
    std::shared_ptr<Shared> shared_; // with a thread that is still writing when this goes
    std::thread thread_;             // once there was something to write
    bool lost_ = false;
};

class NoOutput final : public Output {
public:
    bool write(std::string_view) override { return true; } // a program without streams loses nothing
};

class FileOutput final : public Output {
public:
    explicit FileOutput(HANDLE stream) : stream_(stream) {}
    bool write(std::string_view text) override { return writeBytes(stream_, text); }
    bool isFile() const override { return true; }

private:
    HANDLE stream_;
};

class ConsoleOutput final : public Output {
public:
    ConsoleOutput(HANDLE stream, StopRequests const & requests)
        : stream_(stream), writer_(stream, writeToConsole, requests) {
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
        return writer_.write(hasColours_ ? std::string(text) : withoutColours(text));
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
    PatientWriter writer_;
    DWORD modeBefore_ = 0;
    bool hasColours_ = false;
};

class PipeOutput final : public Output {
public:
    PipeOutput(HANDLE stream, StopRequests const & requests) : writer_(stream, writeBytes, requests) {}
    bool write(std::string_view text) override { return writer_.write(text); }

private:
    PatientWriter writer_;
};

} // namespace

std::unique_ptr<Output> openOutput(HANDLE stream, StopRequests const & requests) {
    if (stream == nullptr || stream == INVALID_HANDLE_VALUE) {
        return std::make_unique<NoOutput>();
    }
    DWORD mode = 0;
    if (GetConsoleMode(stream, &mode) != FALSE) {
        return std::make_unique<ConsoleOutput>(stream, requests);
    }
    if (GetFileType(stream) == FILE_TYPE_PIPE) {
        return std::make_unique<PipeOutput>(stream, requests);
    }
    return std::make_unique<FileOutput>(stream);
}

} // namespace terminal
