// The numbers of a read pass: rates, peak, average and percent.
#include "PassRun.h"
#include "StorageCall.h"

#include "PassMeasurement.h"

#include <gtest/gtest.h>

namespace test {

namespace {

// Transfers of 8 MB, so that rates differ in their decimals.
Json coarseDisk(double readRate, Json faults = Json::array()) {
    return diskOf(
        1,
        {{"sectorSize", 2048}, {"sectorCount", 4 * 4096 + 1}, {"readRate", readRate}, {"faults", std::move(faults)}});
}

Lines summary(std::string const & peak, std::string const & average) {
    return {"informative PEAK_READ_PERFORMANCE 382 PeakReadPerformance=" + peak,
            "informative AVERAGE_READ_PERFORMANCE 387 AverageReadPerformance=" + average};
}

TEST(ReadRatesTest, ARateIsTheSizeOfTheTransferByItsTime) {
    // Probes and reopens lie between the first and the second transfer, and between the second and the third.
    Json pc = stickPc(diskOf(1, {{"readRate", 37.5}}));
    pc["user"] = {{"stopAtPoll", 7}};
    HostView const view = runStorageTest(pc, readOnce);

    EXPECT_EQ(only(toldIn(view.output), {"progress Reading"}), Lines(3, "progress Reading at 37.50 MB/s"));
}

TEST(ReadRatesTest, PeakAndAverageOfAnEvenDiskAreItsRate) {
    HostView const view =
        runStorageTest(stickPc(diskOf(1, {{"sectorCount", 5 * 20480}, {"readRate", 37.5}})), readOnce);

    Lines const told = toldIn(view.output);
    EXPECT_EQ(only(told, {"progress Reading"}), Lines(113, "progress Reading at 37.50 MB/s"));
    EXPECT_EQ(reportsIn(told), summary("37.50", "37.50"));
    EXPECT_EQ(view.result, "PASS");
}

TEST(ReadRatesTest, ASlowProbeTakesNoTimeOfThePass) {
    PassRun const run = runPass(
        diskToRead(2, {{"faults", Json::array({fault("read", {{"overlapped", true}, {"delayMilliseconds", 19000}})})}}),
        readOnce);

    EXPECT_EQ(run.transfers(), (Lines{"read 0", "read 1024", "read 0"}));
    EXPECT_EQ(run.said({"progress Reading"}), Lines(3, "progress Reading at 0.05 MB/s"));
    EXPECT_EQ(run.reports, summary("0.05", "0.05"));
    EXPECT_GT(run.io.back()["t"].get<double>(), 30 + 2 * 29);
}

TEST(ReadRatesTest, ThePeakIsTheFastestTransferWhereverItIs) {
    Json const slowFirst = fault("read", {{"overlapped", false}, {"times", 1}, {"delayMilliseconds", 5600}});
    PassRun const fastLater = runPass(coarseDisk(1.6, Json::array({slowFirst})), readOnce, nullptr, 2048);
    EXPECT_EQ(fastLater.said({"progress Reading"}),
              (Lines{"progress Reading at 0.75 MB/s", "progress Reading at 1.60 MB/s", "progress Reading at 1.60 MB/s",
                     "progress Reading at 1.60 MB/s", "progress Reading at 1.60 MB/s"}));
    EXPECT_EQ(fastLater.reports, summary("1.60", "1.31")); // 40 MB in 30.6 seconds

    Json const slowLater = fault("read", {{"overlapped", false}, {"after", 1}, {"delayMilliseconds", 5600}});
    PassRun const fastFirst = runPass(coarseDisk(1.6, Json::array({slowLater})), readOnce, nullptr, 2048);
    EXPECT_EQ(fastFirst.said({"progress Reading"}),
              (Lines{"progress Reading at 1.60 MB/s", "progress Reading at 0.75 MB/s", "progress Reading at 0.75 MB/s",
                     "progress Reading at 0.75 MB/s"}));
    EXPECT_EQ(fastFirst.reports, summary("1.60", "0.87")); // 32 MB in 36.8 seconds
}

TEST(ReadRatesTest, APeakBetweenSlowerTransfersIsFound) {
    PassRun const run = runPass(
        coarseDisk(1.6,
                   Json::array({fault("read", {{"overlapped", false}, {"times", 2}, {"delayMilliseconds", 5600}}),
                                fault("read", {{"overlapped", false}, {"after", 3}, {"delayMilliseconds", 5600}})})),
        readOnce, nullptr, 2048);

    EXPECT_EQ(run.said({"progress Reading"}),
              (Lines{"progress Reading at 0.75 MB/s", "progress Reading at 0.75 MB/s", "progress Reading at 1.60 MB/s",
                     "progress Reading at 0.75 MB/s"}));
    EXPECT_EQ(run.reports, summary("1.60", "0.87"));
}

// A failed transfer moves half of its range here, in half the time of a whole one.
TEST(ReadRatesTest, FailedTransfersLowerTheAverageAndNotThePeak) {
    PassRun const run =
        runPass(coarseDisk(0.768, Json::array({fault("read", {{"overlapped", false}, {"after", 1}, {"error", 1117}})})),
                readOnce, nullptr, 2048);

    EXPECT_EQ(run.transfers().size(), 5U);
    EXPECT_EQ(run.said({"progress Reading"}), Lines{"progress Reading at 0.77 MB/s"});
    EXPECT_EQ(run.said({"informative"}), summary("0.77", "0.26")); // 8 MB in 10.4 + 4 * 5.2 seconds
    EXPECT_EQ(run.result, "PASS");
}

TEST(ReadRatesTest, WithoutASuccessfulTransferPeakAndAverageAreNothing) {
    PassRun const run = runPass(
        diskToRead(10, {{"faults", Json::array({fault("read", {{"overlapped", false}, {"error", 1117}})})}}), readOnce);

    EXPECT_EQ(run.said({"progress Reading"}), Lines{});
    Lines reports;
    for (int transfer = 0; transfer < 6; ++transfer) {
        reports.push_back("warning READ_SECTOR_ERROR 359 ReadSector=" + std::to_string(transfer * 1024));
    }
    for (std::string const & report : summary("0.00", "0.00")) {
        reports.push_back(report);
    }
    reports.emplace_back("error READ_PERFORMANCE_NOT_OPTIMAL 587 performanceSpeed=0.00 ThresholdSpeed=0.01");
    EXPECT_EQ(run.reports, reports);
    EXPECT_EQ(run.result, "FAIL");
}

TEST(ReadRatesTest, TheSummaryIsJudgedByItsAverage) {
    PassRun const run = runPass(diskToRead(10), with(readOnce, {{"USB11ReadThresholdPercent", "100"}}));

    EXPECT_EQ(run.reports.back(), "error READ_PERFORMANCE_NOT_OPTIMAL 587 performanceSpeed=0.05 ThresholdSpeed=1.50");
    EXPECT_EQ(run.result, "FAIL");
}

// A budget is spent once more time has passed, not when it has just passed.
TEST(MeasurementTest, ABudgetIsSpentWhenMoreTimeHasPassed) {
    nuvrusb::PassMeasurement measurement(30, 0);
    EXPECT_FALSE(measurement.isBudgetSpent());
    measurement.addFailedTime(30.0);
    EXPECT_FALSE(measurement.isBudgetSpent());
    measurement.addFailedTime(1e-9);
    EXPECT_TRUE(measurement.isBudgetSpent());
}

// In whole seconds, in whole percents of the run time, and then of the passes; nothing is cut off at the top.
TEST(PercentTest, IsTheShareOfTheRunTimeThatTransfersHaveTaken) {
    struct Row {
        char const * runTime;
        bool writesToo;
        std::vector<int> percents; // 10, 20, 31, 41, 52, 62 seconds
    };
    for (Row const & row : std::vector<Row>{{"30", false, {33, 66, 103}},
                                            {"31", false, {32, 64, 100}},
                                            {"30", true, {16, 33, 51}},
                                            {"60", false, {16, 33, 51, 68, 86, 103}},
                                            {"60", true, {8, 16, 25, 34, 43, 51}}}) {
        Settings const settings = with(
            readOnce, {{"MaxTestRunTime", row.runTime}, {"PerformWritePerformance", row.writesToo ? "true" : "false"}});
        StorageCall call(stickPc(diskToRead(10)), settings);
        tkit5::TestResult result;
        call.calculator()->calculate(result, nuvrusb::operation::read);

        EXPECT_EQ(call.reporter.percents, row.percents) << row.runTime << row.writesToo;
        EXPECT_EQ(result, tkit5::TestResult::PASS());
    }
}

TEST(PercentTest, OfBothPassesTheReadPassIsTheFirstHalf) {
    PassRun const run = runPass(diskToWrite(10, {{"readRate", slowRate}}), with(readOnce, overwriting));

    EXPECT_EQ(run.said({"percent"}),
              (Lines{"percent 16", "percent 33", "percent 51", "percent 66", "percent 83", "percent 100"}));
    EXPECT_EQ(run.result, "PASS");
}

TEST(PercentTest, AWritePassAloneIsAllOfIt) {
    PassRun const run = runPass(diskToWrite(10), overwriting);

    EXPECT_EQ(run.said({"percent"}), (Lines{"percent 33", "percent 66", "percent 100"}));
}

TEST(PercentTest, NothingIsReportedWhereNoPassIsAskedFor) {
    StorageCall call(stickPc(diskToRead(10)), without(readOnce, "PerformReadPerformance"));
    tkit5::TestResult result;
    call.calculator()->calculate(result, nuvrusb::operation::read);

    EXPECT_EQ(call.reporter.percents, std::vector<int>{});
    EXPECT_EQ(result, tkit5::TestResult::PASS());
}

TEST(CalculateTest, AnUnknownOperationIsAFaultOfTheCaller) {
    for (std::uint32_t const operation : {0U, 3U, 4294967295U}) {
        StorageCall call(stickPc(diskToRead(10)), with(readOnce, overwriting), 4);
        auto const calculator = call.calculator();
        std::size_t const callsBefore = call.calls.size();
        tkit5::TestResult result = tkit5::TestResult::PASS();
        calculator->calculate(result, operation);

        EXPECT_EQ(call.reporter.lines,
                  Lines{"log4 250 PerformanceCalculator::Invalid performance operation option is being passed. Code "
                        "should be fixed to pass in correct option!"});
        EXPECT_EQ(call.calls.size(), callsBefore);
        EXPECT_EQ(result, tkit5::TestResult::INTERNALERROR());
    }
}

} // namespace

} // namespace test
