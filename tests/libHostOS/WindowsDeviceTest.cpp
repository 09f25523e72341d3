#include "SmallPc.h"
#include "libHostOS.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using libHostOS::WindowsDevice;
using libHostOS::WindowsDeviceSet;

namespace {

class WindowsDeviceTest : public testing::Test {
protected:
    static std::vector<std::string> idsOf(WindowsDeviceSet const & set) {
        std::vector<std::string> ids;
        for (std::size_t i = 0; i < set.size(); ++i) {
            ids.push_back(set[i].getDeviceInstanceId().getUTF8String());
        }
        return ids;
    }

    support::SmallPc pc_;
};

TEST_F(WindowsDeviceTest, IsFoundByItsInstanceIdInAnyLetterCase) {
    WindowsDevice const disk("usbstor\\Disk&Ven_SanDisk\\1");
    EXPECT_EQ(disk.getDeviceInstanceId(), nuv::String("USBSTOR\\DISK&VEN_SANDISK\\1"));
    EXPECT_EQ(disk.getParentDeviceInstanceId(), nuv::String("USB\\VID_0781&PID_5591\\4C53"));
    EXPECT_EQ(disk.getOsLocator(), nuv::String("\\\\.\\PhysicalDrive1"));
    EXPECT_EQ(disk.getFriendlyName(), nuv::String("disk USBSTOR\\DISK&VEN_SANDISK\\1"));
    EXPECT_FALSE(disk.isHidden());
    EXPECT_TRUE(WindowsDevice("USBSTOR\\DISK&VEN_GENERIC\\2").isHidden());
}

TEST_F(WindowsDeviceTest, TheFriendlyNameFallsBackToTheDescription) {
    EXPECT_EQ(WindowsDevice("USB\\ROOT_HUB30\\1").getFriendlyName(), nuv::String("driver of USB\\ROOT_HUB30\\1"));
}

TEST_F(WindowsDeviceTest, AnUnknownDeviceIsEmptyThroughout) {
    for (char const * const id : {"", "USB\\NOBODY"}) {
        WindowsDevice const nobody(id);
        EXPECT_TRUE(nobody.getDeviceInstanceId().empty());
        EXPECT_TRUE(nobody.getParentDeviceInstanceId().empty());
        EXPECT_TRUE(nobody.getOsLocator().empty());
        EXPECT_TRUE(nobody.getFriendlyName().empty());
        EXPECT_FALSE(nobody.isHidden());
        EXPECT_FALSE(nobody.isChildOf(nobody));
    }
}

TEST_F(WindowsDeviceTest, IsAChildAtAnyDepthButNotOfItself) {
    WindowsDevice const disk("USBSTOR\\DISK&VEN_SANDISK\\1");
    WindowsDevice const controller("PCI\\VEN_8086\\A");
    EXPECT_TRUE(disk.isChildOf(WindowsDevice("USB\\VID_0781&PID_5591\\4C53")));
    EXPECT_TRUE(disk.isChildOf(controller));
    EXPECT_FALSE(controller.isChildOf(disk));
    EXPECT_FALSE(disk.isChildOf(disk));
    EXPECT_FALSE(disk.isChildOf(WindowsDevice("USB\\VID_05E3&PID_0749\\7")));
    EXPECT_FALSE(disk.isChildOf(WindowsDevice("USB\\NOBODY")));
}

TEST_F(WindowsDeviceTest, SetsHoldThePresentDevicesOfAClassInTreeOrder) {
    EXPECT_EQ(idsOf(WindowsDeviceSet(0, WindowsDeviceSet::Disks)),
              (std::vector<std::string>{"USBSTOR\\DISK&VEN_SANDISK\\1", "USBSTOR\\DISK&VEN_GENERIC\\2"}));
    EXPECT_EQ(idsOf(WindowsDeviceSet(0, WindowsDeviceSet::HostControllers)),
              std::vector<std::string>{"PCI\\VEN_8086\\A"}); // the other one is not listed
    EXPECT_EQ(WindowsDeviceSet(0, 1 | 64).size(), 3U);
    EXPECT_EQ(WindowsDeviceSet(0, 2).size(), 0U);
}

TEST(WindowsDeviceDeathTest, AnIndexOutsideASetEndsTheProcess) {
    support::SmallPc const pc;
    WindowsDeviceSet const disks(0, WindowsDeviceSet::Disks);
    EXPECT_DEATH(disks[disks.size()], "index < size\\(\\)");
}

TEST(WindowsDeviceSetTest, ADeepTreeIsNoTroubleToWalk) {
    support::ScriptedMachine pc;
    machine::InUse const inUse(pc);
    machine::NodeId deepest = pc.tree.root();
    for (int depth = 0; depth < 20000; ++depth) {
        deepest = pc.tree.add(deepest, {});
    }
    machine::DeviceNode disk;
    disk.instanceId = u"DISK";
    pc.tree.addDisk(deepest, disk, {});
    EXPECT_EQ(WindowsDeviceSet(0, WindowsDeviceSet::Disks).size(), 1U);
    EXPECT_TRUE(WindowsDevice("disk").getParentDeviceInstanceId().empty());
}

} // namespace
