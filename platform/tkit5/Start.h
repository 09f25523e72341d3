// The whole program behind one call, on any console.
#pragma once

#include "terminal/Console.h"

#include <string>
#include <vector>

namespace tkit5 {

// Does what the command line (without the program's own name) asks for and returns the exit code. May be called several
// times in a process, not at once: no parameter, log level or machine outlives its call. Throws what tests throw.
int runCommandLine(std::vector<std::string> const & arguments, terminal::Console & console);

} // namespace tkit5
