// Who may open a disk while others have it open, and disks that cannot be opened.
#include "DiskFixture.h"

namespace {

constexpr std::uint32_t shareRead = kernel::FILE_SHARE_READ;
constexpr std::uint32_t shareWrite = kernel::FILE_SHARE_WRITE;
constexpr std::uint32_t sharingViolation = 32;

TEST(DiskSharing, AnExclusiveOpenKeepsOthersOut) {
    OneDisk pc;
    auto disk = pc.open(readWrite, exclusive);
    for (std::uint32_t const access : {readOnlyAccess, writeOnlyAccess, readWrite}) {
        EXPECT_EQ(pc.openError(access, shareAll), sharingViolation);
    }
    disk.reset();
    EXPECT_EQ(pc.openError(readWrite, exclusive), 0U);
}

TEST(DiskSharing, AnExclusiveOpenNeedsTheDiskForItself) {
    OneDisk pc;
    auto reader = pc.open(readOnlyAccess, shareAll);
    EXPECT_EQ(pc.openError(readWrite, exclusive), sharingViolation);
    reader.reset();
    EXPECT_EQ(pc.openError(readWrite, exclusive), 0U);
}

TEST(DiskSharing, EachSideMustAllowWhatTheOtherDoes) {
    OneDisk pc;
    auto const reader = pc.open(readOnlyAccess, shareRead);
    EXPECT_EQ(pc.openError(readOnlyAccess, shareRead), 0U);
    EXPECT_EQ(pc.openError(readOnlyAccess, shareWrite), sharingViolation); // would not let the reader read
    EXPECT_EQ(pc.openError(writeOnlyAccess, shareRead), sharingViolation); // the reader allows no writing
    EXPECT_EQ(pc.openError(readWrite, shareAll), sharingViolation);
}

TEST(DiskSharing, OpensForQueriesTakeNoPart) {
    OneDisk pc;
    auto const asker = pc.open(queriesOnly, exclusive);
    auto const disk = pc.open(readWrite, exclusive);
    auto const other = pc.open(queriesOnly, exclusive);
    EXPECT_EQ(ask(*other, kernel::IOCTL_STORAGE_GET_DEVICE_NUMBER, {}, 12).error, 0U);
    EXPECT_EQ(pc.readError(*disk, 0), 0U);
    EXPECT_EQ(pc.openError(readOnlyAccess), sharingViolation);
}

TEST(DiskSharing, AFailedOpenHoldsNothing) {
    OneDisk pc;
    auto reader = pc.open(readOnlyAccess, shareAll);
    EXPECT_EQ(pc.openError(readWrite, exclusive), sharingViolation);
    EXPECT_EQ(pc.openError(readWrite, shareAll), 0U);
}

TEST(DiskSharing, AnyLetterCaseAndPrefixIsTheSameDisk) {
    OneDisk pc;
    auto const disk = pc.open(readWrite, exclusive);
    EXPECT_EQ(pc.tryOpen(u"\\\\?\\physicaldrive1", readWrite).error, sharingViolation);
    EXPECT_EQ(pc.tryOpen(u"\\\\.\\PhysicalDrive2", readWrite).error, 2U);
}

TEST(DiskSharing, TheDiskAndItsVolumesAreSharedByThemselves) {
    OneDisk pc(R"("volumes": [{"name": "\\\\?\\Volume{1}", "firstSector": 1, "sectorCount": 1}])");
    auto const disk = pc.open(readWrite, exclusive);
    auto const volume = pc.tryOpen(u"\\\\?\\Volume{1}", readWrite, exclusive);
    EXPECT_EQ(volume.error, 0U);
    EXPECT_EQ(pc.tryOpen(u"\\\\?\\Volume{1}", readOnlyAccess).error, sharingViolation);
}

TEST(DiskSharing, AnOpenErrorMeetsOpensForTransfers) {
    OneDisk pc(R"("openError": 1005)");
    EXPECT_EQ(pc.openError(readOnlyAccess), 1005U);
    EXPECT_EQ(pc.openError(writeOnlyAccess), 1005U);
    EXPECT_EQ(pc.openError(readWrite), 1005U);
    EXPECT_EQ(ask(*pc.open(queriesOnly), kernel::IOCTL_STORAGE_GET_DEVICE_NUMBER, {}, 12).error, 0U);
}

TEST(DiskSharing, AFaultOfOpensGoesBeforeTheirUsualError) {
    OneDisk pc(R"("openError": 5, "faults": [{"call": "open", "times": 1, "error": 21}])");
    EXPECT_EQ(pc.openError(readWrite), 21U);
    EXPECT_EQ(pc.openError(readWrite), 5U);
}

TEST(DiskSharing, AHiddenDiskIsOpenedAllTheSame) {
    OneDisk pc(R"("hidden": true)");
    EXPECT_EQ(pc.openError(readWrite), 0U);
    machine::DeviceTree const & tree = pc.pc->devices();
    EXPECT_TRUE(tree[tree.findByInstanceId(u"USBSTOR\\D\\1")].hidden);
}

} // namespace
