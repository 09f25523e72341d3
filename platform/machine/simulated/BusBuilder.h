#pragma once

#include "Bus.h"

namespace machine::simulated {

// Builds the PC, with everything that its description leaves out put in as Windows would show it.
Bus buildBus(Description description);

} // namespace machine::simulated
