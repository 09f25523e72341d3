// What each command does.
#pragma once

#include "Options.h"
#include "terminal/Console.h"

namespace tkit5 {

// Returns the exit code. Everything about the options that only the tests, the PC and the files can tell is checked
// before anything runs; a refusal is a message on the error stream.
int carryOutCommand(Options const & options, terminal::Console & console);

} // namespace tkit5
