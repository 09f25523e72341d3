// libHostOS: the operating system's device tree. Its facts are those of the moment at which the tree was read, once per
// run; only whether a device is present is asked anew. Nothing here blocks on hardware.
#pragma once

#include "nuv/String.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace libHostOS {

// One device by its instance ID, in any letter case. An ID that no device has gives a device of which everything is
// empty.
class WindowsDevice {
public:
    explicit WindowsDevice(nuv::String const & deviceInstanceId);

    nuv::String getDeviceInstanceId() const;       // as the OS writes it
    nuv::String getParentDeviceInstanceId() const; // empty at the root
    nuv::String getOsLocator() const;              // the path by which it can be opened; empty when it has none
    nuv::String getFriendlyName() const;           // falls back to the description
    bool isHidden() const;
    bool isChildOf(WindowsDevice const & ancestor) const; // at any depth; never of itself

private:
    friend class WindowsDeviceSet;
    explicit WindowsDevice(std::uint32_t node) : node_(node) {}

    std::uint32_t node_; // 0: no such device
};

// The devices of one or more classes: disks first, each class in the order in which the system lists it.
class WindowsDeviceSet {
public:
    static constexpr unsigned Disks = 1;
    static constexpr unsigned HostControllers = 64;

    // presence 0: the devices that are present at this moment. classes: a mask of the values above.
    WindowsDeviceSet(unsigned presence, unsigned classes);

    std::size_t size() const { return nodes_.size(); }
    WindowsDevice operator[](std::size_t index) const; // index < size()

private:
    std::vector<std::uint32_t> nodes_;
};

// The device tree node by node. A node is a handle that is valid during the run; 0 means that there is no node.
class ConfigManager {
public:
    using Node = std::uint32_t;

    static Node getRootNode();
    static Node getChildNode(Node node); // the first child
    static Node getSiblingNode(Node node);
    static Node getParentNode(Node node);

    // False, and the text left alone, when the node has no such value.
    static bool getDriverKey(Node node, nuv::String & driverKey);
    static bool getDescription(Node node, nuv::String & description);

    static bool isDisabled(Node node);                                // problem code 22
    static bool hasDriverProblem(Node node, std::uint32_t * problem); // true: problem holds the node's problem code
};

} // namespace libHostOS
