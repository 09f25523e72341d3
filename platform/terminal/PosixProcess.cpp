#include "Process.h"

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

} // namespace terminal
