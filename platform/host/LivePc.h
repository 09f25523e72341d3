#pragma once

#include "machine/Machine.h"

#include <memory>

namespace host {

// The PC that this program runs on; null on a system for which there is no such machine.
std::unique_ptr<machine::Machine> openLivePc();

} // namespace host
