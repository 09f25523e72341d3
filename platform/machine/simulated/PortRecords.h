// Records of hubs and ports from their description.
#pragma once

#include "Bus.h"

namespace machine::simulated {

kernel::USB_NODE_INFORMATION hubInformation(Hub const & hub);

// All ports of a hub as if none were described: empty, and speaking what the hub's ports speak.
std::vector<PortState> emptyPorts(Hub const & hub);

// A described port without its place in the tree: the device's address, node and hub, and a companion on another hub.
PortState describedPort(Port const & port);

} // namespace machine::simulated
