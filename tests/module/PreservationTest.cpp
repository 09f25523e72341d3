// The bytes of the disk after a write pass: all as they were wherever data are preserved, and where they cannot be,
// exactly those lost that the pass has told of.
#include "PassRun.h"
#include "StorageCall.h"

#include "kernel/Runtime.h"

#include <gtest/gtest.h>

namespace test {

namespace {

using Sectors = std::vector<std::pair<std::uint64_t, std::uint64_t>>; // first and last of each run of sectors
using UserAnswer = machine::ScriptedUser::Answer;
using machine::ScriptedUser;

ScriptedUser whoAnswers(std::vector<UserAnswer> answers) {
    ScriptedUser user;
    user.answers = std::move(answers);
    return user;
}
ScriptedUser const agreeing = whoAnswers({UserAnswer::Yes, UserAnswer::Yes});
ScriptedUser const declining = whoAnswers({UserAnswer::Yes, UserAnswer::No}); // a loss, not the pass

class PreservationTest : public testing::Test {
protected:
    static constexpr std::uint64_t transfers = 2; // of three in a pass, so that it wraps

    // A pass of the engine. Gives its result.
    std::string write(std::initializer_list<std::pair<char const *, Json>> members = {},
                      ScriptedUser const & user = agreeing, Settings const & settings = writePreserved) {
        StorageCall call(stickPc(inImage(diskToWrite(transfers, members), image_)), settings, 5,
                         tkit5::Answering::Script, user);
        tkit5::TestResult result;
        call.calculator()->calculate(result, nuvrusb::operation::write);

        made_ = only(diskCallsIn(call.calls), {"read ", "write "});
        reports_.clear();
        for (std::string const & line : only(call.reporter.lines, {"warning", "error"})) {
            reports_.push_back(line);
        }
        variables_ = call.reporter.variables;
        EXPECT_EQ(kernel::openHandleCount(), 0U);
        return tkit5::resultName(result);
    }

    DiskImage image_{transfers * smallTransfer + 1};
    Lines made_; // backups, writes and restores
    Lines reports_;
    std::vector<std::map<std::string, std::string>> variables_; // of each report
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
Json changes(std::initializer_list<std::pair<char const *, int>> mediaAtTransfers) {
    Json list = Json::array();
    for (auto const & [media, transfer] : mediaAtTransfers) {
        list.push_back({{"media", media}, {"atTransfer", transfer}});
    }
    return list;
}

TEST_F(PreservationTest, APassLeavesEveryByteAsItWas) {
    EXPECT_EQ(write(), "PASS");

    EXPECT_EQ(made_, (Lines{"read 0", "write 0", "write 0", "read 1024", "write 1024", "write 1024", "read 0",
                            "write 0", "write 0"}));
    EXPECT_EQ(image_.changedSectors(), Sectors{});
}

TEST_F(PreservationTest, APassOverAMediumWithVolumesLeavesEveryByteAsItWas) {
    EXPECT_EQ(write({{"volumes",
                      {{{"firstSector", 16}, {"sectorCount", 1000}}, {{"firstSector", 1016}, {"sectorCount", 1000}}}}}),
              "PASS");

    EXPECT_EQ(only(made_, {"write"}).size(), 6U);
    EXPECT_EQ(image_.changedSectors(), Sectors{});
}

TEST_F(PreservationTest, AReadPassChangesNothing) {
    StorageCall call(stickPc(inImage(diskToRead(transfers), image_)), readOnce);
    tkit5::TestResult result;
    call.calculator()->calculate(result, nuvrusb::operation::read);

    EXPECT_EQ(result, tkit5::TestResult::PASS());
    EXPECT_EQ(image_.changedSectors(), Sectors{});
}

TEST(SectorSizeTest, LargerSectorsAreRestoredWhole) {
    DiskImage const image(2 * 2048 + 1, 1024);
    Json const disk =
        diskToWrite(1, {{"sectorSize", 1024}, {"sectorCount", 2 * 2048 + 1}, {"writeRate", 4 * slowRate}});
    StorageCall call(stickPc(inImage(disk, image)), writePreserved);
    tkit5::TestResult result;
    call.calculator()->calculate(result, nuvrusb::operation::write);

    EXPECT_EQ(only(diskCallsIn(call.calls, 1024), {"write"}),
              (Lines{"write 0", "write 0", "write 2048", "write 2048", "write 0", "write 0"}));
    EXPECT_EQ(result, tkit5::TestResult::PASS());
    EXPECT_EQ(image.changedSectors(), Sectors{});
}

struct Poll {
    std::uint32_t number;
    char const * result;
    std::size_t writes; // of patterns and restores
};
// The pass looks for a stop before each of three transfers and before the wrap.
class StopAtPollTest : public PreservationTest, public testing::WithParamInterface<Poll> {};
INSTANTIATE_TEST_SUITE_P(Polls, StopAtPollTest,
                         testing::Values(Poll{1, "USERABORTED", 0}, Poll{2, "USERABORTED", 2},
                                         Poll{3, "USERABORTED", 4}, Poll{4, "USERABORTED", 4}, Poll{5, "PASS", 6}),
                         [](auto const & row) { return "Poll" + std::to_string(row.param.number); });

TEST_P(StopAtPollTest, LosesNothing) {
    ScriptedUser user = agreeing;
    user.stopAtPoll = GetParam().number;
    EXPECT_EQ(write({}, user), GetParam().result);

    EXPECT_EQ(only(made_, {"write"}).size(), GetParam().writes);
    EXPECT_EQ(image_.changedSectors(), Sectors{});
}

// A stop that is asked for at any time: while the question is open, in the middle of a transfer, of its restore.
class StopAtTimeTest : public PreservationTest, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Seconds, StopAtTimeTest, testing::Range(0, 61, 10));

TEST_P(StopAtTimeTest, LosesNothing) {
    ScriptedUser user = agreeing;
    user.stopAfter = std::chrono::seconds(GetParam());
    EXPECT_EQ(write({}, user), GetParam() > 42 ? "PASS" : "USERABORTED");

    EXPECT_EQ(image_.changedSectors(), Sectors{});
}

class FailedWriteTest : public PreservationTest, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Transfers, FailedWriteTest, testing::Range(0, 3));

TEST_P(FailedWriteTest, IsRestored) {
    EXPECT_EQ(write({{"faults", faults({writeFault(2 * GetParam())})}}), "PASS");

    EXPECT_EQ(reports_, Lines{"warning WRITE_SECTOR_ERROR 520"});
    EXPECT_EQ(image_.changedSectors(), Sectors{});
}

class EndingWriteTest : public PreservationTest, public testing::WithParamInterface<std::uint32_t> {};
INSTANTIATE_TEST_SUITE_P(Errors, EndingWriteTest, testing::Values(5U, 19U, 0x80310000U, 0x80310017U, 1117U));

// The failed write has overwritten half of its range.
TEST_P(EndingWriteTest, IsRestored) {
    EXPECT_EQ(write({{"faults", faults({writeFault(2, {{"error", GetParam()}})})}}, agreeing,
                    with(writePreserved, {{"MaxErrors", "1"}})),
              GetParam() == 1117 ? "FAIL" : "CANNOTRUN");

    EXPECT_EQ(made_.back(), "write 1024");
    EXPECT_EQ(image_.changedSectors(), Sectors{});
}

class FailedBackupTest : public PreservationTest, public testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Transfers, FailedBackupTest, testing::Range(0, 3));

TEST_P(FailedBackupTest, ThatIsDeclinedLosesNothing) {
    EXPECT_EQ(write({{"faults", faults({backupFault(GetParam())})}}, declining), "USERABORTED");

    EXPECT_EQ(reports_, Lines{"warning FAILED_BACKUP 480"});
    EXPECT_EQ(image_.changedSectors(), Sectors{});
}

// What is written from then on, the first transfer once more included.
TEST_P(FailedBackupTest, ThatIsAcceptedLosesWhatIsWrittenWithoutOne) {
    EXPECT_EQ(write({{"faults", faults({backupFault(GetParam())})}}, agreeing), "PASS");

    EXPECT_EQ(reports_, Lines{"warning FAILED_BACKUP 480"});
    EXPECT_EQ(image_.changedSectors(), GetParam() == 2 ? (Sectors{{0, 1023}}) : (Sectors{{0, 2047}}));
}

TEST_F(PreservationTest, WhoIsGoneWhenABackupFailsHasDeclined) {
    EXPECT_EQ(write({{"faults", faults({backupFault(0)})}}, whoAnswers({UserAnswer::Yes})), "USERABORTED");

    EXPECT_EQ(image_.changedSectors(), Sectors{});
}

TEST_F(PreservationTest, AWriteProtectedMediumStaysAsItIs) {
    EXPECT_EQ(write({{"readOnly", true}}), "CANNOTRUN");

    EXPECT_EQ(image_.changedSectors(), Sectors{});
}

TEST_F(PreservationTest, AMediumThatHangsBeforeTheWriteStaysAsItIs) {
    Json const hangs = fault("read", {{"overlapped", true}, {"after", 1}, {"hangs", true}});
    for (bool const removable : {true, false}) {
        EXPECT_EQ(write({{"faults", faults({hangs})}, {"removable", removable}}), "CANNOTRUN");

        EXPECT_EQ(image_.changedSectors(), Sectors{}) << removable;
    }
}

TEST_F(PreservationTest, WithoutQuestionsAllThatIsWrittenIsLost) {
    EXPECT_EQ(write({}, {}, with(writePreserved, {{"PromptEnable", "false"}})), "PASS");

    EXPECT_EQ(made_, (Lines{"write 0", "write 1024", "write 0"}));
    EXPECT_EQ(reports_, Lines{});
    EXPECT_EQ(image_.changedSectors(), (Sectors{{0, 2047}})); // the last sector is never written
}

// The restore itself has written what lies before the faulty sector.
TEST_F(PreservationTest, AFailedRestoreLosesWhatItDidNotReach) {
    EXPECT_EQ(write({{"faults", faults({writeFault(1, {{"firstSector", 1536}, {"lastSector", 1536}})})}}), "PASS");

    EXPECT_EQ(reports_, Lines{"warning CANNOT_RESTORE_DATA 880"});
    EXPECT_EQ(variables_.front()["TestSector"], "1024");
    EXPECT_EQ(variables_.front()["EndSector"], "2049");
    EXPECT_EQ(image_.changedSectors(), (Sectors{{1536, 2047}}));
}

// Nothing but its own backup ever goes to a range: what is lost holds the pattern, not the data of the range before.
TEST_F(PreservationTest, ABackupIsWrittenToItsOwnPlaceOnly) {
    EXPECT_EQ(write({{"faults", faults({writeFault(3), backupFault(2)})}}, agreeing), "PASS");

    EXPECT_EQ(made_, (Lines{"read 0", "write 0", "write 0", "read 1024", "write 1024", "write 1024 error 1117",
                            "read 0 error 23", "write 0"}));
    EXPECT_EQ(reports_, (Lines{"warning CANNOT_RESTORE_DATA 880", "warning FAILED_BACKUP 480"}));
    EXPECT_EQ(image_.changedSectors(), (Sectors{{0, 1023}, {1536, 2047}}));
}

// Transfers of the disk: two probes, backup, write, and the restore that finds no medium.
TEST_F(PreservationTest, AMediumThatIsTakenOutBeforeItsRestoreLosesThatTransfer) {
    EXPECT_EQ(write({{"mediaChanges", changes({{"absent", 5}})}}, declining), "USERABORTED");

    EXPECT_EQ(reports_, (Lines{"warning CANNOT_RESTORE_DATA 880", "warning FAILED_BACKUP 480"}));
    EXPECT_EQ(variables_.front()["TestSector"], "0");
    EXPECT_EQ(image_.changedSectors(), (Sectors{{0, 1023}}));
}

TEST_F(PreservationTest, AMediumThatStaysAwayEndsThePassEvenForAUserWhoAcceptsALoss) {
    EXPECT_EQ(write({{"mediaChanges", changes({{"absent", 5}})}}, agreeing), "NOMEDIA");

    EXPECT_EQ(reports_, (Lines{"warning CANNOT_RESTORE_DATA 880", "warning FAILED_BACKUP 480"}));
    EXPECT_EQ(image_.changedSectors(), (Sectors{{0, 1023}}));
}

TEST_F(PreservationTest, AMediumThatIsTakenOutBeforeItsWriteIsNotWrittenTo) {
    EXPECT_EQ(write({{"mediaChanges", changes({{"absent", 2}})}}, declining), "USERABORTED"); // during the backup
    EXPECT_EQ(image_.changedSectors(), Sectors{});

    EXPECT_EQ(write({{"mediaChanges", changes({{"absent", 3}})}}), "CANNOTRUN"); // during the probe after it
    EXPECT_EQ(image_.changedSectors(), Sectors{});
}

// A medium that is back in time for the restore is restored.
TEST_F(PreservationTest, AMediumThatIsAwayForTheWriteAloneLosesNothing) {
    EXPECT_EQ(write({{"mediaChanges", changes({{"loading", 4}, {"present", 5}})}}), "NOMEDIA");

    EXPECT_EQ(reports_, Lines{});
    EXPECT_EQ(image_.changedSectors(), Sectors{});
}

} // namespace

} // namespace test
