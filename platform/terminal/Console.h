// The process's standard streams and its signals, behind one interface, so that a whole run can be driven by a test.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace terminal {

// For the error stream, where the loss is not the wish of whoever has closed a pipe.
inline constexpr std::string_view textOfLostOutput = "nuvrusb: The output could not be written to its end.\n";

class Console {
public:
    virtual ~Console() = default;

    // Writes UTF-8 text to standard output and flushes it. False once nobody reads it any more (a closed pipe, a full
    // disk); never a signal or an exception.
    virtual bool write(std::string_view text) = 0;
    virtual void writeError(std::string_view text) = 0; // to the error stream; loss is ignored

    virtual bool outputIsTerminal() const = 0;
    virtual bool inputIsTerminal() const = 0;
    virtual unsigned width() const = 0; // columns of the terminal, 80 where there is none

    // True once the user or the system asked the process to stop (Ctrl+C, SIGTERM, a hang-up). Stays true; asking again
    // changes nothing, so that no impatient Ctrl+C ends the process between two steps that belong together.
    virtual bool stopRequested() const = 0;

    enum class Input { Line, Nothing, Ended };

    // The next line of standard input without its end. Waits for it in real time up to the limit (no limit when empty);
    // returns Nothing earlier when a stop is requested meanwhile. Ended after the last line. A line longer than 64 KiB
    // is cut there.
    virtual Input readLine(std::string & line, std::optional<std::chrono::milliseconds> limit) = 0;
};

// The real streams. Installs the handlers for Ctrl+C and the like, and takes away the signal of a broken pipe, for the
// rest of the process; one per process.
std::unique_ptr<Console> openStandardConsole();

} // namespace terminal
