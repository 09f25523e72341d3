// Targets that read an input straight: as a record of a device, a file, or what a person or a host has written.
#pragma once

#include "Targets.h"

#include <span>

namespace fuzz {

std::span<Target const> parserTargets();

} // namespace fuzz
