// The command line as words: what they ask for, or why they cannot be understood.
#pragma once

#include "Options.h"

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace tkit5 {

struct HelpRequest {
    std::optional<Command> command; // help for one command, else for the whole program
};
struct VersionRequest {};
struct NothingAsked {}; // no command at all
struct UsageError {
    std::string message;                 // what is wrong and what to type instead
    std::optional<Command> command = {}; // whose help tells more; else that of the whole program
};

using Invocation = std::variant<Options, HelpRequest, VersionRequest, NothingAsked, UsageError>;

// Without the program's own name.
Invocation parseCommandLine(std::vector<std::string> const & arguments);

char const * commandName(Command command);

} // namespace tkit5
