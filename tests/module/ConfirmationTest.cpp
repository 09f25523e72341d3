// The questions before data on a medium are overwritten, as the user sees them, and what each answer means for a pass.
#include "PassRun.h"
#include "StorageCall.h"

#include "Confirmation.h"

#include <gtest/gtest.h>

namespace test {

namespace {

struct Question {
    unsigned kind;
    char const * title;
    char const * message;
};

class QuestionTest : public testing::TestWithParam<Question> {};
INSTANTIATE_TEST_SUITE_P(
    Kinds, QuestionTest,
    testing::Values(Question{1, "Data at risk",
                             "The test is about to overwrite data on Stick & Söhne. It backs up each block and writes "
                             "it back, but if it is interrupted or the device fails, data is lost. Continue?"},
                    Question{2, "Backup failed",
                             "Data on Stick & Söhne could not be backed up. If you continue, the test overwrites data "
                             "from here on without writing it back, and that data is lost. Continue all the same?"},
                    Question{0, "", ""}, Question{3, "", ""}, Question{4294967295U, "", ""}),
    [](auto const & row) { return "Kind" + std::to_string(row.param.kind); });

TEST_P(QuestionTest, IsShownWithItsTextsAndClosedWithItsAnswer) {
    StorageCall call(stickPc(diskOf(1)), {}, 1);

    EXPECT_TRUE(nuvrusb::userConfirmedOperation("Stick & Söhne", GetParam().kind));
    ASSERT_EQ(call.reporter.boxes.size(), 1U);
    EXPECT_EQ(call.reporter.boxes[0].title, GetParam().title);
    EXPECT_EQ(call.reporter.boxes[0].message, GetParam().message);
    EXPECT_EQ(call.reporter.boxes[0].options, tkit5::MessageBox2_Options::YesNo);
    EXPECT_EQ(call.reporter.answers, std::vector{tkit5::MessageBox2_Return::Yes});
    EXPECT_EQ(call.reporter.scopes, (Lines{"+userConfirmedOperation:1549", "-userConfirmedOperation:1549"}));
    EXPECT_EQ(call.reporter.lines, Lines{});
}

TEST_P(QuestionTest, IsDeclinedWithNo) {
    StorageCall const call(stickPc(diskOf(1)), {}, 5, tkit5::Answering::No);

    EXPECT_FALSE(nuvrusb::userConfirmedOperation("Stick", GetParam().kind));
}

TEST(ConfirmationTest, AHostThatIsGoneDeclines) {
    StorageCall const call(stickPc(diskOf(1)), {}, 5, tkit5::Answering::Host);

    EXPECT_FALSE(nuvrusb::userConfirmedOperation("Stick", nuvrusb::confirmDataLoss));
}

TEST(ConfirmationTest, AHostMayTakeAsLongAsItLikes) {
    StorageCall call(stickPc(diskOf(1)), {}, 5, tkit5::Answering::Host);
    call.console.type(FakeConsole::Pause())
        .type(FakeConsole::Pause())
        .type(R"({"type":"answer","id":1,"answer":"yes"})");

    EXPECT_TRUE(nuvrusb::userConfirmedOperation("Stick", nuvrusb::confirmDataLoss));
    EXPECT_EQ(call.console.limits(), (std::vector<std::optional<std::chrono::milliseconds>>(3)));
}

struct Answer {
    char const * word;
    bool consents;
    Lines log;
};

class AnswerTest : public testing::TestWithParam<Answer> {};
INSTANTIATE_TEST_SUITE_P(
    Words, AnswerTest,
    testing::Values(Answer{"ok", true, {}}, Answer{"yes", true, {}}, Answer{"no", false, {}},
                    Answer{"retry", true, {"log4 1588 The message box returned the unexpected result: Retry"}},
                    Answer{"cancel", false, {}}, Answer{"abort", false, {}}),
    [](auto const & row) { return std::string(row.param.word); });

TEST_P(AnswerTest, BeginsThePassOrEndsIt) {
    PassRun const run = runPass(diskToWrite(10), writePreserved, {{"answers", {GetParam().word}}});

    EXPECT_EQ(run.said({"log4", "warning", "error"}), GetParam().log);
    EXPECT_EQ(run.transfers().empty(), !GetParam().consents);
    EXPECT_EQ(run.result, GetParam().consents ? "PASS" : "USERABORTED");
}

TEST_P(AnswerTest, OverwritesWithoutABackupOrEndsThePass) {
    Json const noBackup = fault("read", {{"overlapped", false}, {"error", 23}});
    PassRun const run = runPass(diskToWrite(10, {{"faults", Json::array({noBackup})}}), writePreserved,
                                {{"answers", {"yes", GetParam().word}}});

    EXPECT_EQ(run.said({"log4 1588", "error"}), GetParam().log);
    EXPECT_EQ(only(run.transfers(), {"write"}).empty(), !GetParam().consents);
    EXPECT_EQ(run.result, GetParam().consents ? "PASS" : "USERABORTED");
}

TEST(ConfirmationTest, TheQuestionNamesTheDisk) {
    PassRun const run = runPass(diskToWrite(10), writePreserved, {{"answers", {"no"}}});

    EXPECT_NE(run.view.output.find("overwrite data on Test Stick USB Device."), std::string::npos);
}

} // namespace

} // namespace test
