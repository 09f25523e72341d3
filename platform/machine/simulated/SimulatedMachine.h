// A PC made from its description: a device tree, hub and controller files that answer I/O controls with the published
// records, and a virtual clock that starts at 0 and moves by every open and every control.
#pragma once

#include "Description.h"
#include "machine/Clock.h"
#include "machine/Machine.h"

#include <memory>

namespace machine {

// Files of the machine must be closed before it goes.
std::unique_ptr<Machine> makeSimulatedMachine(simulated::Description description);

// The same on a clock of the caller's, whatever the description says of time.
std::unique_ptr<Machine> makeSimulatedMachine(simulated::Description description, std::unique_ptr<Clock> clock);

} // namespace machine
