// How long the transfers of a simulated disk take.
#include "DiskFixture.h"

namespace {

using namespace std::chrono_literals;

TEST(DiskTiming, AReadTakesItsBytesAtTheRate) {
    OneDisk pc(R"("readRate": 37.5)");
    auto const disk = pc.open();
    Pages buffer(3 * mebibyte);
    EXPECT_EQ(pc.read(*disk, 0, buffer.bytes()).took, 80ms);
    EXPECT_EQ(pc.read(*disk, 0, buffer.bytes().first(mebibyte)).took, 26'666'667ns);
    EXPECT_EQ(pc.read(*disk, 0, buffer.bytes().first(sector)).took, 13'021ns);
}

TEST(DiskTiming, RatesAreFortyAndTwentyUnlessSaid) {
    OneDisk pc;
    auto const disk = pc.open();
    Pages buffer(mebibyte);
    EXPECT_EQ(pc.read(*disk, 0, buffer.bytes()).took, 25ms);
    EXPECT_EQ(pc.write(*disk, 0, buffer.bytes()).took, 50ms);
}

TEST(DiskTiming, WritesHaveARateOfTheirOwn) {
    OneDisk pc(R"("readRate": 100, "writeRate": 12.5)");
    auto const disk = pc.open();
    Pages buffer(mebibyte);
    EXPECT_EQ(pc.read(*disk, 0, buffer.bytes()).took, 10ms);
    EXPECT_EQ(pc.write(*disk, 0, buffer.bytes()).took, 80ms);
}

TEST(DiskTiming, EachTransferHasItsLatency) {
    OneDisk pc(R"("readRate": 40, "latencyMicroseconds": 250)");
    auto const disk = pc.open();
    Pages buffer(mebibyte);
    EXPECT_EQ(pc.read(*disk, 0, buffer.bytes()).took, 25ms + 250us);
    EXPECT_EQ(pc.read(*disk, 0, {}).took, 250us);
    EXPECT_EQ(pc.write(*disk, 0, buffer.bytes()).took, 50ms + 250us);
}

TEST(DiskTiming, NothingIsMovedAtNoCost) {
    OneDisk pc(R"("readRate": 1e9, "writeRate": 1e9)");
    auto const disk = pc.open();
    Pages buffer(sector);
    EXPECT_GT(pc.read(*disk, 0, buffer.bytes()).took, 0ns);
    EXPECT_GT(pc.write(*disk, 0, buffer.bytes()).took, 0ns);
    EXPECT_GT(pc.read(*disk, 0, {}).took, 0ns);
}

TEST(DiskTiming, TheSlowestDiskTakesYears) {
    OneDisk pc(R"("readRate": 0.000001)");
    auto const disk = pc.open();
    Pages buffer(10 * mebibyte);
    EXPECT_EQ(pc.read(*disk, 0, buffer.bytes()).took, 10'000'000s);
}

TEST(DiskTiming, EveryRefusalTakesTenMilliseconds) {
    OneDisk pc(R"("sectorCount": 100, "readOnly": true, "volumes": [{"firstSector": 10, "sectorCount": 10}])");
    auto const reader = pc.open(readOnlyAccess);
    auto const disk = pc.open();
    Pages buffer(sector);
    EXPECT_EQ(pc.write(*reader, 0, buffer.bytes()).took, 10ms);         // not opened for it
    EXPECT_EQ(pc.read(*disk, 1, buffer.bytes()).took, 10ms);            // not a sector's offset
    EXPECT_EQ(pc.read(*disk, 100 * sector, buffer.bytes()).took, 10ms); // beyond the end
    EXPECT_EQ(pc.write(*disk, 0, buffer.bytes()).took, 10ms);           // read-only
}

TEST(DiskTiming, AMissingMediumCostsTenMilliseconds) {
    for (std::string const media : {"absent", "loading"}) {
        OneDisk pc(R"("media": ")" + media + '"');
        auto const disk = pc.open();
        Pages buffer(mebibyte);
        EXPECT_EQ(pc.read(*disk, 0, buffer.bytes()).took, 10ms) << media;
        EXPECT_EQ(pc.write(*disk, 0, buffer.bytes()).took, 10ms) << media;
    }
}

TEST(DiskTiming, AFailedTransferTakesWhatItMovedAndTenMillisecondsAtLeast) {
    OneDisk pc(R"("readRate": 37.5, "writeRate": 37.5, "faults": [
        {"call": "read", "firstSector": 6144, "lastSector": 6144, "error": 1117},
        {"call": "write", "firstSector": 8, "lastSector": 8, "error": 1117}])");
    auto const disk = pc.open();
    Pages buffer(4 * mebibyte);
    EXPECT_EQ(pc.read(*disk, 0, buffer.bytes()).took, 80ms); // 3 MiB went before the sector
    EXPECT_EQ(pc.read(*disk, 6144 * sector, buffer.bytes()).took, 10ms);
    EXPECT_EQ(pc.write(*disk, 0, buffer.bytes()).took, 10ms);
}

TEST(DiskTiming, ADelayComesOnTop) {
    OneDisk pc(R"("readRate": 37.5, "latencyMicroseconds": 1000,
                  "faults": [{"call": "read", "times": 1, "delayMilliseconds": 29900}])");
    auto const disk = pc.open();
    Pages buffer(3 * mebibyte);
    Moved const late = pc.read(*disk, 0, buffer.bytes());
    EXPECT_EQ(late.took, 29'900ms + 81ms);
    EXPECT_EQ(late.error, 0U);
    EXPECT_EQ(late.bytes, 3 * mebibyte);
    EXPECT_EQ(pc.read(*disk, 0, buffer.bytes()).took, 81ms);
}

TEST(DiskTiming, OpensTakeTwentyMicrosecondsAndControlsFifty) {
    OneDisk pc;
    auto const disk = pc.open();
    EXPECT_EQ(pc.now(), 20us);
    EXPECT_EQ(ask(*disk, kernel::IOCTL_DISK_GET_LENGTH_INFO, {}, 8).error, 0U);
    EXPECT_EQ(pc.now(), 70us);
    EXPECT_EQ(ask(*disk, 0, {}, 0).error, 1U);
    EXPECT_EQ(pc.now(), 120us);
}

} // namespace
