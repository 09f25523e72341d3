// Writes and backups that fail: what is told, what is restored, and how the pass goes on.
#include "PassRun.h"

#include <gtest/gtest.h>

namespace test {

namespace {

// Of the writes of a preserving pass the first, third, ... are those of the pattern; of its reads, all that are not
// probes are backups.
Json writeFault(std::initializer_list<std::pair<char const *, Json>> members) {
    return with(fault("write", {{"times", 1}, {"error", 1117}}), members);
}
Json backupFault(std::initializer_list<std::pair<char const *, Json>> members) {
    return with(fault("read", {{"overlapped", false}, {"times", 1}, {"error", 23}}), members);
}
Json diskWith(Json fault) {
    return diskToWrite(10, {{"faults", Json::array({std::move(fault)})}});
}

Lines const summary{"informative PEAK_WRITE_PERFORMANCE 551 PeakWritePerformance=0.05",
                    "informative AVERAGE_WRITE_PERFORMANCE 556 AverageWritePerformance=0.05"};
constexpr char const * deviceFailed = "log1 527 Write failed for device: Test Stick USB Device";

Lines withSummary(Lines reports, std::string const & average = "0.05") {
    reports.push_back(summary[0]);
    reports.push_back("informative AVERAGE_WRITE_PERFORMANCE 556 AverageWritePerformance=" + average);
    return reports;
}

TEST(WriteErrorsTest, AFailedWriteIsToldRestoredAndThePassGoesOn) {
    PassRun const run = runPass(diskWith(writeFault({{"after", 2}})), writePreserved);

    EXPECT_EQ(run.transfers(),
              (Lines{"read 0", "write 0", "write 0", "read 1024", "write 1024 error 1117", "write 1024", "read 2048",
                     "write 2048", "write 2048", "read 3072", "write 3072", "write 3072"}));
    EXPECT_EQ(run.said({"log1 512", "log1 527", "warning", "log1 874", "log1 877"}),
              (Lines{"log1 874 Restoring sector 0 (count: 1024)",
                     "log1 512 writeSector() failed: The device reported an input or output error.",
                     "warning WRITE_SECTOR_ERROR 520 WriteSector=1024", deviceFailed,
                     "log1 874 Restoring sector 1024 (count: 1024)", "log1 874 Restoring sector 2048 (count: 1024)",
                     "log1 874 Restoring sector 3072 (count: 1024)"}));
    // 1.5 MB in 3 * 10.4 and half of that.
    EXPECT_EQ(run.reports, withSummary({"warning WRITE_SECTOR_ERROR 520 WriteSector=1024"}, "0.04"));
    EXPECT_EQ(run.said({"percent"}), (Lines{"percent 33", "percent 50", "percent 86", "percent 100"}));
    EXPECT_EQ(run.result, "PASS");
}

TEST(WriteErrorsTest, WithoutPreservationAFailedWriteIsNotRestored) {
    PassRun const run = runPass(diskWith(writeFault({{"after", 1}})), overwriting);

    EXPECT_EQ(run.transfers(), (Lines{"write 0", "write 1024 error 1117", "write 2048", "write 3072"}));
    EXPECT_EQ(run.reports, withSummary({"warning WRITE_SECTOR_ERROR 520 WriteSector=1024"}, "0.04"));
}

TEST(WriteErrorsTest, AskingForTheMediumTakesNoTimeOfThePass) {
    Json disk = diskWith(writeFault({{"after", 1}}));
    disk["faults"].push_back(fault("checkVerify", {{"after", 1}, {"delayMilliseconds", 40000}}));
    PassRun const run = runPass(disk, overwriting);

    EXPECT_EQ(run.transfers().size(), 4U);
}

TEST(WriteErrorsTest, WithoutASuccessfulWritePeakAndAverageAreNothing) {
    PassRun const run =
        runPass(diskToWrite(10, {{"faults", Json::array({fault("write", {{"error", 1117}})})}}), overwriting);

    EXPECT_EQ(run.said({"informative", "error"}),
              (Lines{"informative PEAK_WRITE_PERFORMANCE 551 PeakWritePerformance=0.00",
                     "informative AVERAGE_WRITE_PERFORMANCE 556 AverageWritePerformance=0.00",
                     "error WRITE_PERFORMANCE_NOT_OPTIMAL 591 performanceSpeed=0.00 ThresholdSpeed=0.01"}));
    EXPECT_EQ(run.said({"warning"}).size(), 6U);
    EXPECT_EQ(run.result, "FAIL");
}

TEST(WriteErrorsTest, TheErrorLimitFailsThePassAfterTheRestore) {
    PassRun const run = runPass(diskWith(writeFault({{"after", 2}})), with(writePreserved, {{"MaxErrors", "1"}}));

    EXPECT_EQ(run.transfers(),
              (Lines{"read 0", "write 0", "write 0", "read 1024", "write 1024 error 1117", "write 1024"}));
    EXPECT_EQ(run.said({"warning", "error", "informative", "log1 5", "log1 874 Restoring sector 1024"}),
              (Lines{"log1 512 writeSector() failed: The device reported an input or output error.",
                     "warning WRITE_SECTOR_ERROR 520 WriteSector=1024", deviceFailed,
                     "error MAX_ERROR_REACHED 532 MaxError=1", "log1 874 Restoring sector 1024 (count: 1024)"}));
    EXPECT_EQ(run.result, "FAIL");
}

class WriteErrorLimitTest : public testing::TestWithParam<char const *> {};
INSTANTIATE_TEST_SUITE_P(Limits, WriteErrorLimitTest, testing::Values("2", "255", "0", "256", "257", "unset"));

// Failed writes take a tenth of a second here, so that there are some 300 in a pass, counted in 8 bits.
TEST_P(WriteErrorLimitTest, IsReachedByAsManyFailuresAndNeverFrom256On) {
    std::string const limit = GetParam();
    Json const disk = diskOf(90, {{"writeRate", 2.5}, {"faults", Json::array({fault("write", {{"error", 1117}})})}});
    PassRun const run = runQuietly(disk, limit == "unset" ? overwriting : with(overwriting, {{"MaxErrors", limit}}));

    std::size_t const failures = run.said({"warning WRITE_SECTOR_ERROR 520"}).size();
    if (limit == "2" || limit == "255") {
        EXPECT_EQ(failures, std::stoul(limit));
        EXPECT_EQ(run.said({"error", "informative"}), Lines{"error MAX_ERROR_REACHED 532 MaxError=" + limit});
    } else {
        EXPECT_GT(failures, 290U);
        EXPECT_EQ(run.said({"error"}),
                  Lines{"error WRITE_PERFORMANCE_NOT_OPTIMAL 591 performanceSpeed=0.00 ThresholdSpeed=0.01"});
    }
    EXPECT_EQ(run.result, "FAIL");
}

struct DeniedWrite {
    char const * name;
    std::uint32_t error;
    Lines reports;
    Lines log;
};

void PrintTo(DeniedWrite const & row, std::ostream * stream) {
    *stream << row.name;
}

class DeniedWriteTest : public testing::TestWithParam<DeniedWrite> {};
INSTANTIATE_TEST_SUITE_P(
    Errors, DeniedWriteTest,
    testing::Values(
        DeniedWrite{"BitLockerLockedVolume",
                    0x80310000,
                    {"warning BIT_LOCKER_DRIVE_ENCRYPTION_ERROR 515"},
                    {"log1 512 writeSector() failed: error 2150694912"}},
        DeniedWrite{"BitLockerOtherVolume",
                    0x80310017,
                    {"warning BIT_LOCKER_DRIVE_ENCRYPTION_ERROR 515"},
                    {"log1 512 writeSector() failed: error 2150694935"}},
        DeniedWrite{"AccessDenied",
                    5,
                    {"warning WRITE_SECTOR_ERROR 520 WriteSector=1024", "warning CANNOT_OPEN_ACCESS_DENIED 524"},
                    {"log1 512 writeSector() failed: Access was refused."}},
        DeniedWrite{"WriteProtected",
                    19,
                    {"warning WRITE_SECTOR_ERROR 520 WriteSector=1024", "warning CANNOT_OPEN_ACCESS_DENIED 524"},
                    {"log1 512 writeSector() failed: The medium is write-protected."}}),
    [](auto const & row) { return std::string(row.param.name); });

TEST_P(DeniedWriteTest, EndsThePassAfterTheRestore) {
    PassRun const run = runPass(diskWith(writeFault({{"after", 2}, {"error", GetParam().error}})), writePreserved);

    EXPECT_EQ(run.transfers(), (Lines{"read 0", "write 0", "write 0", "read 1024",
                                      "write 1024 error " + std::to_string(GetParam().error), "write 1024"}));
    EXPECT_EQ(run.reports, GetParam().reports);
    EXPECT_EQ(run.said({"log1 5"}), GetParam().log);
    EXPECT_EQ(run.told.back(), "log1 874 Restoring sector 1024 (count: 1024)");
    EXPECT_EQ(run.result, "CANNOTRUN");
}

// An error beside the two of BitLocker is an ordinary one.
TEST(WriteErrorsTest, NeighboursOfTheBitLockerErrorsAreOrdinary) {
    for (std::uint32_t const error : {0x80310001U, 0x80310016U, 0x80310018U}) {
        PassRun const run = runPass(diskWith(writeFault({{"error", error}})), overwriting);

        EXPECT_EQ(run.said({"warning"}), Lines{"warning WRITE_SECTOR_ERROR 520 WriteSector=0"}) << error;
        EXPECT_EQ(run.result, "PASS") << error;
    }
}

// A medium on which nothing can be written cannot be restored either, though nothing was lost.
TEST(WriteErrorsTest, AWriteProtectedMediumDeniesTheRestoreToo) {
    PassRun const run = runPass(diskToWrite(10, {{"readOnly", true}}), writePreserved);

    EXPECT_EQ(run.transfers(), (Lines{"read 0", "write 0 error 19", "write 0 error 19"}));
    EXPECT_EQ(run.reports,
              (Lines{"warning WRITE_SECTOR_ERROR 520 WriteSector=0", "warning CANNOT_OPEN_ACCESS_DENIED 524",
                     "warning CANNOT_RESTORE_DATA 880 TestSector=0 EndSector=10241"}));
    EXPECT_EQ(run.result, "CANNOTRUN");
}

class LostWhileWritingTest : public testing::TestWithParam<char const *> {};
INSTANTIATE_TEST_SUITE_P(States, LostWhileWritingTest, testing::Values("absent", "unplugged", "loading"));

// Transfers of the disk: two probes, backup, write, restore, backup, and this write.
TEST_P(LostWhileWritingTest, EndsThePassAndTheRestoreIsTried) {
    PassRun const run = runPass(
        diskToWrite(10, {{"mediaChanges", Json::array({{{"media", GetParam()}, {"atTransfer", 7}}})}}), writePreserved);

    ASSERT_EQ(run.transfers().size(), 6U);
    EXPECT_TRUE(run.transfers()[4].starts_with("write 1024 error "));
    EXPECT_TRUE(run.transfers()[5].starts_with("write 1024 error "));
    EXPECT_EQ(run.reports, Lines{"warning CANNOT_RESTORE_DATA 880 TestSector=1024 EndSector=10241"});
    EXPECT_EQ(run.said({"log1 512", "log1 527"}), Lines{});
    EXPECT_EQ(run.result, "NOMEDIA");
}

TEST(WriteErrorsTest, AFailedRestoreIsToldAndChangesNoVerdict) {
    PassRun const run = runPass(diskWith(writeFault({{"after", 3}})), writePreserved);

    EXPECT_EQ(run.transfers(), (Lines{"read 0", "write 0", "write 0", "read 1024", "write 1024",
                                      "write 1024 error 1117", "read 2048", "write 2048", "write 2048"}));
    EXPECT_EQ(run.said({"log1 877", "warning", "error", "informative"}),
              withSummary({"log1 877 restoreSectors() failed: The device reported an input or output error.",
                           "warning CANNOT_RESTORE_DATA 880 TestSector=1024 EndSector=10241"}));
    EXPECT_EQ(run.result, "PASS");
}

TEST(WriteErrorsTest, AFailedRestoreAfterTheErrorLimitLeavesItsVerdict) {
    PassRun const run =
        runPass(diskWith(writeFault({{"after", 2}, {"times", 2}})), with(writePreserved, {{"MaxErrors", "1"}}));

    EXPECT_EQ(run.reports,
              (Lines{"warning WRITE_SECTOR_ERROR 520 WriteSector=1024", "error MAX_ERROR_REACHED 532 MaxError=1",
                     "warning CANNOT_RESTORE_DATA 880 TestSector=1024 EndSector=10241"}));
    EXPECT_EQ(run.result, "FAIL");
}

TEST(WriteErrorsTest, AFailedBackupThatTheUserDeclinesEndsThePassBeforeTheWrite) {
    for (int const after : {0, 1, 2}) {
        PassRun const run =
            runPass(diskWith(backupFault({{"after", after}})), writePreserved, {{"answers", {"yes", "no"}}});

        std::string const sector = std::to_string(after * 1024);
        EXPECT_EQ(run.transfers().back(), "read " + sector + " error 23");
        EXPECT_EQ(run.transfers().size(), static_cast<std::size_t>(after) * 3 + 1);
        EXPECT_EQ(run.said({"log1 860", "log1 862", "log4", "warning", "error", "informative", "box", "answer"}),
                  (Lines{"box Data at risk", "answer yes",
                         "log1 860 PerformanceCalculator::backupSectors() failed to read starting sector: " + sector,
                         "log1 862 backupSectors() failed: The data failed its checksum.", "warning FAILED_BACKUP 480",
                         "log4 481 Backup was not successful", "box Backup failed", "answer no"}));
        EXPECT_EQ(run.result, "USERABORTED");
    }
}

// One failed backup is enough: the user has accepted the loss of all that follows.
TEST(WriteErrorsTest, AFailedBackupThatTheUserAcceptsEndsAllBackups) {
    for (int const after : {0, 1}) {
        PassRun const run =
            runPass(diskWith(backupFault({{"after", after}})), writePreserved, {{"answers", {"yes", "yes"}}});

        EXPECT_EQ(run.transfers(), after == 0 ? (Lines{"read 0 error 23", "write 0", "write 1024", "write 2048"})
                                              : (Lines{"read 0", "write 0", "write 0", "read 1024 error 23",
                                                       "write 1024", "write 2048"}));
        EXPECT_EQ(run.reports, withSummary({"warning FAILED_BACKUP 480"}));
        EXPECT_EQ(run.said({"box"}), (Lines{"box Data at risk", "box Backup failed"}));
        EXPECT_EQ(run.result, "PASS");
    }
}

TEST(WriteErrorsTest, AfterAnAcceptedFailureAWrapProbesOnlyBeforeTheWrite) {
    Json disk = diskToWrite(1, {{"faults", Json::array({backupFault({})})}});
    PassRun const run = runPass(disk, writePreserved, {{"answers", {"yes", "yes"}}});

    Lines expected{"open"};
    for (Lines const & part : {Lines{"close", "open overlapped", "probe", "close", "open", "read 0 error 23"},
                               Lines{"close", "open overlapped", "probe", "close", "open", "write 0"},
                               Lines{"close", "open overlapped", "probe", "close", "open", "write 0"},
                               Lines{"close", "open overlapped", "probe", "close", "open", "write 0", "close"}}) {
        expected.insert(expected.end(), part.begin(), part.end());
    }
    EXPECT_EQ(run.fromFirstOpen(), expected);
}

// Opens come in this order: sanitize check, pass, probe and reopen before the backup, and again before the write.
TEST(WriteErrorsTest, AReopenBeforeTheBackupThatFailsEndsThePassWithoutARestore) {
    PassRun const run = runPass(diskWith(fault("open", {{"after", 3}, {"error", 5}})), writePreserved);

    EXPECT_EQ(run.transfers(), Lines{});
    EXPECT_EQ(run.reports, Lines{"warning InvalidDeviceHandle 729"});
    EXPECT_EQ(run.said({"log1 874"}), Lines{});
    EXPECT_EQ(run.result, "CANNOTRUN");
}

TEST(WriteErrorsTest, AReopenBeforeTheWriteThatFailsEndsThePassAndTheRestoreIsTried) {
    PassRun const run = runPass(diskWith(fault("open", {{"after", 5}, {"error", 5}})), writePreserved);

    EXPECT_EQ(run.transfers(), Lines{"read 0"});
    EXPECT_EQ(run.said({"warning", "error", "informative", "log1 874"}),
              (Lines{"warning InvalidDeviceHandle 729", "log1 874 Restoring sector 0 (count: 1024)",
                     "warning CANNOT_RESTORE_DATA 880 TestSector=0 EndSector=10241"}));
    EXPECT_EQ(run.result, "CANNOTRUN");
}

TEST(WriteErrorsTest, AProbeBeforeTheBackupThatHangsEndsThePassWithoutARestore) {
    PassRun const run = runPass(diskWith(fault("read", {{"overlapped", true}, {"hangs", true}})), writePreserved);

    EXPECT_EQ(run.transfers(), Lines{});
    EXPECT_EQ(run.reports, Lines{"warning LARGE_CHUNKS_OF_DATA_READ_FAILED 151"});
    EXPECT_EQ(run.result, "CANNOTRUN");
}

// The restore goes through the handle of the probe; an ejected medium it cannot reach.
TEST(WriteErrorsTest, AProbeBeforeTheWriteThatHangsEndsThePassAndTheRestoreIsTried) {
    Json const disk = diskWith(fault("read", {{"overlapped", true}, {"after", 1}, {"hangs", true}}));
    PassRun const fixed = runPass(with(disk, {{"removable", false}}), writePreserved);
    EXPECT_EQ(fixed.transfers(), (Lines{"read 0", "write 0 overlapped"}));
    EXPECT_EQ(fixed.reports, Lines{"warning LARGE_CHUNKS_OF_DATA_READ_FAILED 151"});
    EXPECT_EQ(fixed.result, "CANNOTRUN");

    PassRun const ejected = runPass(disk, writePreserved);
    EXPECT_EQ(ejected.transfers(), (Lines{"read 0", "write 0 overlapped error 21"}));
    EXPECT_EQ(ejected.reports, (Lines{"warning LARGE_CHUNKS_OF_DATA_READ_FAILED 151",
                                      "warning CANNOT_RESTORE_DATA 880 TestSector=0 EndSector=10241"}));
    EXPECT_EQ(ejected.result, "CANNOTRUN");
}

} // namespace

} // namespace test
