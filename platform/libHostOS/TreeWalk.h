// Walking the device tree without recursion: its depth is what a PC says it is.
#pragma once

#include "machine/DeviceTree.h"

namespace libHostOS {

// The node after this one in pre-order (parents before children, siblings in order); noNode after the last.
machine::NodeId nextInPreOrder(machine::DeviceTree const & tree, machine::NodeId node);

// The node if the tree has it, else noNode: callers keep nodes as plain numbers.
machine::NodeId known(machine::DeviceTree const & tree, machine::NodeId node);

} // namespace libHostOS
