#include "KnownNode.h"
#include "libHostOS.h"
#include "machine/Machine.h"
#include "nuv/Array.h"

#include <string>
#include <utility>

namespace libHostOS {

namespace {

machine::DeviceNode const & nodeOf(std::uint32_t node) {
    machine::DeviceTree const & tree = machine::current().devices();
    return tree[known(tree, node)];
}

nuv::String textOf(std::u16string const & text) {
    return nuv::String(std::u16string_view(text));
}

constexpr unsigned devicesPresent = 0;

} // namespace

WindowsDevice::WindowsDevice(nuv::String const & deviceInstanceId)
    : node_(machine::current().devices().findByInstanceId(deviceInstanceId.view())) {}

nuv::String WindowsDevice::getDeviceInstanceId() const {
    return textOf(nodeOf(node_).instanceId);
}

nuv::String WindowsDevice::getParentDeviceInstanceId() const {
    return textOf(nodeOf(nodeOf(node_).parent).instanceId);
}

nuv::String WindowsDevice::getOsLocator() const {
    return textOf(nodeOf(node_).interfacePath);
}

nuv::String WindowsDevice::getFriendlyName() const {
    machine::DeviceNode const & node = nodeOf(node_);
    return textOf(node.friendlyName.empty() ? node.description : node.friendlyName);
}

bool WindowsDevice::isHidden() const {
    return nodeOf(node_).hidden;
}

bool WindowsDevice::isChildOf(WindowsDevice const & ancestor) const {
    if (ancestor.node_ == machine::noNode) {
        return false;
    }
    machine::NodeId above = nodeOf(node_).parent;
    while (above != machine::noNode && above != ancestor.node_) {
        above = nodeOf(above).parent;
    }
    return above != machine::noNode;
}

WindowsDeviceSet::WindowsDeviceSet(unsigned presence, unsigned classes) {
    machine::Machine const & pc = machine::current();
    machine::DeviceTree const & tree = pc.devices();
    auto const isWanted = [&](machine::NodeId id) {
        return presence != devicesPresent || (tree[id].present && pc.isPresent(id));
    };
    for (auto const & [mask, nodeClass] :
         {std::pair(Disks, machine::NodeClass::Disk), std::pair(HostControllers, machine::NodeClass::HostController)}) {
        if ((classes & mask) == 0) {
            continue;
        }
        for (machine::NodeId const id : tree.ofClass(nodeClass)) {
            if (tree[id].listed && isWanted(id)) {
                nodes_.push_back(id);
            }
        }
    }
}

WindowsDevice WindowsDeviceSet::operator[](std::size_t index) const {
    if (index >= nodes_.size()) {
        nuv::arrayIndexAssertion();
    }
    return WindowsDevice(nodes_[index]);
}

} // namespace libHostOS
