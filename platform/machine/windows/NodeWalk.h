// The device nodes of this PC as CfgMgr32 links them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace machine::windows {

struct WalkedNode {
    std::uint32_t devInst = 0;
    std::size_t parent = 0; // its place in the walk plus 1; 0 below the root
    std::u16string instanceId;
};

// Every node below the root, each before its children, siblings in their order.
std::vector<WalkedNode> walkNodes();

// False once the device is gone. A system that does not even know its root node is not believed.
bool isNodePresent(std::u16string const & instanceId);

struct NodeStatus {
    std::uint32_t problem = 0; // problem code; 0 is healthy
    bool isHidden = false;
};
NodeStatus statusOf(std::uint32_t devInst);

} // namespace machine::windows
