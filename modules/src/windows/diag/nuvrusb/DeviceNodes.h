// The operating system's device node below a USB device: found by the driver key that a hub reports for its port.
#pragma once

#include "kernel.h"
#include "libHostOS.h"
#include "nuv.h"

#include <cstdint>

namespace nuvrusb {

// The driver key of the device on a hub's port (1-based); empty when the hub does not tell it.
nuv::String GetDriverKeyName(kernel::HANDLE hub, std::uint32_t port);

// The first child of the node with that driver key; 0 when there is no such node, or it has no child.
libHostOS::ConfigManager::Node FindDevNodeChild(nuv::String const & driverKey);

// The description of the node that FindDevNodeChild finds; empty when there is none.
nuv::String GetDevNodeDeviceDescription(nuv::String const & driverKey);

// The description of the child node of the device on a port; empty when there is none.
nuv::String GetDeviceDescriptionOfChild(kernel::HANDLE hub, std::uint32_t port);

// 1 when the child node of the device on a port is disabled or has a problem, else 0. Disabled wins over a problem,
// whose code is then not read. Without a driver key both outputs stay as they were.
int GetStatusProblemOfChild(kernel::HANDLE hub, std::uint32_t port, std::uint32_t & problem, std::uint8_t & disabled);

} // namespace nuvrusb
