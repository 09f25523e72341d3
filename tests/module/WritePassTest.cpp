// What a write pass does on a healthy disk: its steps, their order, and what of them depends on the parameters.
#include "PassRun.h"

#include "kernel.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace test {

namespace {

// The reopen of the disk with the probe of its medium.
Lines const reopen{"close", "open overlapped", "probe", "close", "open"};

Lines joined(std::initializer_list<Lines> parts) {
    Lines all;
    for (Lines const & part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

Lines summary(std::string const & peak, std::string const & average) {
    return {"informative PEAK_WRITE_PERFORMANCE 551 PeakWritePerformance=" + peak,
            "informative AVERAGE_WRITE_PERFORMANCE 556 AverageWritePerformance=" + average};
}

TEST(WritePassTest, WritesOneTransferAfterTheOther) {
    PassRun const run = runPass(diskToWrite(10), overwriting);

    EXPECT_EQ(run.fromFirstOpen(), joined({{"open"}, reopen, {"write 0", "write 1024", "write 2048", "close"}}));
    EXPECT_EQ(run.said({"progress", "percent", "informative", "warning", "error", "box"}),
              joined({{"progress Measuring the write rate", "progress Writing at 0.05 MB/s", "percent 33",
                       "progress Writing at 0.05 MB/s", "percent 66", "progress Writing at 0.05 MB/s", "percent 100"},
                      summary("0.05", "0.05")}));
    EXPECT_EQ(run.result, "PASS");
}

TEST(WritePassTest, WithPreservationEachTransferIsBackedUpAndRestored) {
    PassRun const run = runPass(diskToWrite(2), writePreserved);

    Lines const first = joined({reopen, {"read 0"}, reopen, {"write 0", "write 0"}});
    EXPECT_EQ(run.fromFirstOpen(),
              joined({{"open"}, first, {"read 1024", "write 1024", "write 1024"}, first, {"close"}}));
    EXPECT_EQ(
        run.said({"informative", "warning", "error", "log1 465"}),
        joined({{"log1 465 Don't have enough sectors left to write 524288 bytes of data."}, summary("0.05", "0.05")}));
    EXPECT_EQ(run.result, "PASS");
}

TEST(WritePassTest, SaysWhatItDoes) {
    PassRun const run = runPass(diskToWrite(10), writePreserved);

    Lines const opened{"log1 714 PerformanceCalculator::Device Property: \\\\.\\PhysicalDrive1 being used for creating "
                       "the handle"};
    EXPECT_EQ(
        run.said({"log1 394", "log1 444", "log1 714", "log1 8", "progress", "percent", "box", "answer"}),
        joined({{"log1 394 Starting Write Performance Test for the device: Test Stick USB Device",
                 "progress Measuring the write rate"},
                opened,
                {"box Data at risk", "answer yes", "log1 444 writePerformance is writing 0 MB of data"},
                opened,
                {"log1 858 Backing up sector 0 (count: 1024)"},
                opened,
                {"progress Writing at 0.05 MB/s", "percent 33", "log1 874 Restoring sector 0 (count: 1024)",
                 "log1 858 Backing up sector 1024 (count: 1024)", "progress Writing at 0.05 MB/s", "percent 66",
                 "log1 874 Restoring sector 1024 (count: 1024)", "log1 858 Backing up sector 2048 (count: 1024)",
                 "progress Writing at 0.05 MB/s", "percent 100", "log1 874 Restoring sector 2048 (count: 1024)"}}));
}

TEST(WritePassTest, ATransferOfALargeMediumHasTenMegabytes) {
    PassRun const run = runPass(diskToWrite(1, {{"sectorCount", 5 * 20480}, {"writeRate", 0.6}}), writePreserved);

    EXPECT_EQ(
        run.said({"log1 444", "log1 858", "log1 874"}),
        (Lines{"log1 444 writePerformance is writing 10 MB of data", "log1 858 Backing up sector 0 (count: 20480)",
               "log1 874 Restoring sector 0 (count: 20480)", "log1 858 Backing up sector 20480 (count: 20480)",
               "log1 874 Restoring sector 20480 (count: 20480)"}));
    EXPECT_EQ(run.said({"informative"}), summary("0.60", "0.60"));
}

// Of the disk's work only the writing of the pattern counts: neither backup and restore, nor probe and reopen.
TEST(WritePassTest, OnlyTheWriteOfThePatternIsTimed) {
    Json const slowReads = fault("read", {{"delayMilliseconds", 20000}});
    Json disk = diskToWrite(2, {{"faults", Json::array({slowReads})}});
    PassRun const run = runPass(disk, writePreserved);

    EXPECT_EQ(only(run.transfers(), {"write"}),
              (Lines{"write 0", "write 0", "write 1024", "write 1024", "write 0", "write 0"}));
    EXPECT_EQ(run.said({"progress Writing"}), Lines(3, "progress Writing at 0.05 MB/s"));
    EXPECT_EQ(run.reports, summary("0.05", "0.05"));
    EXPECT_GT(run.io.back()["t"].get<double>(), 6 * 10.4 + 7 * 20); // three backups and four probes
}

TEST(WritePassTest, AWriteRateIsToldWithTwoDecimals) {
    Json pc = stickPc(diskOf(1, {{"writeRate", 12.25}}));
    pc["user"] = {{"stopAtPoll", 7}};
    HostView const view = runStorageTest(pc, overwriting);

    EXPECT_EQ(only(toldIn(view.output), {"progress Writing"}), Lines(3, "progress Writing at 12.25 MB/s"));
}

TEST(WritePassTest, IsJudgedByItsAverage) {
    PassRun const run = runPass(diskToWrite(10), with(overwriting, {{"USB11WriteThresholdPercent", "100"}}));

    EXPECT_EQ(run.reports,
              joined({summary("0.05", "0.05"),
                      {"error WRITE_PERFORMANCE_NOT_OPTIMAL 591 performanceSpeed=0.05 ThresholdSpeed=1.50"}}));
    EXPECT_EQ(run.result, "FAIL");
}

TEST(WritePassTest, AMediumOfExactlyOneTransferIsTooSmall) {
    PassRun const run =
        runPass(diskToWrite(1, {{"sectorSize", 1024}, {"sectorCount", 2048}}), writePreserved, nullptr, 1024);

    EXPECT_EQ(run.said({"warning", "informative", "error", "log1 46"}),
              (Lines{"warning MEDIA_SIZE_TOO_SMALL 460 mediaSize=2",
                     "log1 461 The inserted media is not big enough to write 2MB of data."}));
    EXPECT_EQ(run.transfers(), Lines{});
    EXPECT_EQ(run.result, "CANNOTRUN");
}

// Backups are made only where both are true, and only then is the user asked.
class PreservationChoiceTest : public testing::TestWithParam<std::tuple<char const *, char const *>> {};
INSTANTIATE_TEST_SUITE_P(Values, PreservationChoiceTest,
                         testing::Combine(testing::Values("true", "false", "unset"),
                                          testing::Values("true", "false", "unset")),
                         [](auto const & row) {
                             return std::string("Preserve_") + std::get<0>(row.param) + "_Prompt_" +
                                    std::get<1>(row.param);
                         });

TEST_P(PreservationChoiceTest, PreservesOnlyWhereItMayAsk) {
    Settings settings = without(without(overwriting, "PreserveAndRestoreData"), "PromptEnable");
    auto const [preserve, prompt] = GetParam();
    if (std::string(preserve) != "unset") {
        settings["PreserveAndRestoreData"] = preserve;
    }
    if (std::string(prompt) != "unset") {
        settings["PromptEnable"] = prompt;
    }
    bool const preserves = std::string(preserve) == "true" && std::string(prompt) == "true";
    PassRun const run = runPass(diskToWrite(10), settings);

    EXPECT_EQ(run.transfers(), preserves ? (Lines{"read 0", "write 0", "write 0", "read 1024", "write 1024",
                                                  "write 1024", "read 2048", "write 2048", "write 2048"})
                                         : (Lines{"write 0", "write 1024", "write 2048"}));
    EXPECT_EQ(run.said({"box"}), preserves ? Lines{"box Data at risk"} : Lines{});
    EXPECT_EQ(run.result, "PASS");
}

// Each byte is the low one of a call of the runtime's generator, which the pass does not seed.
TEST(WritePassTest, ThePatternContinuesTheSequenceOfTheRuntime) {
    constexpr std::size_t size = smallTransfer * 512;
    auto const nextOfSequence = [] {
        std::string bytes(size, '\0');
        for (char & byte : bytes) {
            byte = static_cast<char>(std::rand() & 0xFF);
        }
        return bytes;
    };
    DiskImage const image(2 * smallTransfer + 1);
    auto const written = [&image] {
        std::ifstream file(image.path(), std::ios::binary);
        return std::string{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()}.substr(0, 2 * size);
    };

    // The sequence of a process that never seeded.
    EXPECT_EQ(runQuietly(inImage(diskToWrite(2), image), overwriting).result, "PASS");
    std::string const first = written();
    EXPECT_EQ(runQuietly(inImage(diskToWrite(2), image), overwriting).result, "PASS");
    std::string const second = written();
    std::srand(1);
    std::string const firstPattern = nextOfSequence();
    std::string const secondPattern = nextOfSequence();
    EXPECT_TRUE(first == firstPattern + firstPattern); // made once for a pass
    EXPECT_TRUE(second == secondPattern + secondPattern);
    EXPECT_FALSE(firstPattern == secondPattern);
}

TEST(WritePassTest, KeepsTheSystemsErrorDialogsAwayForTheRestOfTheProcess) {
    EXPECT_EQ(kernel::SetErrorMode(0), 0U);
    runQuietly(diskToWrite(2), overwriting);
    EXPECT_EQ(kernel::SetErrorMode(0), 0x8001U);
    runQuietly(diskToRead(2), readOnce);
    EXPECT_EQ(kernel::SetErrorMode(0), 0U);
}

// The first poll is the run's own. What was overwritten has been restored before each of the others.
TEST(WritePassTest, AStopEndsThePassBetweenTransfers) {
    std::vector<std::pair<int, Lines>> const polls{
        {2, {}},
        {3, {"read 0", "write 0", "write 0"}},
        {4, {"read 0", "write 0", "write 0", "read 1024", "write 1024", "write 1024"}}, // before the wrap
        {5, {"read 0", "write 0", "write 0", "read 1024", "write 1024", "write 1024"}}};
    for (auto const & [poll, transfers] : polls) {
        PassRun const run = runPass(diskToWrite(2), writePreserved, {{"answers", {"yes"}}, {"stopAtPoll", poll}});

        EXPECT_EQ(run.transfers(), transfers) << poll;
        EXPECT_EQ(run.reports, Lines{}) << poll;
        EXPECT_EQ(run.result, "USERABORTED") << poll;
    }
}

} // namespace

} // namespace test
