#include "libMedia2.h"
#include "support/DiskPc.h"

#include <gtest/gtest.h>

using libMedia2::OSDrive;
using support::disk1;
using support::disk2;
using support::DiskPc;

namespace {

TEST(SizesTest, AreThoseOfTheDisk) {
    DiskPc const pc({R"("sectorCount": 1000)", R"("sectorSize": 4096, "sectorCount": 77)"});
    nuv::SharedFileHandle slot = support::openShared(disk1);
    OSDrive drive(slot, nullptr);
    EXPECT_EQ(drive.getSectorSize(), 512U);
    EXPECT_EQ(drive.getSectorCount(), 1000U);

    slot = support::openShared(disk2, kernel::FILE_FLAG_OVERLAPPED | kernel::FILE_FLAG_NO_BUFFERING);
    EXPECT_EQ(drive.getSectorSize(), 4096U);
    EXPECT_EQ(drive.getSectorCount(), 77U);
}

TEST(SizesTest, ADiskLargerThanFourGigabytesHasAllItsSectors) {
    DiskPc const pc({R"("sectorCount": 9007199254740992)"}); // 4 EiB
    nuv::SharedFileHandle slot = support::openShared(disk1);
    OSDrive drive(slot, nullptr);
    EXPECT_EQ(drive.getSectorCount(), 9007199254740992U);
}

TEST(SizesTest, AreZeroWhenTheGeometryCannotBeHad) {
    DiskPc const pc({R"("faults": [{"call": "geometry", "error": 1117}])"});
    nuv::SharedFileHandle slot = support::openShared(disk1);
    OSDrive drive(slot, nullptr);
    EXPECT_EQ(drive.getSectorSize(), 0U);
    EXPECT_EQ(kernel::GetLastError(), 1117U);
    EXPECT_EQ(drive.getSectorCount(), 0U);
}

TEST(SizesTest, TheCountIsZeroWhenTheLengthCannotBeHad) {
    DiskPc const pc({R"("faults": [{"call": "length", "error": 31}])"});
    nuv::SharedFileHandle slot = support::openShared(disk1);
    OSDrive drive(slot, nullptr);
    EXPECT_EQ(drive.getSectorSize(), 512U);
    EXPECT_EQ(drive.getSectorCount(), 0U);
    EXPECT_EQ(kernel::GetLastError(), 31U);
}

TEST(SizesTest, AreZeroWithoutAMedium) {
    DiskPc const pc({R"("media": "absent")"});
    nuv::SharedFileHandle slot = support::openShared(disk1);
    OSDrive drive(slot, nullptr);
    EXPECT_EQ(drive.getSectorSize(), 0U);
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_NOT_READY);
    EXPECT_EQ(drive.getSectorCount(), 0U);
}

TEST(SizesTest, AreZeroForAnEmptySlot) {
    DiskPc const pc({""});
    nuv::SharedFileHandle slot;
    OSDrive drive(slot, nullptr);
    EXPECT_EQ(drive.getSectorSize(), 0U);
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_HANDLE);
    EXPECT_EQ(drive.getSectorCount(), 0U);
}

TEST(SizesTest, AskingLeavesTheLastErrorAlone) {
    DiskPc const pc({""});
    nuv::SharedFileHandle slot = support::openShared(disk1);
    OSDrive drive(slot, nullptr);
    kernel::SetLastError(77);
    drive.getSectorSize();
    drive.getSectorCount();
    EXPECT_EQ(kernel::GetLastError(), 77U);
}

nuv::CreateFileOpenArgs openArgs(char16_t const * path) {
    nuv::CreateFileOpenArgs args;
    args.fileName = path;
    args.desiredAccess = support::readWrite;
    return args;
}

TEST(SlotTest, AnEmptyOneIsOpenedByTheArguments) {
    DiskPc const pc({R"("sectorCount": 1000)"});
    nuv::CreateFileOpenArgs const args = openArgs(disk1);
    nuv::SharedFileHandle slot;
    {
        OSDrive drive(slot, &args);
        EXPECT_EQ(drive.getSectorCount(), 1000U);
    }
    EXPECT_EQ(kernel::openHandleCount(), 1U); // the slot's owner closes it, not the drive
    slot.release();
    EXPECT_EQ(kernel::openHandleCount(), 0U);
}

TEST(SlotTest, AnInvalidHandleIsAnEmptySlot) {
    DiskPc const pc({R"("sectorCount": 1000)"});
    nuv::CreateFileOpenArgs const args = openArgs(disk1);
    nuv::SharedFileHandle slot(new nuv::FileHandleResManager);
    OSDrive drive(slot, &args);
    EXPECT_EQ(drive.getSectorCount(), 1000U);
}

TEST(SlotTest, AnOpenHandleIsKept) {
    DiskPc const pc({R"("sectorCount": 1000)", R"("sectorCount": 2000)"});
    nuv::CreateFileOpenArgs const args = openArgs(disk2);
    nuv::SharedFileHandle slot = support::openShared(disk1);
    OSDrive drive(slot, &args);
    EXPECT_EQ(drive.getSectorCount(), 1000U);
    EXPECT_EQ(kernel::openHandleCount(), 1U);
}

TEST(SlotTest, AFailedOpenLeavesADriveThatTellsNothing) {
    DiskPc const pc({R"("openError": 5)"});
    nuv::CreateFileOpenArgs const args = openArgs(disk1);
    nuv::SharedFileHandle slot;
    OSDrive drive(slot, &args);
    EXPECT_EQ(kernel::GetLastError(), 5U);
    EXPECT_EQ(drive.getSectorSize(), 0U);
}

} // namespace
