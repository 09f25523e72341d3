// Runs the module in this process the way a host does, and gives what the host would have read.
#pragma once

#include "PcBuilder.h"

#include "support/FakeConsole.h"

#include <map>
#include <string>
#include <vector>

namespace test {

struct RaisedEvent {
    std::string severity;
    std::string key;
    std::map<std::string, std::string> variables;
    std::string text;
    std::string file;
    int line = 0;
};

struct HostView {
    int exitCode = -1;
    std::string result;                                             // the merged one
    std::vector<std::pair<std::string, std::string>> deviceResults; // device identifier, result
    std::vector<RaisedEvent> events;
    std::vector<std::string> log;                    // texts, of every priority asked for
    std::map<std::string, int> priorityOf;           // by log text
    std::vector<std::pair<bool, std::string>> trace; // entered (else left), operation
    std::map<std::string, std::string> scopeSites;   // by operation: file:line
    std::string errors;                              // what went to the error stream
    std::string output;

    std::vector<std::string> keys() const;
    bool logged(std::string const & text) const; // exactly that line
};

// `nuvrusb run TEST --machine <the description> --format jsonl ARGUMENTS...`
HostView runTest(std::string const & test, Json const & pc, std::vector<std::string> const & arguments = {});
HostView runTest(std::string const & test, Json const & pc, std::vector<std::string> const & arguments,
                 FakeConsole & console); // with what the host types

// The same on a PC of the machines folder.
HostView runTestOnBundled(std::string const & test, std::string const & file,
                          std::vector<std::string> const & arguments = {});

std::vector<Json> readLines(std::string const & path); // of a file of JSON lines

std::string machineFile(std::string const & file);

} // namespace test
