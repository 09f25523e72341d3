#pragma once

#include "machine/Machine.h"

#include <memory>

namespace machine {

// The PC that this program runs on. Its device tree is read when it is asked for first.
std::unique_ptr<Machine> makeWindowsMachine();

} // namespace machine
