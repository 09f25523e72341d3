#include "machine/DeviceTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

namespace {

using namespace machine;

DeviceNode named(std::u16string instanceId, std::u16string driverKey = {}) {
    DeviceNode node;
    node.instanceId = std::move(instanceId);
    node.driverKey = std::move(driverKey);
    return node;
}

TEST(DeviceTree, NewTreeHoldsANamelessRoot) {
    DeviceTree const tree;

    EXPECT_EQ(tree.size(), 1U);
    EXPECT_TRUE(tree[tree.root()].instanceId.empty());
    EXPECT_EQ(tree[tree.root()].firstChild, noNode);
}

TEST(DeviceTree, ChildrenKeepTheOrderInWhichTheyCame) {
    DeviceTree tree;
    NodeId const a = tree.add(tree.root(), named(u"A"));
    NodeId const b = tree.add(tree.root(), named(u"B"));
    NodeId const c = tree.add(a, named(u"C"));

    EXPECT_EQ(tree[tree.root()].firstChild, a);
    EXPECT_EQ(tree[a].nextSibling, b);
    EXPECT_EQ(tree[b].nextSibling, noNode);
    EXPECT_EQ(tree[a].firstChild, c);
    EXPECT_EQ(tree[c].parent, a);
}

TEST(DeviceTree, LinksInAnAddedRecordAreIgnored) {
    DeviceTree tree;
    DeviceNode node = named(u"A");
    node.firstChild = node.nextSibling = node.parent = 1;

    NodeId const added = tree.add(tree.root(), node);

    EXPECT_EQ(tree[added].firstChild, noNode);
    EXPECT_EQ(tree[added].nextSibling, noNode);
}

TEST(DeviceTree, InstanceIdIsFoundWhateverItsLetterCase) {
    DeviceTree tree;
    NodeId const node = tree.add(tree.root(), named(u"USB\\Vid_0781\\aB"));

    EXPECT_EQ(tree.findByInstanceId(u"usb\\vID_0781\\Ab"), node);
    EXPECT_EQ(tree.findByInstanceId(u"usb"), noNode);
    EXPECT_EQ(tree.findByInstanceId(u""), noNode);
}

TEST(DeviceTree, FirstOfTwoAlikeIsFound) {
    DeviceTree tree;
    NodeId const first = tree.add(tree.root(), named(u"same", u"key"));
    tree.add(tree.root(), named(u"SAME", u"key"));

    EXPECT_EQ(tree.findByInstanceId(u"Same"), first);
    EXPECT_EQ(tree.findByDriverKey(u"key"), first);
}

TEST(DeviceTree, DriverKeyMustBeExactlyEqual) {
    DeviceTree tree;
    NodeId const node = tree.add(tree.root(), named(u"A", u"{36fc}\\0001"));

    EXPECT_EQ(tree.findByDriverKey(u"{36fc}\\0001"), node);
    EXPECT_EQ(tree.findByDriverKey(u"{36FC}\\0001"), noNode);
}

TEST(DeviceTree, NodesOfAClassAreInTheOrderInWhichTheyCame) {
    DeviceTree tree;
    DeviceNode hub = named(u"H");
    hub.nodeClass = NodeClass::Hub;
    NodeId const first = tree.add(tree.root(), hub);
    NodeId const other = tree.add(tree.root(), named(u"A"));
    NodeId const second = tree.add(first, hub);
    NodeId const disk = tree.addDisk(other, named(u"D"), {});

    EXPECT_TRUE(std::ranges::equal(tree.ofClass(NodeClass::Hub), std::array{first, second}));
    EXPECT_TRUE(std::ranges::equal(tree.ofClass(NodeClass::Disk), std::array{disk}));
    EXPECT_TRUE(tree.ofClass(NodeClass::UsbDevice).empty());
}

TEST(DeviceTree, DiskFactsBelongToTheirNode) {
    DeviceTree tree;
    NodeId const other = tree.add(tree.root(), named(u"A"));
    DiskFacts one;
    one.number = 1;
    DiskFacts two;
    two.number = 2;
    NodeId const first = tree.addDisk(other, named(u"D1"), one);
    NodeId const second = tree.addDisk(other, named(u"D2"), two);

    EXPECT_EQ(tree.disk(first)->number, 1U);
    EXPECT_EQ(tree.disk(second)->number, 2U);
    EXPECT_EQ(tree.disk(other), nullptr);
    EXPECT_EQ(tree.disk(noNode), nullptr);
    EXPECT_EQ(tree[first].nodeClass, NodeClass::Disk);
}

} // namespace
