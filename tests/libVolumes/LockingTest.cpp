#include "libVolumes.h"
#include "support/DiskPc.h"

#include <gtest/gtest.h>

#include <memory>

using libVolumes::DeviceLockingManager;
using support::DiskPc;
using support::Pages;

namespace {

constexpr char const * twoVolumes = R"("volumes": [
    {"name": "\\\\?\\Volume{one}", "firstSector": 2048, "sectorCount": 1000},
    {"name": "\\\\?\\Volume{two}", "firstSector": 4096, "sectorCount": 1000}])";
constexpr char const * secondInUse = R"("volumes": [
    {"name": "\\\\?\\Volume{one}", "firstSector": 2048, "sectorCount": 1000},
    {"name": "\\\\?\\Volume{two}", "firstSector": 4096, "sectorCount": 1000, "inUse": true}])";

constexpr char16_t const * one = u"\\\\?\\Volume{one}";
constexpr char16_t const * two = u"\\\\?\\Volume{two}";

constexpr std::uint64_t inOne = std::uint64_t{2048} * 512;
constexpr std::uint64_t inTwo = std::uint64_t{4096} * 512;

bool canBeOpened(char16_t const * volume) {
    return support::openFile(volume).isValid();
}

// The error of a raw write at the offset, 0 for none.
std::uint32_t writeAt(std::uint64_t offset, char16_t const * disk = support::disk1) {
    Pages sector(512, 0x5A);
    return support::writeRaw(support::openFile(disk), offset, sector);
}

TEST(LockingTest, KeepsOthersOutUntilTheManagerGoes) {
    DiskPc const pc({twoVolumes});
    auto manager = std::make_unique<DeviceLockingManager>(support::disk1);
    EXPECT_TRUE(canBeOpened(one));
    EXPECT_TRUE(manager->lockVolumes());
    EXPECT_FALSE(canBeOpened(one));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_ACCESS_DENIED);
    EXPECT_FALSE(canBeOpened(two));
    manager.reset();
    EXPECT_TRUE(canBeOpened(one));
    EXPECT_TRUE(canBeOpened(two));
    EXPECT_EQ(kernel::openHandleCount(), 0U);
}

TEST(LockingTest, AllowsRawWritesForTheTimeOfTheLock) {
    DiskPc const pc({twoVolumes});
    EXPECT_EQ(writeAt(inOne), kernel::ERROR_ACCESS_DENIED);
    EXPECT_EQ(writeAt(inTwo), kernel::ERROR_ACCESS_DENIED);
    {
        DeviceLockingManager manager(support::disk1);
        EXPECT_EQ(writeAt(inOne), kernel::ERROR_ACCESS_DENIED); // not before it is asked to lock
        ASSERT_TRUE(manager.lockVolumes());
        EXPECT_EQ(writeAt(inOne), 0U);
        EXPECT_EQ(writeAt(inTwo), 0U);
    }
    EXPECT_EQ(writeAt(inOne), kernel::ERROR_ACCESS_DENIED);
}

TEST(LockingTest, LeavesTheDiskItselfToWhoeverOpensItNext) {
    DiskPc const pc({twoVolumes});
    DeviceLockingManager manager(support::disk1);
    EXPECT_FALSE(manager.isBitLockerEnabledOnVolumes());
    ASSERT_TRUE(manager.lockVolumes());
    EXPECT_EQ(kernel::openHandleCount(), 2U); // the two volumes
    EXPECT_TRUE(support::openFile(support::disk1, support::readWrite, support::exclusive).isValid());
}

TEST(LockingTest, LocksWhileSomebodyHasTheDiskExclusively) {
    DiskPc const pc({twoVolumes});
    auto const held = support::openFile(support::disk1, support::readWrite, support::exclusive);
    EXPECT_TRUE(DeviceLockingManager(support::disk1).lockVolumes());
}

TEST(LockingTest, AVolumeInUseReleasesTheOthers) {
    DiskPc const pc({secondInUse});
    DeviceLockingManager manager(support::disk1);
    EXPECT_FALSE(manager.lockVolumes());
    EXPECT_EQ(kernel::openHandleCount(), 0U);
    EXPECT_TRUE(canBeOpened(one));
    EXPECT_EQ(writeAt(inOne), kernel::ERROR_ACCESS_DENIED);
    EXPECT_FALSE(manager.lockVolumes());
}

TEST(LockingTest, AVolumeThatSomebodyHasOpenIsInUse) {
    DiskPc const pc({twoVolumes});
    DeviceLockingManager manager(support::disk1);
    {
        auto const open = support::openFile(two);
        EXPECT_FALSE(manager.lockVolumes());
        EXPECT_TRUE(canBeOpened(one));
    }
    EXPECT_TRUE(manager.lockVolumes());
}

TEST(LockingTest, AVolumeInUseIsWaitedForButNotLong) {
    DiskPc pc({secondInUse});
    machine::Duration const start = pc.clock().now();
    EXPECT_FALSE(DeviceLockingManager(support::disk1).lockVolumes());
    machine::Duration const waited = pc.clock().now() - start;
    EXPECT_GT(waited, std::chrono::milliseconds(500));
    EXPECT_LE(waited, std::chrono::milliseconds(1050)); // the queries take time as well
}

TEST(LockingTest, AllVolumesInUseTogetherAreNotWaitedForLonger) {
    DiskPc pc({R"("volumes": [{"firstSector": 0, "sectorCount": 10}, {"firstSector": 10, "sectorCount": 10},
                              {"firstSector": 20, "sectorCount": 10}],
                  "faults": [{"call": "lock", "after": 0, "times": 6, "error": 5},
                             {"call": "lock", "after": 7, "error": 5}])"});
    machine::Duration const start = pc.clock().now();
    EXPECT_FALSE(DeviceLockingManager(support::disk1).lockVolumes());
    EXPECT_LE(pc.clock().now() - start, std::chrono::milliseconds(1050));
}

TEST(LockingTest, AShortUseIsWaitedOut) {
    DiskPc pc({std::string(R"("faults": [{"call": "lock", "times": 3, "error": 5}], )") + twoVolumes});
    DeviceLockingManager manager(support::disk1);
    EXPECT_TRUE(manager.lockVolumes());
    EXPECT_EQ(writeAt(inTwo), 0U);
}

TEST(LockingTest, AnyOtherErrorIsFinal) {
    DiskPc pc({std::string(R"("faults": [{"call": "lock", "times": 1, "error": 1117}], )") + twoVolumes});
    DeviceLockingManager manager(support::disk1);
    machine::Duration const start = pc.clock().now();
    EXPECT_FALSE(manager.lockVolumes());
    EXPECT_LT(pc.clock().now() - start, std::chrono::milliseconds(50));
}

TEST(LockingTest, TwiceIsHarmless) {
    DiskPc const pc({twoVolumes});
    DeviceLockingManager manager(support::disk1);
    EXPECT_TRUE(manager.lockVolumes());
    EXPECT_TRUE(manager.lockVolumes());
    EXPECT_EQ(kernel::openHandleCount(), 2U);
    EXPECT_FALSE(canBeOpened(one));
}

TEST(LockingTest, ASecondManagerFindsTheVolumesInUse) {
    DiskPc const pc({twoVolumes});
    DeviceLockingManager first(support::disk1);
    ASSERT_TRUE(first.lockVolumes());
    EXPECT_FALSE(DeviceLockingManager(support::disk1).lockVolumes());
    EXPECT_FALSE(canBeOpened(one)); // the first one's locks are unharmed
    EXPECT_EQ(writeAt(inTwo), 0U);
}

TEST(LockingTest, OtherDisksStayAsTheyAre) {
    DiskPc const pc(
        {twoVolumes, R"("volumes": [{"name": "\\\\?\\Volume{other}", "firstSector": 0, "sectorCount": 10}])"});
    DeviceLockingManager manager(support::disk1);
    ASSERT_TRUE(manager.lockVolumes());
    EXPECT_TRUE(canBeOpened(u"\\\\?\\Volume{other}"));
    EXPECT_EQ(writeAt(0, support::disk2), kernel::ERROR_ACCESS_DENIED);
}

TEST(LockingTest, AnotherDisksVolumeInUseDoesNotMatter) {
    DiskPc const pc({twoVolumes, R"("volumes": [{"firstSector": 0, "sectorCount": 10, "inUse": true}])"});
    EXPECT_TRUE(DeviceLockingManager(support::disk1).lockVolumes());
}

TEST(LockingTest, ADiskWithoutVolumesIsFree) {
    DiskPc const pc({""});
    DeviceLockingManager manager(support::disk1);
    EXPECT_TRUE(manager.lockVolumes());
    EXPECT_TRUE(manager.lockVolumes());
    EXPECT_EQ(kernel::openHandleCount(), 0U);
    EXPECT_TRUE(DeviceLockingManager("\\\\.\\PhysicalDrive7").lockVolumes());
}

TEST(LockingTest, ReleasingPreservesTheLastError) {
    DiskPc const pc({twoVolumes});
    {
        DeviceLockingManager manager(support::disk1);
        ASSERT_TRUE(manager.lockVolumes());
        kernel::SetLastError(1117);
    }
    EXPECT_EQ(kernel::GetLastError(), 1117U);
}

} // namespace
