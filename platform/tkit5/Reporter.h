// Where everything that happens in a run goes. One implementation writes for people, one writes JSON lines for a host.
#pragma once

#include "Registry.h"
#include "tkit5.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tkit5 {

enum class Severity { Error, Warning, Informative };

struct RunStart {
    std::string test;
    std::string machine;   // what PC this is
    bool isBundledMachine; // nobody named a PC, so a bundled one stands in
    std::size_t deviceCount;
    std::vector<std::pair<std::string, std::string>> parameters; // those that were passed, as text
};

struct DeviceReport {
    std::string identifier; // what --device takes
    std::string name;
    std::string description;
    std::string osLocator;
    std::vector<std::string> capabilities;
};

struct EventReport {
    Severity severity;
    std::string key;
    Variables variables;
    std::string text; // in the language of the run
    std::string sourceFile;
    int sourceLine;
};

struct ProgressReport {
    std::string key;
    Variables variables;
    std::string text;
};

struct MessageBoxReport {
    std::uint32_t id; // from 1, by order of creation
    std::string title;
    std::string message;
    MessageBox2_Options options;
};

struct LogReport {
    int priority;
    std::string logger;
    std::string text;
};

struct TraceReport {
    bool entered; // else left
    std::string logger;
    std::string function;
    std::string sourceFile;
    int sourceLine;
};

// A line on standard input that changed nothing.
struct InputErrorReport {
    std::string line;    // as it came
    std::string message; // what was expected instead
};

class Reporter {
public:
    virtual ~Reporter() = default;

    virtual void runStarted(RunStart const & run) = 0;
    virtual void testStarted(std::string const & test, DeviceReport const & device) = 0;
    virtual void event(EventReport const & event) = 0;
    virtual void progress(ProgressReport const & progress) = 0;
    virtual void percentDone(int percent) = 0;
    virtual void messageBoxShown(MessageBoxReport const & box) = 0;
    virtual void messageBoxClosed(std::uint32_t id, MessageBox2_Return answer) = 0;
    virtual void inputError(InputErrorReport const & input) = 0;
    virtual void log(LogReport const & line) = 0;
    virtual void trace(TraceReport const & line) = 0;
    virtual void testEnded(std::string const & test, DeviceReport const & device, TestResult const & result) = 0;
    virtual void runEnded(std::string const & test, TestResult const & result, bool stopped) = 0;

    // True once output was lost because nobody reads it any more.
    virtual bool outputLost() const = 0;
};

// "PASS" for TestResult::PASS(), and so on; "error", "warning", "informative".
char const * resultName(TestResult const & result);
char const * severityName(Severity severity);

} // namespace tkit5
