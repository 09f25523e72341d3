#include "DeviceTree.h"

#include <algorithm>
#include <utility>

namespace machine {

namespace {

std::u16string folded(std::u16string_view text) {
    std::u16string upper(text);
    std::ranges::for_each(upper, [](char16_t & unit) {
        if (unit >= u'a' && unit <= u'z') {
            unit = static_cast<char16_t>(unit - (u'a' - u'A'));
        }
    });
    return upper;
}

} // namespace

DeviceTree::DeviceTree() : nodes_(2), lastChild_(2, noNode) {}

DiskFacts const * DeviceTree::disk(NodeId node) const {
    std::uint32_t const index = nodes_[node].disk;
    return index == 0 ? nullptr : &disks_[index - 1];
}

NodeId DeviceTree::add(NodeId parent, DeviceNode node) {
    auto const id = static_cast<NodeId>(nodes_.size());
    if (!node.instanceId.empty()) {
        byInstanceId_.try_emplace(folded(node.instanceId), id);
    }
    if (!node.driverKey.empty()) {
        byDriverKey_.try_emplace(node.driverKey, id);
    }
    byClass_[static_cast<std::size_t>(node.nodeClass)].push_back(id);
    node.parent = parent;
    node.firstChild = noNode;
    node.nextSibling = noNode;
    nodes_.push_back(std::move(node));
    lastChild_.push_back(noNode);

    NodeId & last = lastChild_[parent];
    (last == noNode ? nodes_[parent].firstChild : nodes_[last].nextSibling) = id;
    last = id;
    return id;
}

NodeId DeviceTree::addDisk(NodeId parent, DeviceNode node, DiskFacts disk) {
    disks_.push_back(std::move(disk));
    node.nodeClass = NodeClass::Disk;
    node.disk = static_cast<std::uint32_t>(disks_.size());
    return add(parent, std::move(node));
}

NodeId DeviceTree::findByInstanceId(std::u16string_view instanceId) const {
    auto const found = byInstanceId_.find(folded(instanceId));
    return found == byInstanceId_.end() ? noNode : found->second;
}

NodeId DeviceTree::findByDriverKey(std::u16string_view driverKey) const {
    auto const found = byDriverKey_.find(std::u16string(driverKey));
    return found == byDriverKey_.end() ? noNode : found->second;
}

} // namespace machine
