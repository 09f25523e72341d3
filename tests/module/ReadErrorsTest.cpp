// Reads that fail: what is told of each, when there were too many, and what becomes of a medium that goes.
#include "PassRun.h"

#include <gtest/gtest.h>

namespace test {

namespace {

// A transfer of the pass itself fails; the probe goes through a handle for overlapped I/O.
Json readFault(std::initializer_list<std::pair<char const *, Json>> members) {
    return with(fault("read", {{"overlapped", false}, {"error", 1117}}), members);
}

Json failing(Json disk, std::initializer_list<std::pair<char const *, Json>> members) {
    disk["faults"].push_back(readFault(members));
    return disk;
}

TEST(ReadErrorsTest, AFailedTransferIsToldAndThePassGoesOn) {
    PassRun const run = runPass(failing(diskToRead(10), {{"after", 1}, {"times", 1}}), readOnce);

    // Half of the failed transfer was moved in half its time.
    EXPECT_EQ(run.transfers(), (Lines{"read 0", "read 1024 error 1117", "read 2048", "read 3072"}));
    EXPECT_EQ(run.reports, (Lines{"warning READ_SECTOR_ERROR 359 ReadSector=1024",
                                  "informative PEAK_READ_PERFORMANCE 382 PeakReadPerformance=0.05",
                                  "informative AVERAGE_READ_PERFORMANCE 387 AverageReadPerformance=0.04"}));
    EXPECT_EQ(run.result, "PASS");
}

TEST(ReadErrorsTest, TheLogTellsTheSectorAndTheReasonBeforeTheEvent) {
    PassRun const run = runPass(failing(diskToRead(10), {{"after", 2}, {"times", 1}}), readOnce);

    EXPECT_EQ(run.said({"log1 353", "log1 356", "warning"}),
              (Lines{"log1 353 PerformanceCalculator::readPerformance() failed to read starting sector: 2048",
                     "log1 356 readSector() failed: The device reported an input or output error.",
                     "warning READ_SECTOR_ERROR 359 ReadSector=2048"}));
}

TEST(ReadErrorsTest, AFailedTransferCountsAsTimeOfThePass) {
    PassRun const run = runPass(failing(diskToRead(10), {{"times", 1}}), readOnce);

    EXPECT_EQ(run.said({"progress", "percent"}),
              (Lines{"progress Measuring the read rate", "percent 16", "progress Reading at 0.05 MB/s", "percent 50",
                     "progress Reading at 0.05 MB/s", "percent 86", "progress Reading at 0.05 MB/s", "percent 100"}));
}

// Only the time of the transfer counts, not that of the question for the medium which follows.
TEST(ReadErrorsTest, AskingForTheMediumTakesNoTimeOfThePass) {
    Json disk = failing(diskToRead(10), {{"after", 1}, {"times", 1}});
    disk["faults"].push_back(fault("checkVerify", {{"after", 1}, {"delayMilliseconds", 40000}}));
    PassRun const run = runPass(disk, readOnce);

    EXPECT_EQ(run.transfers().size(), 4U);
    EXPECT_EQ(run.result, "PASS");
}

struct Limit {
    char const * maxErrors;
    std::size_t failures; // with which the pass ends
};
class ErrorLimitTest : public testing::TestWithParam<Limit> {};
INSTANTIATE_TEST_SUITE_P(Reached, ErrorLimitTest, testing::Values(Limit{"1", 1}, Limit{"2", 2}, Limit{"255", 255}),
                         [](auto const & row) { return std::string("MaxErrors") + row.param.maxErrors; });

// A failed transfer takes a tenth of a second here.
constexpr std::size_t transfersOfARound = 90;
Json diskThatFails() {
    return failing(diskOf(transfersOfARound, {{"readRate", 2.5}}), {});
}

TEST_P(ErrorLimitTest, AsManyFailuresFailThePass) {
    PassRun const run = runQuietly(diskThatFails(), with(readOnce, {{"MaxErrors", GetParam().maxErrors}}));

    Lines reports;
    for (std::size_t i = 0; i < GetParam().failures; ++i) {
        reports.push_back("warning READ_SECTOR_ERROR 359 ReadSector=" +
                          std::to_string(i % transfersOfARound * smallTransfer));
    }
    reports.push_back(std::string("error MAX_ERROR_REACHED 364 MaxError=") + GetParam().maxErrors);
    EXPECT_EQ(run.reports, reports);
    EXPECT_EQ(run.said({"percent"}).size(), GetParam().failures - 1);
    EXPECT_EQ(run.result, "FAIL");
}

TEST(ReadErrorsTest, OnlyFailuresCount) {
    Json disk = diskOf(10, {{"readRate", 0.5}});
    disk["faults"] = Json::array(
        {readFault({{"firstSector", 0}, {"lastSector", 0}}), readFault({{"firstSector", 3072}, {"lastSector", 3072}})});
    PassRun const run = runPass(disk, with(readOnce, {{"MaxErrors", "2"}}));

    EXPECT_EQ(run.transfers(), (Lines{"read 0 error 1117", "read 1024", "read 2048", "read 3072 error 1117"}));
    EXPECT_EQ(run.reports,
              (Lines{"warning READ_SECTOR_ERROR 359 ReadSector=0", "warning READ_SECTOR_ERROR 359 ReadSector=3072",
                     "error MAX_ERROR_REACHED 364 MaxError=2"}));
    EXPECT_EQ(run.result, "FAIL");
}

// Errors are counted in 8 bits: 256 failures bring the counter to 0, and one more to 1.
class UnreachableLimitTest : public testing::TestWithParam<char const *> {};
INSTANTIATE_TEST_SUITE_P(Limits, UnreachableLimitTest, testing::Values("0", "256", "257", "4294967295", "unset"));

TEST_P(UnreachableLimitTest, NoNumberOfFailuresFailsThePass) {
    bool const isSet = std::string(GetParam()) != "unset";
    PassRun const run = runQuietly(diskThatFails(), isSet ? with(readOnce, {{"MaxErrors", GetParam()}}) : readOnce);

    EXPECT_GT(run.said({"warning READ_SECTOR_ERROR"}).size(), 290U);
    EXPECT_EQ(run.said({"error", "informative"}),
              (Lines{"informative PEAK_READ_PERFORMANCE 382 PeakReadPerformance=0.00",
                     "informative AVERAGE_READ_PERFORMANCE 387 AverageReadPerformance=0.00",
                     "error READ_PERFORMANCE_NOT_OPTIMAL 587 performanceSpeed=0.00 ThresholdSpeed=0.01"}));
    EXPECT_EQ(run.result, "FAIL"); // for its rate
}

class LostMediumTest : public testing::TestWithParam<char const *> {};
INSTANTIATE_TEST_SUITE_P(States, LostMediumTest, testing::Values("absent", "unplugged", "loading"));

// The first transfer of the disk is the probe's.
TEST_P(LostMediumTest, EndsThePassWithoutAWord) {
    PassRun const run = runPass(
        diskToRead(10, {{"mediaChanges", Json::array({{{"media", GetParam()}, {"atTransfer", 3}}})}}), readOnce);

    EXPECT_EQ(run.transfers().size(), 2U);
    EXPECT_EQ(run.transfers().front(), "read 0");
    EXPECT_EQ(run.reports, Lines{});
    EXPECT_EQ(run.said({"log1 353", "log1 356"}), Lines{});
    EXPECT_EQ(run.result, "NOMEDIA");
}

TEST(ReadErrorsTest, AMediumThatGoesWithTheLastErrorAllowedIsAMissingMedium) {
    PassRun const run =
        runPass(diskToRead(10, {{"mediaChanges", Json::array({{{"media", "absent"}, {"atTransfer", 3}}})}}),
                with(readOnce, {{"MaxErrors", "1"}}));

    EXPECT_EQ(run.reports, Lines{});
    EXPECT_EQ(run.result, "NOMEDIA");
}

} // namespace

} // namespace test
