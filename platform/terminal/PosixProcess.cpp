#include "Process.h"

#include <cstdlib>
#include <utility>

namespace terminal {

std::vector<std::string> commandLineArguments(int argc, char const * const * argv) {
    std::vector<std::string> arguments;
    for (int i = 1; i < argc; ++i) {
        arguments.emplace_back(argv[i]);
    }
    return arguments;
}

std::string userLanguage() {
    return {};
}

std::string stateFolder() {
    for (auto const & [variable, below] : {std::pair("XDG_STATE_HOME", ""), std::pair("HOME", "/.local/state")}) {
        char const * const value = std::getenv(variable);
        if (value != nullptr && *value == '/') { // a relative one would mean another folder in each place
            return std::string(value) + below;
        }
    }
    return {};
}

} // namespace terminal
