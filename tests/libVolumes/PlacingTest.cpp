#include "ReadyBoostDriveInfo.h"
#include "ScriptedVolumes.h"
#include "kernel.h"
#include "libVolumes.h"
#include "libVolumes/DiskVolumes.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

using libVolumes::DeviceLockingManager;
using libVolumes::DiskVolumes;
using support::ScriptedVolume;

namespace {

constexpr char const * disk1 = "\\\\.\\PhysicalDrive1";

class PlacingTest : public testing::Test {
protected:
    ScriptedVolume & add(ScriptedVolume volume) {
        pc_.all.emplace_back(u"\\\\?\\Volume{" + std::u16string(1, static_cast<char16_t>(u'a' + pc_.all.size())) + u"}",
                             std::move(volume));
        return pc_.all.back().second;
    }
    static ScriptedVolume on(std::uint32_t disk) { return {.extents = {{disk, 0, 1048576, 4096}}}; }

    // The last letters of the volumes that were found on disk 1.
    std::string found() {
        found_ = libVolumes::volumesOn(disk1);
        std::string letters;
        for (auto const & volume : found_.volumes) {
            letters += static_cast<char>(volume.path[volume.path.size() - 2]);
        }
        EXPECT_EQ(pc_.filesAlive, 0);
        return letters;
    }

    support::ScriptedVolumes pc_;
    machine::InUse inUse_{pc_};
    DiskVolumes found_;
};

TEST_F(PlacingTest, VolumesLieWhereTheirExtentsAre) {
    add(on(0));
    add(on(1));
    add(on(2));
    add(on(1));
    EXPECT_EQ(found(), "bd");
    EXPECT_TRUE(found_.complete);
}

TEST_F(PlacingTest, AVolumeOnSeveralDisksLiesOnEach) {
    add({.extents = {{0, 0, 512, 512}, {1, 0, 1024, 512}, {2, 0, 0, 512}, {1, 0, 4096, 512}}});
    EXPECT_EQ(found(), "a");
    ASSERT_EQ(found_.volumes[0].extents.size(), 2U);
    EXPECT_EQ(found_.volumes[0].extents[0].StartingOffset, 1024);
    EXPECT_EQ(found_.volumes[0].extents[1].StartingOffset, 4096);
}

TEST_F(PlacingTest, AVolumeOfVeryManyPartsIsAskedWithMoreRoom) {
    std::vector<kernel::DISK_EXTENT> parts(1000, {0, 0, 0, 512});
    parts.back().DiskNumber = 1;
    add({.extents = parts});
    EXPECT_EQ(found(), "a");
    EXPECT_EQ(found_.volumes[0].extents.size(), 1U);
    EXPECT_FALSE(DeviceLockingManager(disk1).isBitLockerEnabledOnVolumes());
}

TEST_F(PlacingTest, AnAnswerWithoutEndIsGivenUp) {
    add({.extents = std::vector<kernel::DISK_EXTENT>(5000, {0, 0, 0, 512})});
    EXPECT_EQ(found(), "a"); // by its number
    EXPECT_TRUE(found_.volumes[0].extents.empty());
}

TEST_F(PlacingTest, WithoutExtentsTheNumberOfTheVolumesDiskTells) {
    add({.extentsError = 1});
    add({.extentsError = 1, .number = {kernel::FILE_DEVICE_DISK, 0, 1}});
    add({.extentsError = 1, .number = {2, 1, 0}}); // the second CD drive
    EXPECT_EQ(found(), "a");
    EXPECT_TRUE(found_.volumes[0].extents.empty());
    EXPECT_TRUE(found_.complete);
    EXPECT_TRUE(DeviceLockingManager(disk1).isBitLockerEnabledOnVolumes()); // where its first sector is, nobody tells
}

TEST_F(PlacingTest, ExtentsThatMakeNoSenseAreNone) {
    ScriptedVolume lying = on(0);
    lying.count = 7;
    add(lying);
    kernel::SetLastError(1112); // of something before, and no answer of this volume
    EXPECT_EQ(found(), "a");    // by its number
    EXPECT_TRUE(found_.volumes[0].extents.empty());
}

TEST_F(PlacingTest, EmptySlotsAndGoneDevicesHaveNoVolumes) {
    for (std::uint32_t const error : {21U, 55U, 433U, 1112U, 1167U, 1617U}) {
        add({.extentsError = error}); // of this very disk
        add({.extentsError = error, .numberError = error});
    }
    for (std::uint32_t const error : {2U, 3U, 55U, 433U, 1167U, 1617U}) {
        add({.openError = error});
    }
    EXPECT_EQ(found(), "");
    EXPECT_TRUE(found_.complete);
}

TEST_F(PlacingTest, VolumesOfNoDiskAreNoneOfThisOne) {
    add({.extentsError = 1, .numberError = 1});
    add({.extentsError = 50, .numberError = 50});
    add({.extentsError = 21, .numberError = 1}); // an empty slot whose driver knows no number
    EXPECT_EQ(found(), "");
    EXPECT_TRUE(found_.complete);
}

TEST_F(PlacingTest, AVolumeThatCannotBePlacedMayBeOneOfThisDisk) {
    for (ScriptedVolume const & unknown :
         {ScriptedVolume{.extentsError = 1117, .numberError = 1117},
          ScriptedVolume{.extentsError = 1, .numberError = 121}, ScriptedVolume{.extentsError = 1117, .numberError = 1},
          ScriptedVolume{.openError = 5}}) {
        pc_.all.clear();
        add(on(1));
        add(unknown);
        EXPECT_EQ(found(), "a");
        EXPECT_FALSE(found_.complete);

        DeviceLockingManager manager(disk1);
        EXPECT_TRUE(manager.isBitLockerEnabledOnVolumes());
        EXPECT_FALSE(manager.lockVolumes());
        EXPECT_EQ(pc_.all[0].second.locks, 0);
        EXPECT_EQ(pc_.all[1].second.locks, 0);
    }
}

TEST_F(PlacingTest, ADiskThatDoesNotTellItsNumberMayHaveAnyVolume) {
    add(on(0));
    pc_.disk.numberError = 1117;
    EXPECT_EQ(found(), "");
    EXPECT_FALSE(found_.complete);
    EXPECT_TRUE(DeviceLockingManager(disk1).isBitLockerEnabledOnVolumes());
    EXPECT_FALSE(DeviceLockingManager(disk1).lockVolumes());
    pc_.disk.numberError = 0;
    pc_.disk.openError = 31;
    EXPECT_FALSE(libVolumes::volumesOn(disk1).complete);
    EXPECT_EQ(pc_.all[0].second.locks, 0);
}

TEST_F(PlacingTest, AVolumeThatTheSystemFailedToListMayBeOneOfThisDisk) {
    add(on(1));
    pc_.allAreTold = false;
    EXPECT_EQ(found(), "a");
    EXPECT_FALSE(found_.complete);
    EXPECT_TRUE(DeviceLockingManager(disk1).isBitLockerEnabledOnVolumes());
    EXPECT_FALSE(DeviceLockingManager(disk1).lockVolumes());
    EXPECT_EQ(pc_.all[0].second.locks, 0);
}

TEST_F(PlacingTest, ADiskThatIsGoneHasNoVolumes) {
    add(on(1));
    for (std::uint32_t const error : {2U, 55U, 433U, 1167U, 1617U}) {
        pc_.disk.openError = error;
        EXPECT_EQ(found(), "");
        EXPECT_TRUE(found_.complete);
    }
}

TEST_F(PlacingTest, NumbersOfOtherKindsOfDevicesAreNotThoseOfDisks) {
    add(on(1));
    pc_.disk.number.DeviceType = 2;
    EXPECT_EQ(found(), "");
}

TEST_F(PlacingTest, TheDiskIsReadAsOneThatOthersHaveOpen) {
    add(on(1));
    EXPECT_FALSE(DeviceLockingManager(disk1).isBitLockerEnabledOnVolumes());
    ASSERT_EQ(pc_.opensOfDisk.size(), 2U);
    EXPECT_EQ(pc_.opensOfDisk[0].access, 0U); // for its number
    EXPECT_EQ(pc_.opensOfDisk[1].access, kernel::GENERIC_READ);
    EXPECT_EQ(pc_.opensOfDisk[1].share, kernel::FILE_SHARE_READ | kernel::FILE_SHARE_WRITE);
    EXPECT_EQ(pc_.opensOfDisk[1].flags, kernel::FILE_FLAG_NO_BUFFERING);
}

TEST_F(PlacingTest, LockedVolumesAreDismountedAndUnlockedAgain) {
    ScriptedVolume & volume = add(on(1));
    {
        DeviceLockingManager manager(disk1);
        EXPECT_TRUE(manager.lockVolumes());
        EXPECT_TRUE(manager.lockVolumes());
        EXPECT_EQ(volume.locks, 1);
        EXPECT_EQ(volume.dismounts, 1);
        EXPECT_EQ(volume.unlocks, 0);
    }
    EXPECT_EQ(volume.unlocks, 1);
    EXPECT_EQ(pc_.filesAlive, 0);
}

TEST_F(PlacingTest, AnUnlockThatFailsLeavesTheLastErrorAlone) {
    add(on(1)).unlockError = 158;
    {
        DeviceLockingManager manager(disk1);
        EXPECT_TRUE(manager.lockVolumes());
        kernel::SetLastError(1117);
    }
    EXPECT_EQ(kernel::GetLastError(), 1117U);
    EXPECT_EQ(pc_.filesAlive, 0);
}

TEST_F(PlacingTest, ACacheFileThatSomebodyHasOpenIsThere) {
    add(on(1));
    for (auto const & [error, isThere] :
         {std::pair(32U, true), {2U, false}, {3U, false}, {5U, false}, {1117U, false}}) {
        pc_.files = {{u"\\\\?\\Volume{a}\\ReadyBoost.sfcache", error}};
        EXPECT_EQ(ReadyBoostDriveInfo(disk1, {}).isEnabled(), isThere) << error;
    }
}

TEST_F(PlacingTest, AVolumeThatCannotBeDismountedIsUnlocked) {
    ScriptedVolume & volume = add(on(1));
    volume.dismountError = 1117;
    DeviceLockingManager manager(disk1);
    EXPECT_FALSE(manager.lockVolumes());
    EXPECT_EQ(volume.unlocks, 1);
    EXPECT_EQ(pc_.filesAlive, 0);
}

} // namespace
