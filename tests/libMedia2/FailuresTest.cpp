#include "kernel/ScriptedMachine.h"
#include "libMedia2.h"
#include "support/DiskPc.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

using libMedia2::Drive;
using libMedia2::OSDrive;
using support::disk1;
using support::DiskPc;
using support::Pages;

namespace {

// A drive over the one disk of a PC.
struct OneDrive {
    explicit OneDrive(std::string const & disk, std::string const & membersOfPc = {})
        : pc({disk}, membersOfPc), slot(support::openShared(disk1)), drive(slot, nullptr) {}

    DiskPc pc;
    nuv::SharedFileHandle slot;
    OSDrive drive;
    Pages page{4096};
};

TEST(ErrorTypeTest, FollowsTheError) {
    struct Case {
        char const * error;
        Drive::_LIBMEDIA2_ERROR_TYPES type;
    };
    for (Case const & each : {Case{"5", Drive::AccessDenied}, Case{"19", Drive::WriteProtected}, //
                              Case{"1117", Drive::Other}, Case{"1112", Drive::Other}, Case{"995", Drive::Other}}) {
        OneDrive one(std::string(R"("faults": [{"call": "write", "error": )") + each.error + "}]");
        EXPECT_FALSE(one.drive.writeSector(0, 8, one.page.data(), 4096));
        EXPECT_EQ(std::to_string(kernel::GetLastError()), each.error);
        EXPECT_EQ(one.drive.lastErrorType(), each.type) << each.error;
    }
    EXPECT_EQ(static_cast<int>(Drive::AccessDenied), 6);
    EXPECT_EQ(static_cast<int>(Drive::WriteProtected), 7);
}

TEST(ErrorTypeTest, AReadOnlyDiskIsWriteProtected) {
    OneDrive one(R"("readOnly": true)");
    EXPECT_TRUE(one.drive.readSector(0, 8, one.page.data(), 4096));
    EXPECT_FALSE(one.drive.writeSector(0, 8, one.page.data(), 4096));
    EXPECT_EQ(one.drive.lastErrorType(), Drive::WriteProtected);
}

TEST(ErrorTypeTest, AMountedVolumeDeniesAccess) {
    OneDrive one(R"("volumes": [{"firstSector": 2048, "sectorCount": 100000}])");
    EXPECT_FALSE(one.drive.writeSector(2048, 8, one.page.data(), 4096));
    EXPECT_EQ(one.drive.lastErrorType(), Drive::AccessDenied);
    EXPECT_TRUE(one.drive.writeSector(0, 8, one.page.data(), 4096));
}

TEST(ErrorTypeTest, StaysWhenSomethingElseFails) {
    OneDrive one(R"("faults": [{"call": "write", "error": 5}, {"call": "length", "error": 31}])");
    EXPECT_FALSE(one.drive.writeSector(0, 8, one.page.data(), 4096));
    EXPECT_EQ(one.drive.getSectorCount(), 0U);
    EXPECT_EQ(one.drive.lastErrorType(), Drive::AccessDenied);
}

TEST(RefusalTest, ASizeThatIsNotThatOfTheSectors) {
    OneDrive one("");
    for (std::uint64_t const bytes : {std::uint64_t{0}, std::uint64_t{511}, std::uint64_t{4095}, std::uint64_t{8192}}) {
        kernel::SetLastError(0);
        EXPECT_FALSE(one.drive.readSector(0, 8, one.page.data(), bytes));
        EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_PARAMETER);
        EXPECT_EQ(one.drive.lastErrorType(), Drive::Other);
        EXPECT_FALSE(one.drive.writeSector(0, 8, one.page.data(), bytes));
        EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_PARAMETER);
    }
}

TEST(RefusalTest, FourGigabytesInOneTransfer) {
    OneDrive one(R"("sectorCount": 40000000)");
    constexpr std::uint32_t sectors = 8388608;
    EXPECT_FALSE(one.drive.readSector(0, sectors, one.page.data(), std::uint64_t{sectors} * 512));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_PARAMETER);
    EXPECT_EQ(one.drive.lastErrorType(), Drive::Other);
}

TEST(RefusalTest, ASectorWhoseOffsetDoesNotFit) {
    OneDrive one("");
    constexpr std::uint64_t beyond = std::numeric_limits<std::uint64_t>::max() / 512 + 1; // its offset wraps to 0
    for (std::uint64_t const sector : {beyond, beyond / 2, std::numeric_limits<std::uint64_t>::max()}) {
        kernel::SetLastError(0);
        EXPECT_FALSE(one.drive.writeSector(sector, 8, one.page.data(), 4096));
        EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_PARAMETER);
    }
}

TEST(RefusalTest, ABufferThatIsNotAligned) {
    OneDrive one("");
    Pages pages(8192);
    EXPECT_FALSE(one.drive.readSector(0, 8, pages.data() + 1, 4096));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_PARAMETER);
    EXPECT_EQ(one.drive.lastErrorType(), Drive::Other);
}

TEST(RefusalTest, SectorsBehindTheLastOne) {
    OneDrive one(R"("sectorCount": 100)");
    EXPECT_TRUE(one.drive.readSector(92, 8, one.page.data(), 4096));
    EXPECT_FALSE(one.drive.readSector(93, 8, one.page.data(), 4096));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_SECTOR_NOT_FOUND);
}

TEST(RefusalTest, WithoutAGeometryThereAreNoTransfers) {
    OneDrive one(R"("faults": [{"call": "geometry", "error": 1117, "times": 1}])");
    EXPECT_FALSE(one.drive.readSector(0, 8, one.page.data(), 4096));
    EXPECT_EQ(kernel::GetLastError(), 1117U);
    EXPECT_EQ(one.drive.lastErrorType(), Drive::Other);
    EXPECT_TRUE(one.drive.readSector(0, 8, one.page.data(), 4096));
}

TEST(EventTest, WithoutOneThereAreNoTransfers) {
    OneDrive one("", R"("faults": [{"call": "createEvent", "times": 2, "error": 1450}])");
    for (int i = 0; i < 2; ++i) {
        kernel::SetLastError(0);
        EXPECT_FALSE(one.drive.readSector(0, 8, one.page.data(), 4096));
        EXPECT_EQ(kernel::GetLastError(), 1450U);
        EXPECT_EQ(one.drive.lastErrorType(), Drive::Other);
    }
    EXPECT_TRUE(one.drive.readSector(0, 8, one.page.data(), 4096));
}

// What no described disk does.
class OddDiskTest : public testing::Test {
protected:
    OddDiskTest() {
        pc_.answer = [this](std::uint32_t code, auto, std::span<std::byte> output, auto) {
            return code == kernel::IOCTL_DISK_GET_DRIVE_GEOMETRY_EX ? answered(geometry_, output)
                                                                    : answered(length_, output);
        };
        geometry_.Geometry.BytesPerSector = 512;
        length_.Length = 51200;
        slot_ = support::openShared(u"\\\\.\\disk");
    }

    template <class Record> machine::Transfer answered(Record const & record, std::span<std::byte> output) const {
        auto const size = static_cast<std::uint32_t>(sizeof record) - cutOff_;
        std::memcpy(output.data(), &record, size);
        return {0, size};
    }

    support::ScriptedMachine pc_;
    machine::InUse inUse_{pc_};
    kernel::DISK_GEOMETRY_EX geometry_{};
    kernel::GET_LENGTH_INFORMATION length_{};
    std::uint32_t cutOff_ = 0;
    nuv::SharedFileHandle slot_;
    Pages page_{4096};
};

TEST_F(OddDiskTest, AShortTransferIsAFailure) {
    pc_.transfer = [](bool, std::uint64_t, std::size_t size) {
        return machine::Started{{0, static_cast<std::uint32_t>(size - 512)}, nullptr};
    };
    OSDrive drive(slot_, nullptr);
    EXPECT_FALSE(drive.readSector(0, 8, page_.data(), 4096));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_HANDLE_EOF);
    EXPECT_EQ(drive.lastErrorType(), Drive::Other);
    kernel::SetLastError(0);
    EXPECT_FALSE(drive.writeSector(0, 8, page_.data(), 4096));
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_HANDLE_EOF);
}

TEST_F(OddDiskTest, AnAnswerThatIsTooShortIsNone) {
    OSDrive drive(slot_, nullptr);
    EXPECT_EQ(drive.getSectorCount(), 100U);
    cutOff_ = 1;
    kernel::SetLastError(0);
    EXPECT_EQ(drive.getSectorSize(), 0U);
    EXPECT_NE(kernel::GetLastError(), 0U);
}

TEST_F(OddDiskTest, NonsenseIsNoSize) {
    OSDrive drive(slot_, nullptr);
    length_.Length = -512;
    EXPECT_EQ(drive.getSectorCount(), 0U);
    length_.Length = 51200 + 511;
    EXPECT_EQ(drive.getSectorCount(), 100U);
    geometry_.Geometry.BytesPerSector = 0;
    EXPECT_EQ(drive.getSectorSize(), 0U);
    EXPECT_EQ(drive.getSectorCount(), 0U);
    kernel::SetLastError(0);
    EXPECT_FALSE(drive.readSector(0, 8, page_.data(), 4096));
    EXPECT_NE(kernel::GetLastError(), 0U);
}

TEST_F(OddDiskTest, TheSizeIsAskedOnceForAllTransfers) {
    OSDrive drive(slot_, nullptr);
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(drive.readSector(0, 8, page_.data(), 4096));
    }
    EXPECT_EQ(pc_.controls, 1);
}

} // namespace
