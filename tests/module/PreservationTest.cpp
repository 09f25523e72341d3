// The bytes of the disk after a run: all as they were wherever data are preserved, and where they cannot be, exactly
// those lost that the run has told of.
#include "PassRun.h"

#include <gtest/gtest.h>

namespace test {

namespace {

using Sectors = std::vector<std::pair<std::uint64_t, std::uint64_t>>; // first and last of each run of sectors

class PreservationTest : public testing::Test {
protected:
    static constexpr std::uint64_t transfers = 2; // of three in a pass, so that it wraps

    PassRun run(std::initializer_list<std::pair<char const *, Json>> members = {}, Json const & user = nullptr,
                Settings const & settings = writePreserved) {
        return runPass(inImage(diskToWrite(transfers, members), image_), settings, user);
    }

    DiskImage image_{transfers * smallTransfer + 1};
};

Json faults(std::initializer_list<Json> list) {
    return Json(list);
}
Json backupFault(int after) {
    return fault("read", {{"overlapped", false}, {"after", after}, {"times", 1}, {"error", 23}});
}
// Of the writes, those with even numbers, from 0, are the pattern's; each is followed by its restore.
Json writeFault(int after, std::initializer_list<std::pair<char const *, Json>> members = {}) {
    return with(fault("write", {{"after", after}, {"times", 1}, {"error", 1117}}), members);
}

TEST_F(PreservationTest, APassLeavesEveryByteAsItWas) {
    PassRun const pass = run();

    EXPECT_EQ(only(pass.transfers(), {"write"}).size(), 6U);
    EXPECT_EQ(pass.result, "PASS");
    EXPECT_EQ(image_.changedSectors(), Sectors{});
}

TEST_F(PreservationTest, BothPassesLeaveEveryByteAsItWas) {
    PassRun const pass = run({{"readRate", slowRate}}, nullptr, with(readOnce, writePreserved));

    EXPECT_EQ(pass.result, "PASS");
    EXPECT_EQ(image_.changedSectors(), Sectors{});
}

TEST_F(PreservationTest, APassOverAMediumWithVolumesLeavesEveryByteAsItWas) {
    PassRun const pass = run(
        {{"volumes", {{{"firstSector", 16}, {"sectorCount", 1000}}, {{"firstSector", 1016}, {"sectorCount", 1000}}}}});

    EXPECT_EQ(pass.result, "PASS");
    EXPECT_EQ(image_.changedSectors(), Sectors{});
}

TEST(PreservationOfSectorsTest, LargerSectorsAreRestoredWhole) {
    DiskImage const image(2 * 2048 + 1, 1024);
    PassRun const pass = runPass(
        inImage(diskToWrite(1, {{"sectorSize", 1024}, {"sectorCount", 2 * 2048 + 1}, {"writeRate", 0.19}}), image),
        writePreserved, nullptr, 1024);

    EXPECT_EQ(pass.transfers().front(), "read 0");
    EXPECT_EQ(pass.result, "PASS");
    EXPECT_EQ(image.changedSectors(), Sectors{});
}

// The pass looks for a stop five times here, the second time before its first transfer.
class StoppedPreservationTest : public PreservationTest, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Polls, StoppedPreservationTest, testing::Range(1, 6));

TEST_P(StoppedPreservationTest, AStopAtAnyPollLosesNothing) {
    PassRun const pass = run({}, {{"answers", {"yes"}}, {"stopAtPoll", GetParam() + 1}});

    EXPECT_EQ(pass.result, GetParam() == 5 ? "PASS" : "USERABORTED");
    EXPECT_EQ(image_.changedSectors(), Sectors{});
}

// A stop that is asked for at any time, in the middle of a transfer or of its restore, too.
class StoppedInTimeTest : public PreservationTest, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Seconds, StoppedInTimeTest, testing::Range(1, 62, 10));

TEST_P(StoppedInTimeTest, AStopAtAnyTimeLosesNothing) {
    PassRun const pass = run({}, {{"answers", {"yes"}}, {"stopAfterMilliseconds", GetParam() * 1000}});

    EXPECT_EQ(pass.result, GetParam() > 42 ? "PASS" : "USERABORTED");
    EXPECT_EQ(image_.changedSectors(), Sectors{});
}

class LostOutputTest : public PreservationTest, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Writes, LostOutputTest, testing::Range(3, 14));

TEST_P(LostOutputTest, AHostThatIsGoneLosesNothing) {
    FakeConsole console;
    console.loseOutputAfter(static_cast<std::size_t>(GetParam()));
    std::vector<std::string> arguments{"--device", diskId, "--allow-destructive", "--answer", "yes"};
    for (auto const & [name, value] : writePreserved) {
        arguments.insert(arguments.end(), {"--set", name + "=" + value});
    }
    runTest("USBStoragePerformanceTest", stickPc(inImage(diskToWrite(transfers), image_)), arguments, console);

    EXPECT_EQ(image_.changedSectors(), Sectors{});
    EXPECT_EQ(kernel::openHandleCount(), 0U);
}

TEST_F(PreservationTest, AWriteThatFailsOnceIsRestoredWhicheverItIs) {
    for (int const transfer : {0, 1, 2}) {
        PassRun const pass = run({{"faults", faults({writeFault(2 * transfer)})}});

        EXPECT_EQ(pass.said({"warning"}),
                  Lines{"warning WRITE_SECTOR_ERROR 520 WriteSector=" + std::to_string(transfer % 2 * 1024)});
        EXPECT_EQ(pass.result, "PASS");
        EXPECT_EQ(image_.changedSectors(), Sectors{}) << transfer;
    }
}

class EndingWriteTest : public PreservationTest, public testing::WithParamInterface<std::uint32_t> {};
INSTANTIATE_TEST_SUITE_P(Errors, EndingWriteTest, testing::Values(5U, 19U, 0x80310000U, 0x80310017U, 1117U));

// The failed write has overwritten half of its range.
TEST_P(EndingWriteTest, AWriteThatEndsThePassIsRestored) {
    PassRun const pass = run({{"faults", faults({writeFault(2, {{"error", GetParam()}})})}}, nullptr,
                             with(writePreserved, {{"MaxErrors", "1"}}));

    EXPECT_EQ(pass.result, GetParam() == 1117 ? "FAIL" : "CANNOTRUN");
    EXPECT_EQ(image_.changedSectors(), Sectors{});
}

TEST_F(PreservationTest, ADeclinedFailureOfABackupLosesNothing) {
    for (int const transfer : {0, 1, 2}) {
        PassRun const pass = run({{"faults", faults({backupFault(transfer)})}}, {{"answers", {"yes", "no"}}});

        EXPECT_EQ(pass.reports, Lines{"warning FAILED_BACKUP 480"});
        EXPECT_EQ(pass.result, "USERABORTED");
        EXPECT_EQ(image_.changedSectors(), Sectors{}) << transfer;
    }
}

TEST_F(PreservationTest, AStopWhileTheFailureOfABackupIsAskedAboutDeclines) {
    PassRun const pass = run({{"faults", faults({backupFault(0)})}}, {{"answers", {"yes"}}});

    EXPECT_EQ(pass.said({"box", "answer"}),
              (Lines{"box Data at risk", "answer yes", "box Backup failed", "answer cancel"}));
    EXPECT_EQ(pass.result, "USERABORTED");
    EXPECT_EQ(image_.changedSectors(), Sectors{});
}

TEST_F(PreservationTest, AWriteProtectedMediumStaysAsItIs) {
    PassRun const pass = run({{"readOnly", true}});

    EXPECT_EQ(pass.result, "CANNOTRUN");
    EXPECT_EQ(image_.changedSectors(), Sectors{});
}

TEST_F(PreservationTest, AMediumThatHangsBeforeTheWriteStaysAsItIs) {
    Json const hangs = fault("read", {{"overlapped", true}, {"after", 1}, {"hangs", true}});
    for (bool const removable : {true, false}) {
        PassRun const pass = run({{"faults", faults({hangs})}, {"removable", removable}});

        EXPECT_EQ(pass.result, "CANNOTRUN");
        EXPECT_EQ(image_.changedSectors(), Sectors{}) << removable;
    }
}

// From here on: what is lost, and how that is told.

TEST_F(PreservationTest, WithoutQuestionsAllThatIsWrittenIsLost) {
    PassRun const pass = run({}, nullptr, with(writePreserved, {{"PromptEnable", "false"}}));

    EXPECT_EQ(pass.transfers(), (Lines{"write 0", "write 1024", "write 0"}));
    EXPECT_EQ(image_.changedSectors(), (Sectors{{0, 2047}})); // the last sector is never written
    EXPECT_NE(pass.view.errors.find("is lost"), std::string::npos) << pass.view.errors;
}

TEST_F(PreservationTest, AnAcceptedFailureOfABackupLosesWhatIsWrittenFromThenOn) {
    PassRun const pass = run({{"faults", faults({backupFault(1)})}}, {{"answers", {"yes", "yes"}}},
                             with(writePreserved, {{"MaxErrors", "1"}}));

    // The first transfer was restored; the third writes it again.
    EXPECT_EQ(pass.transfers(), (Lines{"read 0", "write 0", "write 0", "read 1024 error 23", "write 1024", "write 0"}));
    EXPECT_EQ(pass.said({"warning"}), Lines{"warning FAILED_BACKUP 480"});
    EXPECT_EQ(image_.changedSectors(), (Sectors{{0, 2047}}));
}

TEST_F(PreservationTest, AnAcceptedFailureOfTheLastBackupLosesOnlyItsTransfer) {
    PassRun const pass = run({{"faults", faults({backupFault(2)})}}, {{"answers", {"yes", "yes"}}});

    EXPECT_EQ(pass.said({"warning"}), Lines{"warning FAILED_BACKUP 480"});
    EXPECT_EQ(image_.changedSectors(), (Sectors{{0, 1023}}));
}

// The restore itself has written what lies before the faulty sector.
TEST_F(PreservationTest, AFailedRestoreLosesWhatItDidNotReach) {
    PassRun const pass = run({{"faults", faults({writeFault(1, {{"firstSector", 1536}, {"lastSector", 1536}})})}});

    EXPECT_EQ(pass.said({"warning"}), Lines{"warning CANNOT_RESTORE_DATA 880 TestSector=1024 EndSector=2049"});
    EXPECT_EQ(pass.result, "PASS");
    EXPECT_EQ(image_.changedSectors(), (Sectors{{1536, 2047}}));
}

// Nothing else than its own backup ever goes to a range: the loss is the pattern, not the data of the range before.
TEST_F(PreservationTest, ARestoreThatFailedIsNotMadeUpForByAnotherOne) {
    PassRun const pass = run({{"faults", faults({writeFault(3), backupFault(2)})}}, {{"answers", {"yes", "yes"}}});

    EXPECT_EQ(pass.transfers(), (Lines{"read 0", "write 0", "write 0", "read 1024", "write 1024",
                                       "write 1024 error 1117", "read 0 error 23", "write 0"}));
    EXPECT_EQ(pass.said({"warning"}),
              (Lines{"warning CANNOT_RESTORE_DATA 880 TestSector=1024 EndSector=2049", "warning FAILED_BACKUP 480"}));
    EXPECT_EQ(image_.changedSectors(), (Sectors{{0, 1023}, {1536, 2047}}));
}

// Transfers of the disk: two probes, backup, write, and the restore that finds no medium.
TEST_F(PreservationTest, AMediumThatIsTakenOutBeforeItsRestoreLosesThatTransfer) {
    PassRun const pass =
        run({{"mediaChanges", {{{"media", "absent"}, {"atTransfer", 5}}}}}, {{"answers", {"yes", "no"}}});

    EXPECT_EQ(pass.reports,
              (Lines{"warning CANNOT_RESTORE_DATA 880 TestSector=0 EndSector=2049", "warning FAILED_BACKUP 480"}));
    EXPECT_EQ(pass.result, "USERABORTED");
    EXPECT_EQ(image_.changedSectors(), (Sectors{{0, 1023}}));
}

TEST_F(PreservationTest, AMediumThatStaysAwayEndsThePassEvenForAUserWhoAcceptsIt) {
    PassRun const pass =
        run({{"mediaChanges", {{{"media", "absent"}, {"atTransfer", 5}}}}}, {{"answers", {"yes", "yes"}}});

    EXPECT_EQ(pass.reports,
              (Lines{"warning CANNOT_RESTORE_DATA 880 TestSector=0 EndSector=2049", "warning FAILED_BACKUP 480"}));
    EXPECT_EQ(pass.result, "NOMEDIA");
    EXPECT_EQ(image_.changedSectors(), (Sectors{{0, 1023}}));
}

// A medium that is back in time for the restore is restored.
TEST_F(PreservationTest, AMediumThatIsAwayForTheWriteAloneLosesNothing) {
    PassRun const pass =
        run({{"mediaChanges", {{{"media", "loading"}, {"atTransfer", 4}}, {{"media", "present"}, {"atTransfer", 5}}}}});

    EXPECT_EQ(pass.reports, Lines{});
    EXPECT_EQ(pass.result, "NOMEDIA");
    EXPECT_EQ(image_.changedSectors(), Sectors{});
}

} // namespace

} // namespace test
