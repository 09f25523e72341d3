// Transfers of handles opened for overlapped I/O: they go on after their start.
#include "DiskFixture.h"

namespace {

using namespace std::chrono_literals;

// One MiB takes 25 ms to read and 50 ms to write.
class OverlappedDisk : public testing::Test {
protected:
    std::unique_ptr<machine::PendingTransfer> startRead() {
        machine::Started started = disk_->read(0, buffer_.bytes());
        EXPECT_NE(started.pending, nullptr);
        return std::move(started.pending);
    }
    std::unique_ptr<machine::PendingTransfer> startWrite() {
        machine::Started started = disk_->write(0, buffer_.bytes());
        EXPECT_NE(started.pending, nullptr);
        return std::move(started.pending);
    }
    // Through a handle of its own, whose transfers end before their return.
    bool holds(std::uint8_t value) { return pc_.holds(*pc_.open(), 0, mebibyte / sector, value); }

    OneDisk pc_;
    std::unique_ptr<machine::File> disk_ = pc_.open(readWrite, shareAll, overlapped);
    Pages buffer_{mebibyte, 0x5A};
};

TEST_F(OverlappedDisk, AReadGoesOnUntilItsTimeIsOver) {
    machine::Duration const start = pc_.now();
    auto const read = startRead();
    EXPECT_EQ(pc_.now(), start);
    EXPECT_EQ(read->wait(10ms), std::nullopt);
    EXPECT_EQ(pc_.now() - start, 10ms);
    EXPECT_EQ(read->wait(15ms - 1ns), std::nullopt);
    EXPECT_TRUE(buffer_.isAll(0x5A));
    auto const outcome = read->wait(1ns);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->error, 0U);
    EXPECT_EQ(outcome->bytes, mebibyte);
    EXPECT_TRUE(buffer_.isAll(0));
    EXPECT_EQ(pc_.now() - start, 25ms);
}

TEST_F(OverlappedDisk, AWaitEndsWithTheTransfer) {
    machine::Duration const start = pc_.now();
    EXPECT_EQ(startRead()->wait(1h)->bytes, mebibyte);
    EXPECT_EQ(pc_.now() - start, 25ms);
}

TEST_F(OverlappedDisk, TimeThatPassesOtherwiseCounts) {
    auto const read = startRead();
    pc_.sleep(2s);
    machine::Duration const start = pc_.now();
    EXPECT_EQ(read->wait(0s)->bytes, mebibyte);
    EXPECT_EQ(pc_.now(), start);
}

TEST_F(OverlappedDisk, AWriteIsOnTheDiskOnceItHasEnded) {
    auto const write = startWrite();
    EXPECT_EQ(write->wait(49ms), std::nullopt);
    EXPECT_TRUE(holds(0));
    EXPECT_EQ(write->wait(1s)->bytes, mebibyte);
    EXPECT_TRUE(holds(0x5A));
}

TEST_F(OverlappedDisk, ATransferOutlivesItsFile) {
    auto const write = startWrite();
    disk_.reset();
    EXPECT_EQ(write->wait(1s)->error, 0U);
    EXPECT_TRUE(holds(0x5A));
}

TEST_F(OverlappedDisk, ACancelledWriteHasNotWritten) {
    auto const write = startWrite();
    EXPECT_EQ(write->wait(10ms), std::nullopt);
    machine::Duration const start = pc_.now();
    write->cancel();
    auto const outcome = write->wait(1s);
    EXPECT_EQ(outcome->error, 995U);
    EXPECT_EQ(outcome->bytes, 0U);
    EXPECT_EQ(pc_.now(), start);
    EXPECT_TRUE(holds(0));
}

TEST_F(OverlappedDisk, WhatHasEndedIsNotCancelled) {
    auto const write = startWrite();
    pc_.sleep(50ms);
    write->cancel();
    EXPECT_EQ(write->wait(0s)->error, 0U);
    EXPECT_TRUE(holds(0x5A));
}

TEST_F(OverlappedDisk, ControlsEndBeforeTheirReturn) {
    EXPECT_EQ(ask(*disk_, kernel::IOCTL_DISK_GET_LENGTH_INFO, {}, 8).error, 0U);
    EXPECT_EQ(ask(*disk_, kernel::IOCTL_STORAGE_CHECK_VERIFY, {}, 0).error, 0U);
}

class OverlappedFaults : public OverlappedDisk {
protected:
    // A PC whose disk has the fault.
    void strike(std::string const & fault) {
        disk_.reset();
        pc_ = OneDisk(R"("faults": [{)" + fault + "}]");
        disk_ = pc_.open(readWrite, shareAll, overlapped);
    }
};

TEST_F(OverlappedFaults, AFaultEndsATransferUnderWay) {
    strike(R"("call": "read", "error": 1117)");
    machine::Duration const start = pc_.now();
    auto const read = startRead();
    EXPECT_EQ(read->wait(12ms), std::nullopt);
    EXPECT_EQ(read->wait(1s)->error, 1117U);
    EXPECT_EQ(pc_.now() - start, 12'500us); // half of it was read
}

TEST_F(OverlappedFaults, AFailureOfAFewBytesTakesTenMillisecondsToo) {
    strike(R"("call": "read", "lastSector": 0, "error": 1117)");
    machine::Duration const start = pc_.now();
    EXPECT_EQ(startRead()->wait(1s)->error, 1117U);
    EXPECT_EQ(pc_.now() - start, 10ms);
}

TEST_F(OverlappedFaults, AFailedWriteHasOverwrittenWhatLiesBeforeTheSector) {
    strike(R"("call": "write", "firstSector": 1024, "lastSector": 1024, "error": 1117)");
    auto const write = startWrite();
    EXPECT_TRUE(holds(0));
    auto const outcome = write->wait(1s);
    EXPECT_EQ(outcome->error, 1117U);
    EXPECT_EQ(outcome->bytes, 1024 * sector);
    auto const disk = pc_.open();
    EXPECT_TRUE(pc_.holds(*disk, 0, 1024, 0x5A));
    EXPECT_TRUE(pc_.holds(*disk, 1024, 1024, 0));
}

TEST_F(OverlappedFaults, AHangNeverEndsUntilItIsCancelled) {
    strike(R"("call": "read", "hangs": true)");
    auto const read = startRead();
    machine::Duration const start = pc_.now();
    EXPECT_EQ(read->wait(50ms), std::nullopt);
    EXPECT_EQ(pc_.now() - start, 50ms);
    EXPECT_EQ(read->wait(24h), std::nullopt);
    EXPECT_EQ(pc_.now() - start, 24h + 50ms);
    read->cancel();
    EXPECT_EQ(read->wait(1s)->error, 995U);
    EXPECT_EQ(pc_.now() - start, 24h + 50ms);
    EXPECT_TRUE(buffer_.isAll(0x5A));
}

TEST_F(OverlappedFaults, AHangMayEvenIgnoreItsCancellation) {
    strike(R"("call": "read", "hangs": true, "cancellable": false)");
    auto const read = startRead();
    read->cancel();
    machine::Duration const start = pc_.now();
    EXPECT_EQ(read->wait(24h), std::nullopt);
    EXPECT_EQ(pc_.now() - start, 24h);
}

TEST_F(OverlappedFaults, ADelayKeepsATransferUnderWay) {
    strike(R"("call": "read", "delayMilliseconds": 1000)");
    auto const read = startRead();
    EXPECT_EQ(read->wait(1s), std::nullopt);
    EXPECT_EQ(read->wait(25ms)->error, 0U);
}

TEST(OverlappedRefusals, ErrorsOfTheRequestOrTheDiskEndATransferAtOnce) {
    OneDisk pc(R"("sectorCount": 100, "readOnly": true, "mediaChanges": [{"media": "absent", "atTransfer": 5}])");
    auto const disk = pc.open(readWrite, shareAll, overlapped);
    auto const writer = pc.open(writeOnlyAccess, shareAll, overlapped);
    Pages buffer(sector);
    EXPECT_EQ(pc.read(*disk, 1, buffer.bytes()).error, 87U);
    EXPECT_EQ(pc.read(*disk, 100 * sector, buffer.bytes()).error, 27U);
    EXPECT_EQ(pc.write(*disk, 0, buffer.bytes()).error, 19U);
    EXPECT_EQ(pc.read(*writer, 0, buffer.bytes()).error, 5U);
    EXPECT_EQ(pc.read(*disk, 0, buffer.bytes()).error, 21U);
}

} // namespace
