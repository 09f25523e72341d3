#pragma once

#include "machine/DeviceTree.h"

namespace libHostOS {

// The node if the tree has it, else noNode: callers keep nodes as plain numbers.
inline machine::NodeId known(machine::DeviceTree const & tree, machine::NodeId node) {
    return node <= tree.size() ? node : machine::noNode;
}

} // namespace libHostOS
