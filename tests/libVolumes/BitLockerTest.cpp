#include "libVolumes.h"
#include "support/DiskPc.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

using libVolumes::DeviceLockingManager;
using support::DiskPc;

namespace {

// Whether the first disk is found to be protected, on a PC with these disks.
bool isProtected(std::vector<std::string> const & disks, std::string const & membersOfPc = {}) {
    DiskPc const pc(disks, membersOfPc);
    bool const found = DeviceLockingManager(support::disk1).isBitLockerEnabledOnVolumes();
    EXPECT_EQ(kernel::openHandleCount(), 0U);
    return found;
}

constexpr char const * plain = R"("volumes": [{"firstSector": 2048, "sectorCount": 10000}])";
constexpr char const * bitLocker =
    R"("volumes": [{"firstSector": 2048, "sectorCount": 10000, "encryption": "bitLocker"}])";

TEST(BitLockerTest, APlainDiskIsNotProtected) {
    EXPECT_FALSE(isProtected({""}));
    EXPECT_FALSE(isProtected({plain}));
    EXPECT_FALSE(isProtected({std::string(R"("sectorSize": 4096, )") + plain}));
    EXPECT_FALSE(isProtected({std::string(R"("seed": 5, )") + plain}));
}

TEST(BitLockerTest, EitherMarkProtects) {
    EXPECT_TRUE(isProtected({bitLocker}));
    EXPECT_TRUE(isProtected({R"("volumes": [{"firstSector": 0, "sectorCount": 9, "encryption": "bitLockerToGo"}])"}));
    EXPECT_TRUE(isProtected({std::string(R"("sectorSize": 4096, )") + bitLocker}));
}

TEST(BitLockerTest, OneProtectedVolumeIsEnough) {
    EXPECT_TRUE(isProtected({R"("volumes": [{"firstSector": 2048, "sectorCount": 1000},
        {"firstSector": 4096, "sectorCount": 1000, "encryption": "bitLockerToGo"}])"}));
}

TEST(BitLockerTest, VolumesOfOtherDisksDoNotMatter) {
    EXPECT_FALSE(isProtected({plain, bitLocker}));
    EXPECT_FALSE(isProtected({"", bitLocker}));
}

TEST(BitLockerTest, AMarkOutsideTheVolumesIsData) {
    DiskPc const pc({plain});
    support::Pages sector(512, 0);
    std::memcpy(sector.data() + 3, "-FVE-FS-", 8);
    EXPECT_EQ(support::writeRaw(support::openFile(support::disk1), 0, sector), 0U);
    EXPECT_FALSE(DeviceLockingManager(support::disk1).isBitLockerEnabledOnVolumes());
}

TEST(BitLockerTest, ASectorThatCannotBeReadCountsAsProtected) {
    std::string const unreadable =
        R"("faults": [{"call": "read", "firstSector": 2048, "lastSector": 2048, "error": 23}], )";
    EXPECT_TRUE(isProtected({unreadable + plain}));
    EXPECT_FALSE(isProtected({unreadable + R"("volumes": [{"firstSector": 2049, "sectorCount": 10000}])"}));
}

TEST(BitLockerTest, WithoutMemoryForASectorADiskCountsAsProtectedIfItHasVolumes) {
    std::string const shortage = R"("faults": [{"call": "allocate", "error": 8}])";
    EXPECT_TRUE(isProtected({plain}, shortage));
    EXPECT_FALSE(isProtected({""}, shortage));
}

TEST(BitLockerTest, ADiskThatCannotBeAskedCountsAsProtectedIfItHasVolumes) {
    for (char const * const trouble : {R"("openError": 5)", R"("faults": [{"call": "geometry", "error": 1117}])"}) {
        EXPECT_TRUE(isProtected({std::string(trouble) + ", " + plain})) << trouble;
        EXPECT_FALSE(isProtected({trouble})) << trouble;
    }
}

TEST(BitLockerTest, ADiskThatSomebodyHasOpenExclusivelyCountsAsProtected) {
    DiskPc const pc({plain});
    auto const held = support::openFile(support::disk1, support::readWrite, support::exclusive);
    EXPECT_TRUE(DeviceLockingManager(support::disk1).isBitLockerEnabledOnVolumes());
    EXPECT_EQ(kernel::openHandleCount(), 1U);
}

TEST(BitLockerTest, WithoutAMediumOrADeviceNothingIsProtected) {
    for (char const * const state : {"absent", "loading", "unplugged"}) {
        EXPECT_FALSE(isProtected({std::string(R"("media": ")") + state + "\", " + bitLocker})) << state;
    }
    DiskPc const pc({bitLocker});
    EXPECT_FALSE(DeviceLockingManager("\\\\.\\PhysicalDrive7").isBitLockerEnabledOnVolumes());
    EXPECT_FALSE(DeviceLockingManager("").isBitLockerEnabledOnVolumes());
}

TEST(BitLockerTest, AMediumThatIsTakenOutDuringTheReadCountsAsProtected) {
    for (char const * const state : {"absent", "unplugged"}) {
        std::string const change = std::string(R"("mediaChanges": [{"atTransfer": 1, "media": ")") + state + R"("}], )";
        EXPECT_TRUE(isProtected({change + plain})) << state;
    }
}

TEST(BitLockerTest, TheLocatorIsTakenInAnyLetterCase) {
    DiskPc const pc({bitLocker});
    EXPECT_TRUE(DeviceLockingManager("\\\\.\\physicaldrive1").isBitLockerEnabledOnVolumes());
}

TEST(BitLockerTest, CanBeAskedAgainWhileTheVolumesAreLocked) {
    for (char const * const disk : {plain, bitLocker}) {
        DiskPc const pc({disk});
        DeviceLockingManager manager(support::disk1);
        ASSERT_TRUE(manager.lockVolumes());
        EXPECT_EQ(manager.isBitLockerEnabledOnVolumes(), disk == bitLocker);
    }
}

TEST(BitLockerTest, SomebodyWhoSharesTheDiskMayHaveItOpen) {
    DiskPc const pc({plain});
    auto const other = support::openFile(support::disk1, support::readWrite, support::shareAll);
    EXPECT_FALSE(DeviceLockingManager(support::disk1).isBitLockerEnabledOnVolumes());
}

} // namespace
