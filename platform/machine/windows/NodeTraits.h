#pragma once

#include "machine/DeviceTree.h"

#include <string>
#include <string_view>
#include <vector>

namespace machine::windows {

// What tells the kind of a device.
struct NodeTraits {
    std::u16string instanceId;
    std::vector<std::u16string> ids; // hardware IDs and compatible IDs
    // Paths of its device interfaces; empty for one that it has not, as while it is disabled.
    std::u16string controllerPath;
    std::u16string hubPath;
    std::u16string usbDevicePath;
    std::u16string diskPath;
};

// The node that all others hang below. SetupAPI may list it among the devices, which it is none of. Pure.
bool isRootNode(std::u16string_view instanceId);

// By the interfaces, or else by the IDs, which also a device has that is disabled or failed. Pure.
NodeClass classify(NodeTraits const & traits);

// The path by which a device of that class can be opened; empty when it has none.
std::u16string const & interfacePath(NodeTraits const & traits, NodeClass nodeClass);

} // namespace machine::windows
