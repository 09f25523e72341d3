#include "TreeReader.h"

#include "DeviceSet.h"
#include "DiskQueries.h"
#include "NodeWalk.h"
#include "machine/Text.h"

#include <unordered_map>
#include <utility>
#include <vector>

namespace machine::windows {

namespace {

class TreeBuilder {
public:
    explicit TreeBuilder(std::shared_ptr<ControlThreads> const & threads) : disks_(threads) {
        for (ListedDevice & device : listDevices()) {
            if (isRootNode(device.traits.instanceId)) {
                continue; // the tree has one of its own
            }
            std::u16string key = foldedCase(device.traits.instanceId);
            order_.push_back(key);
            listed_.try_emplace(std::move(key), std::move(device));
        }
    }

    DeviceTree build() && {
        std::vector<NodeId> ids{tree_.root()};
        for (WalkedNode const & node : walkNodes()) {
            ids.push_back(add(ids[node.parent], node.instanceId, node.devInst));
        }
        // What the walk has not found, since it was plugged in meanwhile.
        for (std::u16string const & key : order_) {
            addLate(key);
        }
        return std::move(tree_);
    }

private:
    NodeId add(NodeId parent, std::u16string const & instanceId, std::uint32_t devInst) {
        DeviceNode node;
        node.instanceId = instanceId;
        NodeStatus const status = statusOf(devInst);
        node.problem = status.problem;
        node.hidden = status.isHidden;
        auto const found = listed_.find(foldedCase(instanceId));
        if (found == listed_.end()) {
            return tree_.add(parent, std::move(node));
        }
        ListedDevice device = std::move(found->second);
        listed_.erase(found);
        node.instanceId = device.traits.instanceId;
        node.driverKey = std::move(device.driverKey);
        node.description = std::move(device.description);
        node.friendlyName = std::move(device.friendlyName);
        node.busReportedDescription = std::move(device.busReportedDescription);
        node.port = tree_[parent].nodeClass == NodeClass::Hub ? device.address : 0;
        node.nodeClass = classify(device.traits);
        node.interfacePath = interfacePath(device.traits, node.nodeClass);
        if (node.nodeClass != NodeClass::Disk) {
            return tree_.add(parent, std::move(node));
        }
        DiskFacts facts = disks_.factsOf(node.interfacePath);
        if (facts.number != unknownDisk) {
            node.interfacePath = diskPath(facts.number);
        }
        return tree_.addDisk(parent, std::move(node), std::move(facts));
    }

    NodeId addLate(std::u16string const & key) {
        auto const found = listed_.find(key);
        if (found == listed_.end()) {
            NodeId const known = tree_.findByInstanceId(key);
            return known == noNode ? tree_.root() : known;
        }
        std::u16string const instanceId = found->second.traits.instanceId;
        std::uint32_t const devInst = found->second.devInst;
        std::u16string const parentKey = foldedCase(std::exchange(found->second.parentId, {}));
        NodeId const parent = parentKey.empty() || parentKey == key ? tree_.root() : addLate(parentKey);
        if (!listed_.contains(key)) {
            return tree_.findByInstanceId(key); // two that name each other as parent
        }
        return add(parent, instanceId, devInst);
    }

    DeviceTree tree_;
    DiskQueries disks_;
    std::vector<std::u16string> order_;
    std::unordered_map<std::u16string, ListedDevice> listed_; // not in the tree yet; by instance ID in upper case
};

} // namespace

DeviceTree readTree(std::shared_ptr<ControlThreads> const & threads) {
    return TreeBuilder(threads).build();
}

} // namespace machine::windows
