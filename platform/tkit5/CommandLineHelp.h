#pragma once

#include "Options.h"

#include <optional>
#include <string>

namespace tkit5 {

// How to use the program, or one of its commands, with examples.
std::string helpText(std::optional<Command> command);

} // namespace tkit5
