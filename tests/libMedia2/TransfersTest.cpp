#include "libMedia2.h"
#include "support/DiskPc.h"

#include <gtest/gtest.h>

#include <algorithm>

using libMedia2::Drive;
using libMedia2::OSDrive;
using support::disk1;
using support::disk2;
using support::DiskPc;
using support::Pages;

namespace {

constexpr std::uint32_t overlappedFlags = kernel::FILE_FLAG_OVERLAPPED | kernel::FILE_FLAG_NO_BUFFERING;

// On a handle of either kind.
class TransfersTest : public testing::TestWithParam<std::uint32_t> {};

INSTANTIATE_TEST_SUITE_P(Handles, TransfersTest, testing::Values(kernel::FILE_FLAG_NO_BUFFERING, overlappedFlags),
                         [](auto const & handle) {
                             return (handle.param & kernel::FILE_FLAG_OVERLAPPED) != 0 ? "Overlapped" : "Synchronous";
                         });

TEST_P(TransfersTest, WhatIsWrittenIsReadBack) {
    for (char const * const sectorSize : {"512", "4096"}) {
        DiskPc const pc({std::string(R"("sectorSize": )") + sectorSize});
        nuv::SharedFileHandle slot = support::openShared(disk1, GetParam());
        OSDrive drive(slot, nullptr);
        std::uint32_t const size = drive.getSectorSize();
        Pages written(std::size_t{20} * size, 0xA5);
        EXPECT_TRUE(drive.writeSector(7, 20, written.data(), written.size()));

        Pages read(written.size());
        EXPECT_TRUE(drive.readSector(7, 20, read.data(), read.size()));
        EXPECT_TRUE(read.isAll(0xA5));
        Pages before(size, 1);
        EXPECT_TRUE(drive.readSector(6, 1, before.data(), size));
        EXPECT_TRUE(before.isAll(0));
        Pages behind(size, 1);
        EXPECT_TRUE(drive.readSector(27, 1, behind.data(), size));
        EXPECT_TRUE(behind.isAll(0));
    }
}

TEST_P(TransfersTest, OffsetsBeyondFourGigabytesAreNotCut) {
    DiskPc const pc({R"("sectorCount": 40000000)"});
    nuv::SharedFileHandle slot = support::openShared(disk1, GetParam());
    OSDrive drive(slot, nullptr);
    constexpr std::uint64_t sector = (std::uint64_t{4} << 30U) / 512 + 3;
    Pages marked(512, 0x11);
    EXPECT_TRUE(drive.writeSector(sector, 1, marked.data(), 512));
    Pages low(512, 1);
    EXPECT_TRUE(drive.readSector(3, 1, low.data(), 512));
    EXPECT_TRUE(low.isAll(0));
    EXPECT_TRUE(drive.readSector(sector, 1, low.data(), 512));
    EXPECT_TRUE(low.isAll(0x11));
}

TEST_P(TransfersTest, ASuccessLeavesTheLastErrorAlone) {
    DiskPc const pc({""});
    nuv::SharedFileHandle slot = support::openShared(disk1, GetParam());
    OSDrive drive(slot, nullptr);
    Pages page(512);
    kernel::SetLastError(77);
    EXPECT_TRUE(drive.writeSector(0, 1, page.data(), 512));
    EXPECT_TRUE(drive.readSector(0, 1, page.data(), 512));
    EXPECT_EQ(kernel::GetLastError(), 77U);
    EXPECT_EQ(drive.lastErrorType(), Drive::None);
}

TEST_P(TransfersTest, AFailureTellsItsErrorAndTheNextSuccessNone) {
    DiskPc const pc(
        {R"("faults": [{"call": "read", "error": 1117, "times": 1}, {"call": "write", "error": 23, "times": 1}])"});
    nuv::SharedFileHandle slot = support::openShared(disk1, GetParam());
    OSDrive drive(slot, nullptr);
    Pages page(512);
    EXPECT_FALSE(drive.readSector(0, 1, page.data(), 512));
    EXPECT_EQ(kernel::GetLastError(), 1117U);
    EXPECT_EQ(drive.lastErrorType(), Drive::Other);
    EXPECT_TRUE(drive.readSector(0, 1, page.data(), 512));
    EXPECT_EQ(drive.lastErrorType(), Drive::None);
    EXPECT_FALSE(drive.writeSector(0, 1, page.data(), 512));
    EXPECT_EQ(kernel::GetLastError(), 23U);
    EXPECT_EQ(drive.lastErrorType(), Drive::Other);
}

TEST_P(TransfersTest, ATransferIsWaitedForHoweverLongItTakes) {
    DiskPc pc({R"("faults": [{"call": "read", "delayMilliseconds": 45000}])"});
    nuv::SharedFileHandle slot = support::openShared(disk1, GetParam());
    OSDrive drive(slot, nullptr);
    Pages page(512);
    machine::Duration const start = pc.clock().now();
    EXPECT_TRUE(drive.readSector(0, 1, page.data(), 512));
    EXPECT_GE(pc.clock().now() - start, std::chrono::seconds(45));
}

TEST_P(TransfersTest, TakeTheHandleThatIsInTheSlot) {
    DiskPc const pc({R"("seed": 1)", ""});
    nuv::SharedFileHandle slot = support::openShared(disk1, GetParam());
    OSDrive drive(slot, nullptr);
    Pages page(512);
    EXPECT_TRUE(drive.readSector(0, 1, page.data(), 512));
    EXPECT_FALSE(page.isAll(0));
    slot = support::openShared(disk2, GetParam());
    EXPECT_TRUE(drive.readSector(0, 1, page.data(), 512));
    EXPECT_TRUE(page.isAll(0));
}

TEST(SlotChangeTest, ATransferOnANewHandleTakesNoLongerThanItself) {
    DiskPc pc({R"("readRate": 1)"});
    nuv::SharedFileHandle slot = support::openShared(disk1);
    OSDrive drive(slot, nullptr);
    EXPECT_EQ(drive.getSectorSize(), 512U);
    slot.release();
    slot = support::openShared(disk1);
    Pages page(1048576);
    machine::Duration const start = pc.clock().now();
    EXPECT_TRUE(drive.readSector(0, 2048, page.data(), 1048576));
    EXPECT_EQ(pc.clock().now() - start, std::chrono::seconds(1));
}

TEST(SlotChangeTest, TheSectorSizeIsTheOneThatWasAskedLast) {
    DiskPc const pc({"", R"("sectorSize": 4096)"});
    nuv::SharedFileHandle slot = support::openShared(disk1);
    OSDrive drive(slot, nullptr);
    Pages page(4096, 0x22);
    EXPECT_TRUE(drive.writeSector(1, 8, page.data(), 4096));
    slot = support::openShared(disk2);
    EXPECT_EQ(drive.getSectorSize(), 4096U);
    EXPECT_FALSE(drive.writeSector(1, 8, page.data(), 4096)); // would be 32768 bytes there
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(drive.writeSector(1, 1, page.data(), 4096));
    Pages first(4096, 1);
    EXPECT_TRUE(drive.readSector(0, 1, first.data(), 4096));
    EXPECT_TRUE(first.isAll(0));
}

TEST(HandlesTest, TheDriveLeavesNoneBehind) {
    DiskPc const pc({""});
    nuv::SharedFileHandle slot = support::openShared(disk1, overlappedFlags);
    Pages page(512);
    {
        OSDrive drive(slot, nullptr);
        EXPECT_EQ(kernel::openHandleCount(), 1U);
        for (int i = 0; i < 5; ++i) {
            EXPECT_TRUE(drive.readSector(0, 1, page.data(), 512));
        }
        EXPECT_EQ(kernel::openHandleCount(), 2U); // the disk, and one event for all transfers
    }
    EXPECT_EQ(kernel::openHandleCount(), 1U);
}

TEST(HandlesTest, TheDriveOutlivesAReleasedHandle) {
    DiskPc const pc({""});
    nuv::SharedFileHandle slot = support::openShared(disk1);
    OSDrive drive(slot, nullptr);
    Pages page(512);
    EXPECT_TRUE(drive.readSector(0, 1, page.data(), 512));
    slot.release();
    EXPECT_FALSE(drive.readSector(0, 1, page.data(), 512));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_HANDLE);
    EXPECT_EQ(drive.lastErrorType(), Drive::Other);
}

} // namespace
