// PCs on the real clock: nothing is slowed down, and what is described as late really is.
#include "DiskFixture.h"

namespace {

using namespace std::chrono_literals;

constexpr char const * measured = R"("timing": "measured")";

TEST(MeasuredTime, IsNotVirtualAndPassesByItself) {
    OneDisk pc({}, measured);
    EXPECT_FALSE(pc.pc->clock().isVirtual());
    machine::Duration const start = pc.now();
    pc.sleep(5ms);
    EXPECT_GE(pc.now() - start, 5ms);
    EXPECT_TRUE(OneDisk({}, R"("timing": "virtual")").pc->clock().isVirtual());
}

TEST(MeasuredTime, TransfersAreAsFastAsWhatIsBehindThem) {
    OneDisk pc({}, measured);
    auto const disk = pc.open();
    Pages buffer(8 * mebibyte);
    machine::Duration const start = pc.now();
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(pc.read(*disk, 0, buffer.bytes()).bytes, 8 * mebibyte);
    }
    EXPECT_LT(pc.now() - start, 10s); // the usual rate of a described disk would take 20 s
}

TEST(MeasuredTime, OverlappedTransfersHaveEndedOnTheirReturn) {
    OneDisk pc({}, measured);
    auto const disk = pc.open(readWrite, shareAll, overlapped);
    EXPECT_EQ(pc.writeError(*disk, 0, 8, 0x5A), 0U);
    EXPECT_TRUE(pc.holds(*disk, 0, 8, 0x5A));
}

TEST(MeasuredTime, AFailureTakesTenMilliseconds) {
    OneDisk pc(R"("sectorCount": 100, "faults": [{"call": "read", "times": 1, "error": 1117}])", measured);
    auto const disk = pc.open();
    Pages buffer(sector);
    for (std::uint64_t const at : {0U, 100U}) {
        Moved const moved = pc.read(*disk, at * sector, buffer.bytes());
        EXPECT_NE(moved.error, 0U);
        EXPECT_GE(moved.took, 10ms);
    }
    EXPECT_EQ(pc.readError(*disk, 0), 0U);
}

TEST(MeasuredTime, ADelayIsReal) {
    OneDisk pc(R"("faults": [{"call": "read", "delayMilliseconds": 30}])", measured);
    Pages buffer(sector);
    EXPECT_GE(pc.read(*pc.open(), 0, buffer.bytes()).took, 30ms);
    auto const disk = pc.open(readWrite, shareAll, overlapped);
    auto const pending = disk->read(0, buffer.bytes()).pending;
    ASSERT_NE(pending, nullptr);
    EXPECT_EQ(pending->wait(1h)->error, 0U);
}

TEST(MeasuredTime, ATransferThatNeverEndsIsCancelled) {
    OneDisk pc(R"("faults": [{"call": "read", "hangs": true}])", measured);
    auto const disk = pc.open(readWrite, shareAll, overlapped);
    Pages buffer(sector);
    auto const pending = disk->read(0, buffer.bytes()).pending;
    ASSERT_NE(pending, nullptr);
    machine::Duration const start = pc.now();
    EXPECT_EQ(pending->wait(20ms), std::nullopt);
    EXPECT_GE(pc.now() - start, 20ms);
    pending->cancel();
    EXPECT_EQ(pending->wait(1h)->error, 995U);
}

TEST(MeasuredTime, ChangesOfTheMediumCountFromTheStart) {
    OneDisk later(R"("mediaChanges": [{"media": "absent", "atMilliseconds": 3600000}])", measured);
    EXPECT_EQ(later.readError(*later.open(), 0), 0U);
    OneDisk soon(R"("mediaChanges": [{"media": "absent", "atMilliseconds": 20}])", measured);
    soon.sleep(20ms);
    EXPECT_EQ(soon.readError(*soon.open(), 0), 21U);
}

} // namespace
