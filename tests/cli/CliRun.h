// Runs the program in this process, with small tests in the place of the module's.
#pragma once

#include "support/FakeConsole.h"

#include "tkit5.h"

#include <functional>
#include <string>
#include <vector>

namespace test {

// What was asked of the tests that are registered here.
struct TestCalls {
    std::vector<std::string> devices;                                      // identifiers, in order
    std::function<tkit5::TestResult(tkit5::DiagDevice const &)> behaviour; // empty: PASS
    int moduleInits = 0;
};
TestCalls & calls();

// The event that the tests may raise, with the key "FOUND".
inline tkit5::Event * found = nullptr;

struct CliResult {
    int code = -1;
    std::string output;
    std::string errors;
};

// Forgets earlier calls, then runs in English. The tests that there are: PortTest for USB devices with a parent port
// that are not of vendor 2034, with the parameters Text, Flag, Count and Share; WholeBus with the parameter Count;
// Overwrite, destructive, for USB disks that the program does not run from; Absent, declared without an entry; Rewrite,
// destructive, for USB disks, with the parameters that tell what becomes of the data.
CliResult runCli(std::vector<std::string> arguments, FakeConsole & console);
CliResult runCli(std::vector<std::string> arguments);

// A file that holds the text; a name for one that does not exist yet.
std::string temporaryFile(std::string const & ending, std::string const & contents);
std::string temporaryName(std::string const & ending);
std::string contentsOf(std::string const & path);

void keepForSchemaCheck(std::string const & output); // of a command, as JSON lines

// A PC with one controller, these ports on its root hub and a name; more members of the description may follow.
std::string pcFile(std::string const & ports, std::string const & more = "");

} // namespace test
