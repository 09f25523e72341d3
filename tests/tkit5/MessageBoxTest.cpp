#include "SessionFixture.h"

#include "tkit5/TextReporter.h"

#include <string>

namespace test {

using namespace std::chrono_literals;
using enum tkit5::MessageBox2_Return;
using enum tkit5::MessageBox2_Options;

namespace {

std::string answerLine(unsigned id, std::string const & answer) {
    return R"({"type":"answer","id":)" + std::to_string(id) + R"(,"answer":")" + answer + R"("})";
}

char const * const shownLine =
    R"({"type":"messageBox","seq":1,"id":1,"title":"Overwrite?","message":"All data will be lost.","answers":["yes","no"]})";

machine::ScriptedUser userWhoAnswers(std::vector<Answer> answers) {
    machine::ScriptedUser user;
    user.answers = std::move(answers);
    return user;
}

} // namespace

class MessageBoxTest : public SessionFixture {};

TEST_F(MessageBoxTest, YesPolicyConsentsAtOnce) {
    begin(Answering::Yes);

    EXPECT_EQ(ask(YesNo), Yes);
    EXPECT_EQ(ask(OkCancel), Ok);
    EXPECT_TRUE(console_.limits().empty());
}

TEST_F(MessageBoxTest, NoPolicyDeclinesAtOnce) {
    begin(Answering::No);

    EXPECT_EQ(ask(YesNo), No);
    EXPECT_EQ(ask(OkCancel), Cancel);
}

TEST_F(MessageBoxTest, BoxIsReportedWhenItIsShownAndWhenItIsAnswered) {
    begin(Answering::No);
    auto const shown = box(YesNo);
    EXPECT_TRUE(lines().empty());

    EXPECT_TRUE(shown->display());
    EXPECT_EQ(lines(), std::vector<std::string>{shownLine});
    EXPECT_EQ(shown->getReturn(), 0);

    EXPECT_TRUE(shown->wait(0));
    EXPECT_EQ(shown->getReturn(), 3);
    EXPECT_EQ(lines(),
              (std::vector<std::string>{shownLine, R"({"type":"messageBoxClosed","seq":2,"id":1,"answer":"no"})"}));
}

TEST_F(MessageBoxTest, AnsweredBoxGoesWithoutAWord) {
    begin(Answering::Yes);
    ask(YesNo);

    EXPECT_EQ(lines().size(), 2U);
}

TEST_F(MessageBoxTest, BoxThatGoesUnansweredIsClosedWithoutAnAnswer) {
    begin(Answering::Yes);
    shownBox(YesNo).reset();

    EXPECT_EQ(lines().back(), R"({"type":"messageBoxClosed","seq":2,"id":1,"answer":"none"})");
}

TEST_F(MessageBoxTest, BoxThatWasNeverShownLeavesNoTrace) {
    begin(Answering::Yes);
    box(YesNo).reset();

    EXPECT_TRUE(lines().empty());
}

TEST_F(MessageBoxTest, WaitingShowsABoxThatNobodyShowed) {
    begin(Answering::Yes);
    auto const shown = box(YesNo);

    EXPECT_TRUE(shown->wait(0));
    EXPECT_EQ(lines().front(), shownLine);
}

TEST_F(MessageBoxTest, ShowingTwiceShowsOnce) {
    begin(Answering::Yes);
    auto const shown = shownBox(YesNo);

    EXPECT_TRUE(shown->display());
    EXPECT_EQ(lines().size(), 1U);
}

TEST_F(MessageBoxTest, AnswerStays) {
    begin(Answering::Script, userWhoAnswers({Answer::Yes, Answer::No}));
    auto const shown = shownBox(YesNo);

    EXPECT_TRUE(shown->wait(0));
    EXPECT_TRUE(shown->wait(500));
    EXPECT_EQ(shown->getReturn(), 2);
    EXPECT_EQ(lines().size(), 2U);
}

TEST_F(MessageBoxTest, ScriptAnswersInOrderWhateverTheBoxOffers) {
    begin(Answering::Script,
          userWhoAnswers({Answer::Ok, Answer::Yes, Answer::No, Answer::Retry, Answer::Cancel, Answer::Abort}));

    EXPECT_EQ(ask(YesNo), Ok);
    EXPECT_EQ(ask(OkCancel), Yes);
    EXPECT_EQ(ask(YesNo), No);
    EXPECT_EQ(ask(YesNo), Retry);
    EXPECT_EQ(ask(YesNo), Cancel);
    EXPECT_EQ(ask(YesNo), Abort);
}

TEST_F(MessageBoxTest, ExhaustedScriptCancels) {
    begin(Answering::Script, userWhoAnswers({Answer::Yes}));

    EXPECT_EQ(ask(YesNo), Yes);
    EXPECT_EQ(ask(YesNo), Cancel);
    EXPECT_EQ(ask(OkCancel), Cancel);
}

TEST_F(MessageBoxTest, ScriptWithoutAUserCancels) {
    begin(Answering::Script);

    EXPECT_EQ(ask(YesNo), Cancel);
}

TEST_F(MessageBoxTest, ScriptAnswersALimitedWaitAtOnceToo) {
    begin(Answering::Script, userWhoAnswers({Answer::Ok}));
    auto const shown = shownBox(OkCancel);

    EXPECT_TRUE(shown->wait(500));
    EXPECT_EQ(pc_.clock().now(), 0s);
}

TEST_F(MessageBoxTest, HostAnswers) {
    begin(Answering::Host);
    console_.type(answerLine(1, "yes")).type(answerLine(2, "cancel"));

    EXPECT_EQ(ask(YesNo), Yes);
    EXPECT_EQ(ask(OkCancel), Cancel);
}

TEST_F(MessageBoxTest, HostWhoseAnswerTheBoxDoesNotOfferIsToldAndAskedOn) {
    begin(Answering::Host);
    console_.type(answerLine(1, "retry")).type(answerLine(1, "y")).type(answerLine(1, "no"));

    EXPECT_EQ(ask(YesNo), No);
    EXPECT_EQ(lines()[1],
              R"({"type":"inputError","seq":2,"line":"{\"type\":\"answer\",\"id\":1,\"answer\":\"retry\"}",)"
              R"("message":"Message box 1 can be answered yes or no."})");
    EXPECT_EQ(lines().size(), 4U);
}

TEST_F(MessageBoxTest, HostWhoAnswersABoxThatIsNotThereIsTold) {
    begin(Answering::Host);
    console_.type(answerLine(7, "yes")).type(answerLine(1, "yes"));

    EXPECT_EQ(ask(YesNo), Yes);
    EXPECT_EQ(lines()[1], R"({"type":"inputError","seq":2,"line":"{\"type\":\"answer\",\"id\":7,\"answer\":\"yes\"}",)"
                          R"("message":"No message box 7 waits for an answer."})");
}

TEST_F(MessageBoxTest, HostLineThatIsNoJsonIsToldAndAskedOn) {
    begin(Answering::Host);
    console_.type("yes").type(answerLine(1, "yes"));

    EXPECT_EQ(ask(YesNo), Yes);
    EXPECT_EQ(lines()[1],
              R"({"type":"inputError","seq":2,"line":"yes","message":"The line has to be a JSON object."})");
}

TEST_F(MessageBoxTest, HostThatAnswersWhileTheTestIsBusyIsHeard) {
    begin(Answering::Host);
    auto const first = shownBox(YesNo);
    auto const second = shownBox(OkCancel);
    console_.type(answerLine(2, "ok")).type(answerLine(1, "no"));
    EXPECT_FALSE(DiagModule::checkForStop());

    EXPECT_TRUE(first->wait(0));
    EXPECT_TRUE(second->wait(0));
    EXPECT_EQ(first->getReturn(), 3);
    EXPECT_EQ(second->getReturn(), 1);
}

TEST_F(MessageBoxTest, FirstAnswerOfTheHostCounts) {
    begin(Answering::Host);
    auto const shown = shownBox(YesNo);
    console_.type(answerLine(1, "no")).type(answerLine(1, "yes"));
    DiagModule::checkForStop();

    EXPECT_TRUE(shown->wait(0));
    EXPECT_EQ(shown->getReturn(), 3);
    EXPECT_NE(lines()[1].find("No message box 1 waits for an answer."), std::string::npos);
}

TEST_F(MessageBoxTest, HostThatIsGoneCancels) {
    begin(Answering::Host);

    EXPECT_EQ(ask(YesNo), Cancel);
    EXPECT_EQ(ask(YesNo), Cancel);
    EXPECT_EQ(console_.limits().size(), 1U);
    EXPECT_FALSE(session_->stopped());
}

TEST_F(MessageBoxTest, HostThatStopsWhileItIsAskedCancels) {
    begin(Answering::Host);
    console_.type(R"({"type":"stop"})").type(answerLine(1, "yes"));

    EXPECT_EQ(ask(YesNo), Cancel);
    EXPECT_TRUE(session_->stopped());
}

TEST_F(MessageBoxTest, LimitedWaitForAHostThatIsSilentTakesVirtualTime) {
    begin(Answering::Host);
    console_.keepOpen();
    auto const shown = shownBox(YesNo);

    EXPECT_FALSE(shown->wait(500));
    EXPECT_EQ(shown->getReturn(), 0);
    EXPECT_EQ(console_.limits().back(), 500ms);
    EXPECT_EQ(pc_.clock().now(), 500ms);
}

TEST_F(MessageBoxTest, LimitedWaitLeavesARealClockAlone) {
    begin(Answering::Host);
    console_.keepOpen();
    pc_.clock().beReal();

    EXPECT_FALSE(shownBox(YesNo)->wait(500));
    EXPECT_EQ(pc_.clock().now(), 0s);
}

TEST_F(MessageBoxTest, WaitWithoutALimitHasNone) {
    begin(Answering::Host);
    console_.type(answerLine(1, "yes"));
    ask(YesNo);

    EXPECT_EQ(console_.limits().front(), std::nullopt);
}

TEST_F(MessageBoxTest, StopBeforeTheQuestionCancelsWhoeverAnswers) {
    for (Answering const answering :
         {Answering::Script, Answering::Person, Answering::Host, Answering::Yes, Answering::No}) {
        FakeConsole console;
        console.type("yes").requestStop();
        tkit5::JsonlReporter reporter(console);
        tkit5::Session const session({.reporter = reporter,
                                      .console = console,
                                      .locale = locale_,
                                      .answering = answering,
                                      .hostSpeaks = false,
                                      .user = userWhoAnswers({Answer::Yes})});
        EXPECT_EQ(ask(YesNo), Cancel) << static_cast<int>(answering);
    }
}

class PersonTest : public SessionFixture {
protected:
    PersonTest() {
        session_.emplace(tkit5::SessionSetup{.reporter = text_,
                                             .console = console_,
                                             .locale = locale_,
                                             .answering = Answering::Person,
                                             .hostSpeaks = false,
                                             .user = std::nullopt});
    }
    void TearDown() override { session_.reset(); }

    tkit5::TextReporter text_{console_, false, false, pc_.clock()};
};

TEST_F(PersonTest, SeesTheQuestionAndTheWaysToAnswer) {
    console_.type("y");

    EXPECT_EQ(ask(YesNo), Yes);
    EXPECT_EQ(console_.output(), "  question Overwrite?\n"
                                 "           All data will be lost.\n"
                                 "           Answer y (yes) or n (no).\n"
                                 "  answer   yes\n");
}

TEST_F(PersonTest, WhoTypesNonsenseFirstIsAskedAgain) {
    console_.type("maybe").type("").type("No");

    EXPECT_EQ(ask(YesNo), No);
    EXPECT_NE(console_.output().find("  input    \"maybe\" was not understood. Please answer yes or no.\n"),
              std::string::npos);
    EXPECT_EQ(console_.inputLeft(), 0U);
}

TEST_F(PersonTest, AtAnOkCancelBoxAnswersWithItsWords) {
    console_.type("y").type("C");

    EXPECT_EQ(ask(OkCancel), Cancel);
}

TEST_F(PersonTest, WhoIsGoneCancels) {
    EXPECT_EQ(ask(YesNo), Cancel);
}

TEST_F(PersonTest, WhoStopsWhileAskedCancels) {
    console_.type("y");
    console_.stopWhenRead();

    EXPECT_EQ(ask(YesNo), Cancel);
    EXPECT_TRUE(session_->stopped());
}

TEST_F(PersonTest, LimitedWaitsTakeVirtualTimeUntilTheAnswer) {
    console_.type(FakeConsole::Pause{}).type(FakeConsole::Pause{}).type("ok");
    auto const shown = shownBox(OkCancel);

    EXPECT_FALSE(shown->wait(500));
    EXPECT_FALSE(shown->wait(500));
    EXPECT_TRUE(shown->wait(500));
    EXPECT_EQ(shown->getReturn(), 1);
    EXPECT_EQ(pc_.clock().now(), 1s);
}

TEST_F(PersonTest, WhereAHostSpeaksTheHostIsAsked) {
    FakeConsole console;
    console.type("y").type(answerLine(1, "no"));
    tkit5::JsonlReporter reporter(console);
    session_.reset();
    tkit5::Session const session({.reporter = reporter,
                                  .console = console,
                                  .locale = locale_,
                                  .answering = Answering::Person,
                                  .hostSpeaks = true,
                                  .user = std::nullopt});

    EXPECT_EQ(ask(YesNo), No);
}

} // namespace test
