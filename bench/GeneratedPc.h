// PCs of any size for benchmarks.
#pragma once

#include "machine/simulated/Description.h"

#include <cstddef>

namespace bench {

// A PC with about that many USB devices that are not hubs, behind chains of hubs five deep, each device with one device
// node below it.
machine::simulated::Description pcWithDevices(std::size_t devices);

// A PC with one device on a root port and a device tree of about that many nodes, the device's own last in pre-order.
machine::simulated::Description pcWithNodes(std::size_t nodes);

} // namespace bench
