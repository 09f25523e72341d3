#include "ReadyBoostDriveInfo.h"
#include "libVolumes.h"
#include "support/DiskPc.h"

#include <gtest/gtest.h>

using libVolumes::DeviceLockingManager;
using support::DiskPc;

namespace {

constexpr char const * cacheOnSecond = R"("volumes": [
    {"name": "\\\\?\\Volume{one}", "firstSector": 2048, "sectorCount": 1000},
    {"name": "\\\\?\\Volume{two}", "firstSector": 4096, "sectorCount": 1000, "readyBoost": true}])";
constexpr char const * noCache = R"("volumes": [{"firstSector": 2048, "sectorCount": 1000}])";

bool isEnabled(nuv::String const & disk = support::disk1, nuv::String const & volume = {}) {
    std::size_t const before = kernel::openHandleCount();
    bool const enabled = ReadyBoostDriveInfo(disk, volume).isEnabled();
    EXPECT_EQ(kernel::openHandleCount(), before);
    return enabled;
}

TEST(ReadyBoostTest, IsEnabledWhereTheCacheFileLies) {
    DiskPc const pc({cacheOnSecond, noCache, ""});
    EXPECT_TRUE(isEnabled());
    EXPECT_FALSE(isEnabled(support::disk2));
    EXPECT_FALSE(isEnabled("\\\\.\\PhysicalDrive3"));
    EXPECT_FALSE(isEnabled("\\\\.\\PhysicalDrive7"));
    EXPECT_FALSE(isEnabled(""));
}

TEST(ReadyBoostTest, MayBeAskedForOneVolume) {
    DiskPc const pc({cacheOnSecond, noCache});
    EXPECT_FALSE(isEnabled(support::disk1, "\\\\?\\Volume{one}"));
    for (char const * const name :
         {"\\\\?\\Volume{two}", "\\\\?\\volume{TWO}\\", "Volume{two}", "\\\\.\\Volume{two}"}) {
        EXPECT_TRUE(isEnabled(support::disk1, name)) << name;
        EXPECT_FALSE(isEnabled(support::disk2, name)) << name; // it is a volume of another disk
    }
    EXPECT_FALSE(isEnabled(support::disk1, "\\\\?\\Volume{three}"));
}

TEST(ReadyBoostTest, IsSeenWhileTheVolumesAreLocked) {
    DiskPc const pc({cacheOnSecond, noCache});
    DeviceLockingManager manager(support::disk1);
    DeviceLockingManager other(support::disk2);
    ASSERT_TRUE(manager.lockVolumes());
    ASSERT_TRUE(other.lockVolumes());
    EXPECT_TRUE(isEnabled());
    EXPECT_TRUE(isEnabled(support::disk1, "\\\\?\\Volume{two}"));
    EXPECT_FALSE(isEnabled(support::disk1, "\\\\?\\Volume{one}"));
    EXPECT_FALSE(isEnabled(support::disk2));
}

TEST(ReadyBoostTest, IsLookedForAgainAfterTheLock) {
    DiskPc const pc({cacheOnSecond});
    {
        DeviceLockingManager manager(support::disk1);
        ASSERT_TRUE(manager.lockVolumes());
    }
    EXPECT_TRUE(isEnabled());
    // What was seen is not kept beyond the lock: another PC has its own.
    DiskPc const other({R"("volumes": [{"name": "\\\\?\\Volume{two}", "firstSector": 4096, "sectorCount": 1000}])"});
    EXPECT_FALSE(isEnabled());
}

TEST(ReadyBoostTest, ASecondManagerForgetsNothingOfTheFirst) {
    DiskPc const pc({cacheOnSecond});
    DeviceLockingManager manager(support::disk1);
    ASSERT_TRUE(manager.lockVolumes());
    EXPECT_FALSE(DeviceLockingManager(support::disk1).lockVolumes());
    EXPECT_TRUE(isEnabled());
}

TEST(ReadyBoostTest, AVolumeThatSomebodyElseHasLockedHoldsNoCacheInUse) {
    DiskPc const pc({cacheOnSecond});
    auto const volume = support::openFile(u"\\\\?\\Volume{two}");
    ASSERT_TRUE(
        kernel::DeviceIoControl(volume.get(), kernel::FSCTL_LOCK_VOLUME, nullptr, 0, nullptr, 0, nullptr, nullptr));
    EXPECT_FALSE(isEnabled());
}

TEST(ReadyBoostTest, AVolumeInUseIsNotLockedYetItsCacheIsSeen) {
    DiskPc const pc({R"("volumes": [{"firstSector": 0, "sectorCount": 10, "inUse": true, "readyBoost": true}])"});
    DeviceLockingManager manager(support::disk1);
    EXPECT_FALSE(manager.lockVolumes());
    EXPECT_TRUE(isEnabled());
}

} // namespace
