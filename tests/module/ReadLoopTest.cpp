// Which transfers a read pass makes, in what order, and when it ends.
#include "PassRun.h"

#include <gtest/gtest.h>

namespace test {

namespace {

Lines const startOfRound{"close", "open overlapped", "probe", "close", "open"};

// The calls of a pass from its first open: opened, then one round after the other.
Lines rounds(std::initializer_list<Lines> transfersOfRounds) {
    Lines calls{"open"};
    for (Lines const & transfers : transfersOfRounds) {
        calls.insert(calls.end(), startOfRound.begin(), startOfRound.end());
        calls.insert(calls.end(), transfers.begin(), transfers.end());
    }
    calls.emplace_back("close");
    return calls;
}

TEST(ReadLoopTest, ReadsOneTransferAfterTheOtherFromTheStart) {
    PassRun const run = runPass(diskToRead(10), readOnce);

    EXPECT_EQ(run.fromFirstOpen(), rounds({{"read 0", "read 1024", "read 2048"}}));
    EXPECT_EQ(run.result, "PASS");
}

TEST(ReadLoopTest, BeginsAgainAtTheStartWhereNoTransferFitsAnyMore) {
    PassRun const run = runPass(diskToRead(2), readOnce);

    EXPECT_EQ(run.fromFirstOpen(), rounds({{"read 0", "read 1024"}, {"read 0"}}));
    EXPECT_EQ(run.said({"log1 335"}), Lines{"log1 335 Don't have enough sectors left to read 524288 bytes of data."});
    EXPECT_EQ(run.result, "PASS");
}

TEST(ReadLoopTest, AMediumOfOneTransferAndASectorIsReadOverAndOver) {
    PassRun const run = runPass(diskToRead(1), readOnce);

    EXPECT_EQ(run.fromFirstOpen(), rounds({{"read 0"}, {"read 0"}, {"read 0"}}));
    EXPECT_EQ(run.said({"log1 335"}).size(), 2U);
    EXPECT_EQ(run.reports, (Lines{"informative PEAK_READ_PERFORMANCE 382 PeakReadPerformance=0.05",
                                  "informative AVERAGE_READ_PERFORMANCE 387 AverageReadPerformance=0.05"}));
    EXPECT_EQ(run.result, "PASS");
}

TEST(ReadLoopTest, ATransferThatWouldEndWithTheMediumIsNotMade) {
    PassRun const run = runPass(diskToRead(2, {{"sectorCount", 2 * smallTransfer}}), readOnce);

    EXPECT_EQ(run.transfers(), (Lines{"read 0", "read 0", "read 0"}));
}

TEST(ReadLoopTest, AMediumOfExactlyOneTransferIsTooSmall) {
    PassRun const run = runPass(diskToRead(1, {{"sectorCount", smallTransfer}}), readOnce);

    EXPECT_EQ(run.said({"warning", "informative", "error", "log1 33"}),
              (Lines{"warning MEDIA_SIZE_TOO_SMALL 330 mediaSize=0",
                     "log1 331 The inserted media is not big enough to read 0MB of data."}));
    EXPECT_EQ(run.transfers(), Lines{});
    EXPECT_EQ(run.fromFirstOpen(), (Lines{"open", "close"}));
    EXPECT_EQ(run.result, "CANNOTRUN");
}

TEST(ReadLoopTest, TheSizeThatIsMissingIsToldInWholeMegabytes) {
    PassRun const run =
        runPass(diskToRead(1, {{"sectorSize", 2048}, {"sectorCount", 2 * 2048}}), readOnce, nullptr, 2048);

    EXPECT_EQ(run.said({"warning", "informative", "error", "log1 33"}),
              (Lines{"warning MEDIA_SIZE_TOO_SMALL 330 mediaSize=8",
                     "log1 331 The inserted media is not big enough to read 8MB of data."}));
    EXPECT_EQ(run.result, "CANNOTRUN");
}

TEST(ReadLoopTest, SaysWhatItDoesAtTheStart) {
    PassRun const run = runPass(diskToRead(3), readOnce);

    EXPECT_EQ(run.said({"log1 302", "log1 317", "progress Measuring", "percent", "log1 714"}),
              (Lines{"log1 302 Starting Read Performance Test for the device: Test Stick USB Device",
                     "progress Measuring the read rate",
                     "log1 714 PerformanceCalculator::Device Property: \\\\.\\PhysicalDrive1 being used for creating "
                     "the handle",
                     "log1 317 readPerformance is reading 0 MB of data",
                     "log1 714 PerformanceCalculator::Device Property: \\\\.\\PhysicalDrive1 being used for creating "
                     "the handle",
                     "percent 33", "percent 66", "percent 100"}));
}

TEST(ReadLoopTest, ATransferOfALargeMediumHasTenMegabytes) {
    PassRun const run = runPass(diskToRead(1, {{"sectorCount", 5 * 20480}, {"readRate", 1}}), readOnce);

    EXPECT_EQ(run.said({"log1 317"}), Lines{"log1 317 readPerformance is reading 10 MB of data"});
    EXPECT_EQ(run.transfers().front(), "read 0");
    EXPECT_EQ(run.transfers()[1], "read 20480");
}

// The first poll is the run's own; the pass looks for a stop before each transfer and each wrap.
TEST(ReadLoopTest, AStopEndsThePassBeforeTheNextTransfer) {
    std::vector<std::pair<int, Lines>> const polls{
        {2, {}}, {3, {"read 0"}}, {4, {"read 0", "read 1024"}}, {5, {"read 0", "read 1024"}}};
    for (auto const & [poll, transfers] : polls) {
        PassRun const run = runPass(diskToRead(2), readOnce, {{"stopAtPoll", poll}});

        EXPECT_EQ(run.transfers(), transfers) << poll;
        EXPECT_EQ(run.said({"log1 335"}).size(), poll == 5 ? 1U : 0U) << poll;
        EXPECT_EQ(run.reports, Lines{}) << poll;
        EXPECT_EQ(run.result, "USERABORTED") << poll;
    }
}

TEST(ReadLoopTest, AStopDuringATransferIsHonouredAfterIt) {
    PassRun const run = runPass(diskToRead(3), readOnce, {{"stopAfterMilliseconds", 15000}});

    EXPECT_EQ(run.transfers(), Lines{"read 0"}); // the probe has taken ten of the fifteen seconds
    EXPECT_EQ(run.said({"progress", "percent"}),
              (Lines{"progress Measuring the read rate", "progress Reading at 0.05 MB/s", "percent 33"}));
    EXPECT_EQ(run.result, "USERABORTED");
}

struct RunTime {
    char const * seconds;
    std::size_t transfers; // of 10.4 seconds each
};
class AcceptedRunTimeTest : public testing::TestWithParam<RunTime> {};
INSTANTIATE_TEST_SUITE_P(Bounds, AcceptedRunTimeTest,
                         testing::Values(RunTime{"30", 3}, RunTime{"31", 3}, RunTime{"32", 4}, RunTime{"60", 6}),
                         [](auto const & row) { return std::string("Seconds") + row.param.seconds; });

TEST_P(AcceptedRunTimeTest, TransfersGoOnUntilTheyHaveTakenLonger) {
    PassRun const run = runPass(diskToRead(10), with(readOnce, {{"MaxTestRunTime", GetParam().seconds}}));

    EXPECT_EQ(run.transfers().size(), GetParam().transfers);
    EXPECT_EQ(run.result, "PASS");
}

class RefusedRunTimeTest : public testing::TestWithParam<char const *> {};
INSTANTIATE_TEST_SUITE_P(Bounds, RefusedRunTimeTest, testing::Values("29", "61", "0", "1", "4294967295", "unset"));

TEST_P(RefusedRunTimeTest, EndsThePassBeforeItsFirstTransfer) {
    bool const isSet = std::string(GetParam()) != "unset";
    PassRun const run = runPass(diskToRead(3), isSet ? with(readOnce, {{"MaxTestRunTime", GetParam()}})
                                                     : without(readOnce, "MaxTestRunTime"));

    EXPECT_EQ(run.reports, Lines{"warning INVALID_PARAMETER_RANGE 261 minRange=30 maxRange=60"});
    EXPECT_EQ(run.fromFirstOpen(), (Lines{"open", "close"}));
    EXPECT_EQ(run.said({"log1 317"}), Lines{});
    EXPECT_EQ(run.result, "BADPARAMS");
}

TEST(ReadLoopTest, AMissingMediumIsToldBeforeARunTimeOutOfRange) {
    PassRun const run = runPass(diskToRead(3, {{"media", "absent"}}), with(readOnce, {{"MaxTestRunTime", "29"}}));

    EXPECT_EQ(run.reports, Lines{"warning NO_MEDIA_PRESENT 776"});
    EXPECT_EQ(run.result, "NOMEDIA");
}

TEST(ReadLoopTest, ADiskThatCannotBeOpenedEndsThePass) {
    PassRun const run = runPass(diskToRead(3, {{"openError", 5}}), readOnce);

    EXPECT_EQ(run.reports, Lines{"warning InvalidDeviceHandle 729"});
    EXPECT_EQ(run.transfers(), Lines{});
    EXPECT_EQ(run.result, "CANNOTRUN");
}

// Opens for the sanitize check, for the pass and for the probe come first.
TEST(ReadLoopTest, ADiskThatCannotBeOpenedAgainAfterTheProbeEndsThePass) {
    PassRun const run =
        runPass(diskToRead(3, {{"faults", Json::array({fault("open", {{"after", 3}, {"error", 5}})})}}), readOnce);

    EXPECT_EQ(run.fromFirstOpen(), (Lines{"open", "close", "open overlapped", "probe", "close", "open error 5"}));
    EXPECT_EQ(run.reports, Lines{"warning InvalidDeviceHandle 729"});
    EXPECT_EQ(run.result, "CANNOTRUN");
}

TEST(ReadLoopTest, AMediumThatIsNotReadyInTimeEndsThePass) {
    PassRun const run = runPass(
        diskToRead(3, {{"faults", Json::array({fault("read", {{"overlapped", true}, {"hangs", true}})})}}), readOnce);

    EXPECT_EQ(run.reports, Lines{"warning LARGE_CHUNKS_OF_DATA_READ_FAILED 151"});
    EXPECT_EQ(run.transfers(), Lines{});
    EXPECT_EQ(run.result, "CANNOTRUN");
}

TEST(ReadLoopTest, AMediumThatIsNotReadyForTheSecondRoundEndsThePassWithoutASummary) {
    PassRun const run = runPass(
        diskToRead(2,
                   {{"faults", Json::array({fault("read", {{"overlapped", true}, {"after", 1}, {"hangs", true}})})}}),
        readOnce);

    EXPECT_EQ(run.transfers(), (Lines{"read 0", "read 1024"}));
    EXPECT_EQ(run.reports, Lines{"warning LARGE_CHUNKS_OF_DATA_READ_FAILED 151"});
    EXPECT_EQ(run.result, "CANNOTRUN");
}

TEST(ReadLoopTest, AWritePassOnAMediumThatWasNotReadyIsNotBegun) {
    PassRun const run =
        runPass(diskToRead(3, {{"faults", Json::array({fault("read", {{"overlapped", true}, {"hangs", true}})})}}),
                with(readOnce, overwriting));

    EXPECT_EQ(run.reports, Lines{"warning LARGE_CHUNKS_OF_DATA_READ_FAILED 151"});
    EXPECT_EQ(run.said({"log1 394", "progress Measuring the write"}), Lines{});
    EXPECT_EQ(run.result, "CANNOTRUN");
}

} // namespace

} // namespace test
