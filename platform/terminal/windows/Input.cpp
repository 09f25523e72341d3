#include "Input.h"

#include "Handle.h"
#include "Text.h"
#include "terminal/LinePieces.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <string_view>
#include <thread>
#include <utility>

namespace terminal {

namespace {

using SteadyClock = std::chrono::steady_clock;

// How long the first look takes at least, so that what was there before the program is seen by it.
constexpr std::chrono::milliseconds firstLook{50};

// What is left of the limit of one call.
class Patience {
public:
    explicit Patience(std::optional<std::chrono::milliseconds> limit)
        : end_(limit ? std::optional(SteadyClock::now() + *limit) : std::nullopt) {}

    DWORD milliseconds() const {
        if (!end_) {
            return INFINITE;
        }
        auto const left = std::chrono::ceil<std::chrono::milliseconds>(*end_ - SteadyClock::now()).count();
        return static_cast<DWORD>(std::clamp<decltype(left)>(left, 0, std::numeric_limits<int>::max()));
    }

private:
    std::optional<SteadyClock::time_point> end_;
};

// A file, a device without bytes, or a stream that is missing: reading never waits.
class FileInput final : public Input {
public:
    explicit FileInput(HANDLE stream) : stream_(stream), ended_(stream == nullptr) {}

    Console::Input readLine(std::string & line, std::optional<std::chrono::milliseconds>) override {
        while (!lines_.take(line)) {
            if (ended_) {
                return Console::Input::Ended;
            }
            std::array<char, 4096> bytes;
            DWORD count = 0;
            ended_ = ReadFile(stream_, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr) == FALSE ||
                     count == 0;
            if (ended_) {
                lines_.end();
            } else {
                lines_.add({bytes.data(), count});
            }
        }
        return Console::Input::Line;
    }

private:
    HANDLE stream_;
    LinePieces lines_;
    bool ended_;
};

// Pieces of text from a stream that takes its time for them.
class SlowStream {
public:
    SlowStream(HANDLE stream, bool isConsole) : stream_(stream), isConsole_(isConsole) {}

    bool isConsole() const { return isConsole_; }

    // The next piece in UTF-8, which may be empty; none after the end.
    std::optional<std::string> read() { return isConsole_ ? readConsole() : readBytes(); }

private:
    std::optional<std::string> readBytes() {
        std::array<char, 4096> bytes;
        DWORD count = 0;
        if (ReadFile(stream_, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr) == FALSE || count == 0) {
            return std::nullopt;
        }
        return std::string(bytes.data(), count);
    }

    // Whole lines, or nothing after Ctrl+C.
    std::optional<std::string> readConsole() {
        constexpr wchar_t endKey = L'\x1A'; // Ctrl+Z
        std::array<wchar_t, 4096> units;
        DWORD count = 0;
        if (ReadConsoleW(stream_, units.data(), static_cast<DWORD>(units.size()), &count, nullptr) == FALSE ||
            (count != 0 && units[0] == endKey)) {
            return std::nullopt;
        }
        // A pair of units may have been cut between two pieces.
        cut_.append(units.data(), count);
        std::size_t size = cut_.size();
        if (size != 0 && IS_HIGH_SURROGATE(cut_[size - 1])) {
            --size;
        }
        std::string text = toUtf8(std::wstring_view(cut_).substr(0, size));
        cut_.erase(0, size);
        return text;
    }

    HANDLE stream_;
    bool isConsole_;
    std::wstring cut_;
};

// Reads on a thread of its own, because a pipe or a console gives back a read only when somebody has written. It is
// asked only when a line is wanted: what nobody wants stays where it is.
class ThreadInput final : public Input {
public:
    ThreadInput(SlowStream stream, HANDLE stopEvent)
        : stopEvent_(stopEvent), shared_(std::make_shared<Shared>(std::move(stream))) {}
    ThreadInput(ThreadInput const &) = delete;
    ThreadInput & operator=(ThreadInput const &) = delete;
    ~ThreadInput() override {
        if (started_ && !reading_) {
            shared_->ends = true;
            SetEvent(shared_->wanted.get());
        }
    }

    bool isConsole() const override { return isConsole_; }

    Console::Input readLine(std::string & line, std::optional<std::chrono::milliseconds> limit) override {
        if (!started_ && limit) {
            limit = std::max(*limit, firstLook);
        }
        Patience const patience(limit);
        for (;;) {
            if (lines_.take(line)) {
                return Console::Input::Line;
            }
            if (ended_) {
                return Console::Input::Ended;
            }
            if (WaitForSingleObject(stopEvent_, 0) == WAIT_OBJECT_0) {
                return Console::Input::Nothing;
            }
            ask();
            std::array<HANDLE, 2> const awaited{shared_->arrived.get(), stopEvent_};
            DWORD const woken = WaitForMultipleObjects(2, awaited.data(), FALSE, patience.milliseconds());
            if (woken == WAIT_OBJECT_0) {
                takePiece();
            } else if (woken == WAIT_TIMEOUT) {
                return Console::Input::Nothing;
            }
        }
    }

private:
    struct Shared {
        explicit Shared(SlowStream slow) : stream(std::move(slow)) {}
        SlowStream stream;
        Handle const wanted = makeEvent(false);
        Handle const arrived = makeEvent(false);
        std::optional<std::string> piece; // the thread's between wanted and arrived
        bool ends = false;
    };

    static void readOn(Shared & shared) {
        while (WaitForSingleObject(shared.wanted.get(), INFINITE) == WAIT_OBJECT_0 && !shared.ends) {
            shared.piece = shared.stream.read();
            SetEvent(shared.arrived.get());
        }
    }

    void ask() {
        if (reading_) {
            return;
        }
        if (!started_) {
            std::thread([shared = shared_] { readOn(*shared); }).detach();
            started_ = true;
        }
        reading_ = true;
        SetEvent(shared_->wanted.get());
    }

    void takePiece() {
        reading_ = false;
        ended_ = !shared_->piece;
        if (ended_) {
            lines_.end();
        } else {
            lines_.add(*shared_->piece);
        }
    }

    HANDLE stopEvent_;
    std::shared_ptr<Shared> shared_; // with a thread that is still reading when this goes
    bool isConsole_ = shared_->stream.isConsole();
    LinePieces lines_;
    bool started_ = false;
    bool reading_ = false;
    bool ended_ = false;
};

} // namespace

std::unique_ptr<Input> openInput(HANDLE stream, HANDLE stopEvent) {
    if (stream == nullptr || stream == INVALID_HANDLE_VALUE) {
        return std::make_unique<FileInput>(nullptr);
    }
    DWORD mode = 0;
    bool const isConsole = GetConsoleMode(stream, &mode) != FALSE;
    if (!isConsole && GetFileType(stream) != FILE_TYPE_PIPE) {
        return std::make_unique<FileInput>(stream);
    }
    return std::make_unique<ThreadInput>(SlowStream(stream, isConsole), stopEvent);
}

} // namespace terminal
