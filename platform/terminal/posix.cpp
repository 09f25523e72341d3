#include "Console.h"
#include "LinePieces.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>

namespace terminal {

namespace {

using SteadyClock = std::chrono::steady_clock;

// Once a stop was asked for, a reader that takes nothing for so long has lost interest: without this limit a full pipe
// whose reader sleeps would keep the process from ending.
constexpr std::chrono::milliseconds patienceWithReader{2000};

// The next file that the process opens takes the number of a standard stream that it was started without, be it a disk,
// and would then get what is meant for people. In the place of such a stream input ends at once, and what is written is
// lost, since nothing can be written to a descriptor for reading.
void occupyClosedStreams() {
    for (int const stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) { // opening takes the lowest that is free
        if (::fcntl(stream, F_GETFD) < 0 && errno == EBADF) {
            ::open("/dev/null", O_RDONLY);
        }
    }
}

// What the signal handlers touch.
std::atomic<bool> stopAsked{false};
std::atomic<int> wakeUpEnd{-1};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

extern "C" void onStopSignal(int /*signal*/) {
    int const before = errno;
    stopAsked = true;
    if (int const end = wakeUpEnd; end >= 0) {
        char const byte = 0;
        [[maybe_unused]] auto const written = ::write(end, &byte, 1); // a full pipe wakes just as well
    }
    errno = before;
}

class Descriptor {
public:
    explicit Descriptor(int owned = -1) : descriptor_(owned) {}
    Descriptor(Descriptor const &) = delete;
    Descriptor & operator=(Descriptor const &) = delete;
    ~Descriptor() { reset(-1); }

    int get() const { return descriptor_; }
    void reset(int owned) {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
        descriptor_ = owned;
    }

private:
    int descriptor_;
};

// A pipe that becomes readable for good with the first stop signal, so that a signal just before a wait still ends it.
class WakeUp {
public:
    WakeUp() {
        std::array<int, 2> ends{-1, -1};
        if (::pipe(ends.data()) != 0) {
            return; // a wait is then still ended by the signal itself
        }
        for (int const end : ends) {
            ::fcntl(end, F_SETFD, FD_CLOEXEC);
            ::fcntl(end, F_SETFL, O_NONBLOCK);
        }
        readEnd_.reset(ends[0]);
        writeEnd_.reset(ends[1]);
        wakeUpEnd = ends[1];
    }
    WakeUp(WakeUp const &) = delete;
    WakeUp & operator=(WakeUp const &) = delete;
    ~WakeUp() { wakeUpEnd = -1; }

    pollfd watch() const { return {.fd = readEnd_.get(), .events = POLLIN, .revents = 0}; }

private:
    Descriptor readEnd_;
    Descriptor writeEnd_;
};

// For the rest of the process: a signal that arrives while it ends must not take the place of its exit code.
void handle(int signal, void (*handler)(int)) {
    struct sigaction before {};
    ::sigaction(signal, nullptr, &before);
    if (before.sa_handler == SIG_IGN) {
        return; // who started us with a signal ignored (nohup, a job in the background) means it to stay so
    }
    struct sigaction action {};
    action.sa_handler = handler; // and not only for the first time
    sigemptyset(&action.sa_mask);
    ::sigaction(signal, &action, nullptr);
}

// Milliseconds for poll, rounded up; never negative.
int pollTimeout(SteadyClock::duration left) {
    auto const milliseconds = std::chrono::ceil<std::chrono::milliseconds>(left).count();
    return static_cast<int>(std::clamp<decltype(milliseconds)>(milliseconds, 0, INT_MAX));
}

class StandardConsole final : public Console {
public:
    StandardConsole() {
        handle(SIGPIPE, SIG_IGN);
        for (int const signal : {SIGINT, SIGTERM, SIGHUP}) {
            handle(signal, onStopSignal);
        }
    }

    bool write(std::string_view text) override {
        if (outputLost_) {
            return false;
        }
        Written const written = writeAll(STDOUT_FILENO, text);
        outputLost_ = written != Written::All;
        if (written == Written::Refused) {
            writeError(textOfLostOutput);
        }
        return !outputLost_;
    }

    void writeError(std::string_view text) override { writeAll(STDERR_FILENO, text); }

    bool outputIsTerminal() const override { return ::isatty(STDOUT_FILENO) == 1; }
    bool inputIsTerminal() const override { return ::isatty(STDIN_FILENO) == 1; }

    unsigned width() const override {
        winsize size{};
        return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : 80U;
    }

    bool stopRequested() const override { return stopAsked; }

    Input readLine(std::string & line, std::optional<std::chrono::milliseconds> limit) override {
        auto const start = SteadyClock::now();
        for (;;) {
            if (input_.take(line)) {
                return Input::Line;
            }
            if (inputEnded_) {
                return Input::Ended;
            }
            if (stopRequested()) {
                return Input::Nothing;
            }
            std::array<pollfd, 2> watched{pollfd{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0}, wakeUp_.watch()};
            int const timeout = limit ? pollTimeout(start + *limit - SteadyClock::now()) : -1;
            int const ready = ::poll(watched.data(), watched.size(), timeout);
            if (ready == 0) {
                return Input::Nothing;
            }
            if (ready < 0 && errno != EINTR) {
                endInput();
            } else if (ready > 0 && watched[0].revents != 0) {
                readSome();
            }
        }
    }

private:
    enum class Written { All, NobodyReads, Refused };

    void readSome() {
        std::array<char, 4096> bytes;
        auto const count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
        if (count > 0) {
            input_.add({bytes.data(), static_cast<std::size_t>(count)});
        } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
            endInput();
        }
    }

    void endInput() {
        input_.end();
        inputEnded_ = true;
    }

    Written writeAll(int descriptor, std::string_view text) const {
        while (!text.empty()) {
            if (!waitForReader(descriptor)) {
                return Written::NobodyReads;
            }
            // A pipe that is ready takes that much without blocking.
            auto const count = ::write(descriptor, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
            if (count >= 0) {
                text.remove_prefix(static_cast<std::size_t>(count));
            } else if (errno == EPIPE || errno == ECONNRESET) {
                return Written::NobodyReads; // and knows it
            } else if (errno != EINTR && errno != EAGAIN) {
                return Written::Refused;
            }
        }
        return Written::All;
    }

    bool waitForReader(int descriptor) const {
        for (;;) {
            pollfd const output{.fd = descriptor, .events = POLLOUT, .revents = 0};
            std::array<pollfd, 2> watched{output, wakeUp_.watch()};
            bool const stopping = stopRequested();
            int const timeout = stopping ? pollTimeout(patienceWithReader) : -1;
            int const ready = ::poll(watched.data(), stopping ? 1 : 2, timeout);
            if (ready == 0 || (ready < 0 && errno != EINTR)) {
                return false;
            }
            if (ready > 0 && watched[0].revents != 0) {
                return true; // or in error, which the write will tell
            }
        }
    }

    WakeUp wakeUp_;
    LinePieces input_;
    bool inputEnded_ = false;
    bool outputLost_ = false;
};

} // namespace

std::unique_ptr<Console> openStandardConsole() {
    occupyClosedStreams();
    return std::make_unique<StandardConsole>();
}

} // namespace terminal
