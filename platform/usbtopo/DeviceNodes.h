// What the operating system's device tree adds to the devices that hubs report.
#pragma once

#include "machine/DeviceTree.h"
#include "nuv/String.h"

#include <string_view>
#include <vector>

namespace usbtopo {

// How a node is shown to people: the product's own name for itself without blanks around it, else the name that was
// given to the device, else its driver's description.
nuv::String displayName(machine::DeviceNode const & node);

class DeviceNodes {
public:
    explicit DeviceNodes(machine::DeviceTree const & tree) : tree_(tree) {}

    machine::NodeId find(std::u16string_view driverKey) const; // noNode when there is none
    machine::DeviceNode const & operator[](machine::NodeId node) const { return tree_[node]; }

    // True when the node or one below it, at any depth, has a problem code.
    bool hasProblem(machine::NodeId node);

private:
    machine::DeviceTree const & tree_;
    std::vector<bool> hasProblem_; // by node; empty until it is first asked for
};

} // namespace usbtopo
