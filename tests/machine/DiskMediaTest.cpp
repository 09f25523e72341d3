// Media that are not there, come, go, load or are ejected, and disks that are unplugged.
#include "DiskFixture.h"

namespace {

using namespace std::chrono_literals;

constexpr auto checkVerify = kernel::IOCTL_STORAGE_CHECK_VERIFY;
constexpr auto eject = kernel::IOCTL_STORAGE_EJECT_MEDIA;

std::uint32_t send(machine::File & disk, std::uint32_t code, std::size_t outputSize = 0) {
    return ask(disk, code, {}, outputSize).error;
}

std::string changes(std::string const & list) {
    return R"("mediaChanges": [)" + list + "]";
}

TEST(DiskMedia, WithoutAMediumNothingThatNeedsOneSucceeds) {
    constexpr std::uint32_t error = kernel::ERROR_NOT_READY; // why, only TEST UNIT READY tells
    for (char const * const media : {"absent", "loading"}) {
        OneDisk pc(std::string(R"("media": ")") + media + '"');
        auto const disk = pc.open();
        EXPECT_EQ(pc.readError(*disk, 0), error);
        EXPECT_EQ(pc.writeError(*disk, 0), error);
        EXPECT_EQ(send(*disk, checkVerify), error);
        EXPECT_EQ(send(*disk, kernel::IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, 32), error);
        EXPECT_EQ(send(*disk, kernel::IOCTL_DISK_GET_LENGTH_INFO, 8), error);
        EXPECT_EQ(send(*disk, kernel::IOCTL_STORAGE_GET_DEVICE_NUMBER, 12), 0U);
        EXPECT_EQ(send(*disk, kernel::IOCTL_STORAGE_LOAD_MEDIA), 0U);
    }
}

TEST(DiskMedia, AMediumThatIsThereIsReady) {
    OneDisk pc(R"("media": "present")");
    auto const disk = pc.open();
    EXPECT_EQ(send(*disk, checkVerify), 0U);
    EXPECT_EQ(pc.readError(*disk, 0), 0U);
}

TEST(DiskMedia, AnUnpluggedDiskIsNotFound) {
    OneDisk pc(R"("media": "unplugged")");
    EXPECT_EQ(pc.openError(readWrite), 2U);
    EXPECT_EQ(pc.openError(queriesOnly), 2U);
    EXPECT_NE(pc.pc->devices().findByInstanceId(u"USBSTOR\\D\\1"), machine::noNode);
}

TEST(DiskMedia, AnUnpluggedDiskFailsWhoeverHasItOpen) {
    OneDisk pc(changes(R"({"media": "unplugged", "atMilliseconds": 500})"));
    auto const disk = pc.open();
    auto const asker = pc.open(queriesOnly);
    EXPECT_EQ(pc.readError(*disk, 0), 0U);
    pc.sleep(500ms);
    EXPECT_EQ(pc.readError(*disk, 0), 1167U);
    EXPECT_EQ(pc.writeError(*disk, 0), 1167U);
    for (std::uint32_t const code : {checkVerify, eject, kernel::IOCTL_STORAGE_LOAD_MEDIA,
                                     kernel::IOCTL_DISK_IS_WRITABLE, kernel::IOCTL_DISK_GET_LENGTH_INFO,
                                     kernel::IOCTL_STORAGE_GET_DEVICE_NUMBER, kernel::IOCTL_SCSI_PASS_THROUGH}) {
        EXPECT_EQ(send(*disk, code, 64), 1167U) << code;
    }
    EXPECT_EQ(send(*asker, kernel::IOCTL_STORAGE_GET_DEVICE_NUMBER, 12), 1167U);
    EXPECT_EQ(pc.openError(queriesOnly), 2U);
}

TEST(DiskMedia, AChangeComesAtItsTime) {
    for (auto const & [time, error] : {std::pair(500ms - 1ns, 0U), std::pair(500ms + 0ns, 21U)}) {
        OneDisk pc(changes(R"({"media": "absent", "atMilliseconds": 500})"));
        auto const disk = pc.open();
        pc.sleep(time - pc.now());
        EXPECT_EQ(pc.readError(*disk, 0), error);
    }
}

TEST(DiskMedia, AChangeComesWithTheTransferOfItsNumber) {
    OneDisk pc(changes(R"({"media": "absent", "atTransfer": 3})"));
    auto const disk = pc.open();
    EXPECT_EQ(pc.readError(*disk, 0), 0U);
    EXPECT_EQ(pc.writeError(*pc.open(), 0), 0U); // counts too, through whatever handle
    EXPECT_EQ(send(*disk, checkVerify), 0U);
    EXPECT_EQ(pc.readError(*disk, 0), 21U);
    EXPECT_EQ(send(*disk, checkVerify), 21U);
    EXPECT_EQ(pc.writeError(*disk, 0), 21U);
}

TEST(DiskMedia, TheFirstTransferMayAlreadyChangeIt) {
    OneDisk pc(R"("media": "loading", )" + changes(R"({"media": "present", "atTransfer": 1})"));
    auto const disk = pc.open();
    EXPECT_EQ(send(*disk, checkVerify), 21U);
    EXPECT_EQ(pc.readError(*disk, 0), 0U);
    EXPECT_EQ(send(*disk, checkVerify), 0U);
}

TEST(DiskMedia, TheLastChangeInTheListWhoseTimeHasComeHolds) {
    OneDisk pc(changes(R"({"media": "absent", "atMilliseconds": 100}, {"media": "loading", "atMilliseconds": 50},
                          {"media": "present", "atMilliseconds": 300})"));
    auto const disk = pc.open();
    EXPECT_EQ(send(*disk, checkVerify), 0U);
    pc.sleep(60ms);
    EXPECT_EQ(send(*disk, checkVerify), 21U);
    pc.sleep(100ms);
    EXPECT_EQ(send(*disk, checkVerify), 21U); // stands behind the earlier one in the list
    pc.sleep(200ms);
    EXPECT_EQ(send(*disk, checkVerify), 0U);
}

TEST(DiskMedia, AMediumThatComesBackHoldsItsBytes) {
    OneDisk pc(changes(R"({"media": "absent", "atTransfer": 2}, {"media": "present", "atTransfer": 3})"));
    auto const disk = pc.open();
    EXPECT_EQ(pc.writeError(*disk, 5, 1, 0x5A), 0U);
    EXPECT_EQ(pc.writeError(*disk, 5, 1, 0x77), 21U);
    EXPECT_TRUE(pc.holds(*disk, 5, 1, 0x5A));
}

TEST(DiskMedia, ADiskThatIsPluggedInAgainOpensAgain) {
    OneDisk pc(R"("media": "unplugged", )" + changes(R"({"media": "present", "atMilliseconds": 500})"));
    EXPECT_EQ(pc.openError(readWrite), 2U);
    pc.sleep(500ms);
    EXPECT_EQ(pc.readError(*pc.open(), 0), 0U);
}

TEST(DiskMedia, ATransferUnderWayEndsAsItBegan) {
    OneDisk pc(changes(R"({"media": "unplugged", "atMilliseconds": 5})"));
    auto const disk = pc.open(readWrite, shareAll, overlapped);
    Pages buffer(mebibyte);
    auto const read = disk->read(0, buffer.bytes()).pending;
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->wait(1s)->error, 0U);
    EXPECT_EQ(pc.read(*disk, 0, buffer.bytes()).error, 1167U);
}

TEST(DiskMedia, AnEjectTakesTheMediumOutForGood) {
    OneDisk pc(changes(R"({"media": "present", "atMilliseconds": 500})"));
    auto const disk = pc.open();
    EXPECT_EQ(send(*disk, eject), 0U);
    EXPECT_EQ(send(*disk, checkVerify), 21U);
    EXPECT_EQ(pc.readError(*disk, 0), 21U);
    EXPECT_EQ(send(*disk, kernel::IOCTL_STORAGE_LOAD_MEDIA), 0U);
    EXPECT_EQ(send(*disk, checkVerify), 21U);
    pc.sleep(1s);
    EXPECT_EQ(send(*disk, checkVerify), 21U);
    EXPECT_EQ(send(*disk, eject), 0U);
}

TEST(DiskMedia, AnEjectedDiskCanStillBeUnplugged) {
    OneDisk pc(changes(R"({"media": "unplugged", "atMilliseconds": 500})"));
    auto const disk = pc.open();
    EXPECT_EQ(send(*disk, eject), 0U);
    pc.sleep(500ms);
    EXPECT_EQ(send(*disk, checkVerify), 1167U);
}

TEST(DiskMedia, AMediumThatIsNotRemovableStays) {
    OneDisk pc(R"("removable": false)");
    auto const disk = pc.open();
    EXPECT_EQ(send(*disk, eject), 1U);
    EXPECT_EQ(send(*disk, checkVerify), 0U);
}

TEST(DiskMedia, AnEjectThatFailsOrHangsLeavesTheMediumIn) {
    OneDisk pc(R"("faults": [{"call": "eject", "times": 1, "error": 170},
                             {"call": "eject", "after": 1, "times": 1, "hangs": true}])");
    auto const disk = pc.open();
    EXPECT_EQ(send(*disk, eject), 170U);
    EXPECT_EQ(ask(*disk, eject, {}, 0, 10s).error, 121U);
    EXPECT_EQ(send(*disk, checkVerify), 0U);
    EXPECT_EQ(send(*disk, eject), 0U);
    EXPECT_EQ(send(*disk, checkVerify), 21U);
}

TEST(DiskMedia, AnEjectNeedsAHandleForReading) {
    OneDisk pc;
    EXPECT_EQ(send(*pc.open(queriesOnly), eject), 5U);
    EXPECT_EQ(send(*pc.open(writeOnlyAccess), eject), 5U);
    EXPECT_EQ(send(*pc.open(readOnlyAccess), checkVerify), 0U);
}

} // namespace
