// Transfers and I/O controls of a disk that fail, are late or never end.
#include "DiskFixture.h"

namespace {

using namespace std::chrono_literals;

std::string faults(std::string const & list) {
    return R"("faults": [)" + list + "]";
}

TEST(DiskFaults, TransfersThatTouchTheSectorsFail) {
    OneDisk pc(faults(R"({"call": "read", "firstSector": 100, "lastSector": 109, "error": 1117})"));
    auto const disk = pc.open();
    EXPECT_EQ(pc.readError(*disk, 99), 0U);
    EXPECT_EQ(pc.readError(*disk, 100), 1117U);
    EXPECT_EQ(pc.readError(*disk, 109), 1117U);
    EXPECT_EQ(pc.readError(*disk, 110), 0U);
    EXPECT_EQ(pc.readError(*disk, 92, 8), 0U);
    EXPECT_EQ(pc.readError(*disk, 92, 9), 1117U);
    EXPECT_EQ(pc.readError(*disk, 109, 8), 1117U);
    EXPECT_EQ(pc.readError(*disk, 90, 40), 1117U); // all of them
    EXPECT_EQ(pc.readError(*disk, 105), 1117U);    // within them
}

TEST(DiskFaults, OneEndOfTheSectorsMayBeOpen) {
    OneDisk pc(
        faults(R"({"call": "read", "firstSector": 100, "error": 23}, {"call": "read", "lastSector": 9, "error": 27})"));
    auto const disk = pc.open();
    EXPECT_EQ(pc.readError(*disk, 0), 27U);
    EXPECT_EQ(pc.readError(*disk, 9), 27U);
    EXPECT_EQ(pc.readError(*disk, 10, 90), 0U);
    EXPECT_EQ(pc.readError(*disk, 100), 23U);
    EXPECT_EQ(pc.readError(*disk, 62'533'295), 23U);
}

TEST(DiskFaults, ReadsAndWritesFailByThemselves) {
    OneDisk pc(faults(R"({"call": "write", "error": 1117})"));
    auto const disk = pc.open();
    EXPECT_EQ(pc.readError(*disk, 0), 0U);
    EXPECT_EQ(pc.writeError(*disk, 0), 1117U);
}

TEST(DiskFaults, SectorsCountInTheDisksSize) {
    OneDisk pc(R"("sectorSize": 4096, )" +
               faults(R"({"call": "read", "firstSector": 2, "lastSector": 2, "error": 1117})"));
    auto const disk = pc.open();
    Pages buffer(4096);
    EXPECT_EQ(pc.read(*disk, 4096, buffer.bytes()).error, 0U);
    EXPECT_EQ(pc.read(*disk, 8192, buffer.bytes()).error, 1117U);
}

TEST(DiskFaults, OnlyTheTransfersOfTheWindowFail) {
    OneDisk pc(
        faults(R"({"call": "read", "firstSector": 10, "lastSector": 19, "after": 1, "times": 2, "error": 1117})"));
    auto const disk = pc.open();
    EXPECT_EQ(pc.readError(*disk, 10), 0U);
    EXPECT_EQ(pc.readError(*disk, 0), 0U);   // does not count
    EXPECT_EQ(pc.writeError(*disk, 10), 0U); // nor does this
    EXPECT_EQ(pc.readError(*disk, 15), 1117U);
    EXPECT_EQ(pc.readError(*pc.open(), 10), 1117U); // counts on over other handles
    EXPECT_EQ(pc.readError(*disk, 10), 0U);
}

TEST(DiskFaults, RefusedTransfersDoNotCount) {
    OneDisk pc(R"("sectorCount": 100, )" + faults(R"({"call": "read", "times": 1, "error": 1117})"));
    auto const disk = pc.open();
    EXPECT_EQ(pc.readError(*disk, 100), 27U);
    EXPECT_EQ(pc.readError(*disk, 0), 1117U);
    EXPECT_EQ(pc.readError(*disk, 0), 0U);
}

TEST(DiskFaults, TheFirstOfTwoStrikesAndBothCount) {
    OneDisk pc(faults(R"({"call": "read", "times": 1, "error": 23}, {"call": "read", "times": 2, "error": 1117})"));
    auto const disk = pc.open();
    EXPECT_EQ(pc.readError(*disk, 0), 23U);
    EXPECT_EQ(pc.readError(*disk, 0), 1117U);
    EXPECT_EQ(pc.readError(*disk, 0), 0U);
}

TEST(DiskFaults, FaultsAreOfOneKindOfHandle) {
    OneDisk pc(faults(R"({"call": "read", "overlapped": true, "error": 23},
                         {"call": "read", "overlapped": false, "after": 1, "error": 1117})"));
    auto const ordinary = pc.open();
    auto const other = pc.open(readWrite, shareAll, overlapped);
    Pages buffer(sector);
    EXPECT_EQ(pc.readError(*ordinary, 0), 0U);
    auto const pending = other->read(0, buffer.bytes()).pending;
    ASSERT_NE(pending, nullptr);
    EXPECT_EQ(pending->wait(1s)->error, 23U);
    EXPECT_EQ(pc.readError(*ordinary, 0), 1117U);
}

TEST(DiskFaults, AFailedWriteHasOverwrittenWhatLiesBeforeTheSector) {
    OneDisk pc(faults(R"({"call": "write", "firstSector": 10, "lastSector": 10, "times": 1, "error": 1117})"));
    auto const disk = pc.open();
    Pages bytes(8 * sector, 0x5A);
    Moved const written = pc.write(*disk, 7 * sector, bytes.bytes());
    EXPECT_EQ(written.error, 1117U);
    EXPECT_EQ(written.bytes, 3 * sector);
    EXPECT_TRUE(pc.holds(*disk, 7, 3, 0x5A));
    EXPECT_TRUE(pc.holds(*disk, 10, 5, 0));
}

TEST(DiskFaults, AFailedWriteThatBeginsInTheFaultOverwritesNothing) {
    OneDisk pc(faults(R"({"call": "write", "firstSector": 10, "lastSector": 20, "error": 1117})"));
    auto const disk = pc.open();
    EXPECT_EQ(pc.writeError(*disk, 10, 4, 0x5A), 1117U);
    EXPECT_EQ(pc.writeError(*disk, 15, 20, 0x5A), 1117U);
    EXPECT_TRUE(pc.holds(*disk, 10, 25, 0));
}

TEST(DiskFaults, AFailedWriteWithoutASectorHasOverwrittenHalf) {
    OneDisk pc(faults(R"({"call": "write", "error": 1117})"));
    auto const disk = pc.open();
    EXPECT_EQ(pc.writeError(*disk, 0, 8, 0x5A), 1117U);
    EXPECT_TRUE(pc.holds(*disk, 0, 4, 0x5A));
    EXPECT_TRUE(pc.holds(*disk, 4, 4, 0));
    EXPECT_EQ(pc.writeError(*disk, 100, 3, 0x5A), 1117U); // whole sectors
    EXPECT_TRUE(pc.holds(*disk, 100, 1, 0x5A));
    EXPECT_TRUE(pc.holds(*disk, 101, 2, 0));
    EXPECT_EQ(pc.writeError(*disk, 200, 1, 0x5A), 1117U);
    EXPECT_TRUE(pc.holds(*disk, 200, 1, 0));
}

TEST(DiskFaults, AHangOfAnOrdinaryHandleEndsAfterATimeNobodyTakesForAnAnswer) {
    OneDisk pc(faults(R"({"call": "write", "hangs": true})"));
    auto const disk = pc.open();
    Pages bytes(4 * sector, 0x5A);
    Moved const written = pc.write(*disk, 0, bytes.bytes());
    EXPECT_EQ(written.error, 121U);
    EXPECT_EQ(written.bytes, 0U);
    EXPECT_EQ(written.took, 1h);
    EXPECT_TRUE(pc.holds(*disk, 0, 4, 0));
}

TEST(DiskFaults, OpensForTransfersFail) {
    OneDisk pc(faults(R"({"call": "open", "after": 1, "times": 1, "error": 21})"));
    EXPECT_EQ(pc.openError(readOnlyAccess), 0U);
    EXPECT_EQ(pc.openError(queriesOnly), 0U); // does not count
    EXPECT_EQ(pc.openError(writeOnlyAccess), 21U);
    EXPECT_EQ(pc.openError(readWrite), 0U);
}

struct ControlCall {
    char const * call;
    std::uint32_t code;
    std::size_t outputSize;

    friend std::ostream & operator<<(std::ostream & out, ControlCall const & control) { return out << control.call; }
};

class DiskControlFaults : public testing::TestWithParam<ControlCall> {
protected:
    static std::string fault(std::string const & effect) {
        return faults(std::string(R"({"call": ")") + GetParam().call + R"(", "times": 1, )" + effect + "}");
    }
    static Asked send(machine::File & disk, std::optional<machine::Duration> limit = std::nullopt) {
        return ask(disk, GetParam().code, {}, GetParam().outputSize, limit);
    }
};

TEST_P(DiskControlFaults, OneFails) {
    OneDisk pc(fault(R"("error": 1117)"));
    auto const disk = pc.open();
    Asked const answer = send(*disk);
    EXPECT_EQ(answer.error, 1117U);
    EXPECT_EQ(answer.returned, 0U);
    EXPECT_EQ(send(*disk).error, 0U);
}

TEST_P(DiskControlFaults, OneIsLate) {
    OneDisk pc(fault(R"("delayMilliseconds": 700)"));
    auto const disk = pc.open();
    machine::Duration const start = pc.now();
    Asked const answer = send(*disk, 10s);
    EXPECT_EQ(answer.error, 0U);
    EXPECT_EQ(answer.returned, GetParam().outputSize);
    EXPECT_EQ(pc.now() - start, 700ms + 50us);
}

TEST_P(DiskControlFaults, OneComesAtTheLastMoment) {
    OneDisk pc(fault(R"("delayMilliseconds": 10000)"));
    EXPECT_EQ(send(*pc.open(), 10s).error, 0U);
}

TEST_P(DiskControlFaults, OneIsTooLate) {
    OneDisk pc(fault(R"("delayMilliseconds": 10001)"));
    auto const disk = pc.open();
    machine::Duration const start = pc.now();
    EXPECT_EQ(send(*disk, 10s).error, 121U);
    EXPECT_EQ(pc.now() - start, 10s);
}

TEST_P(DiskControlFaults, OneIsNeverAnswered) {
    OneDisk pc(fault(R"("hangs": true)"));
    auto const disk = pc.open();
    machine::Duration const start = pc.now();
    EXPECT_EQ(send(*disk, 10s).error, 121U);
    EXPECT_EQ(pc.now() - start, 10s);
    EXPECT_EQ(send(*disk).error, 0U);
}

TEST_P(DiskControlFaults, OneIsNeverAnsweredAndNobodyLimitsIt) {
    OneDisk pc(fault(R"("hangs": true)"));
    auto const disk = pc.open();
    EXPECT_EQ(send(*disk).error, 121U);
    EXPECT_GE(pc.now(), 1h);
}

INSTANTIATE_TEST_SUITE_P(Calls, DiskControlFaults,
                         testing::Values(ControlCall{"geometry", kernel::IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, 32},
                                         ControlCall{"length", kernel::IOCTL_DISK_GET_LENGTH_INFO, 8},
                                         ControlCall{"checkVerify", kernel::IOCTL_STORAGE_CHECK_VERIFY, 0},
                                         ControlCall{"load", kernel::IOCTL_STORAGE_LOAD_MEDIA, 0},
                                         ControlCall{"eject", kernel::IOCTL_STORAGE_EJECT_MEDIA, 0}),
                         [](auto const & instance) { return std::string(instance.param.call); });

TEST(DiskFaults, AFaultOfOneControlLeavesOthersAlone) {
    OneDisk pc(faults(R"({"call": "geometry", "error": 31})"));
    auto const disk = pc.open();
    EXPECT_EQ(ask(*disk, kernel::IOCTL_DISK_GET_LENGTH_INFO, {}, 8).error, 0U);
    EXPECT_EQ(ask(*disk, kernel::IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, {}, 32).error, 31U);
    EXPECT_EQ(pc.readError(*disk, 0), 0U);
}

} // namespace
