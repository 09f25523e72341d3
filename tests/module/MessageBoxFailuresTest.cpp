// The confirmation with message boxes that fail, or answer what none of ours answers: this program stands in for the
// framework in making them.
#include "Confirmation.h"

#include "nuv/LogSink.h"
#include "tkit5.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using Lines = std::vector<std::string>;

struct BoxScript {
    bool isMade = true;
    bool isDisplayed = true;
    bool isAnswered = true;
    int answer = 0;
};
BoxScript script;
Lines calls; // to the box, and what it was made with

class ScriptedBox final : public tkit5::MessageBox2 {
public:
    ~ScriptedBox() override { calls.emplace_back("destroyed"); }
    bool display() override {
        calls.emplace_back("display");
        return script.isDisplayed;
    }
    bool wait(unsigned milliseconds) override {
        calls.push_back("wait " + std::to_string(milliseconds));
        return script.isAnswered;
    }
    int getReturn() const override {
        calls.emplace_back("getReturn");
        return script.answer;
    }
};

} // namespace

namespace tkit5 {

std::unique_ptr<MessageBox2> DiagModule::createMessageBox2(TkitString const & message, TkitString const & title,
                                                           MessageBox2_Types type, MessageBox2_Options options,
                                                           MessageBox2_Looks looks, bool modal) {
    calls.push_back("message " + std::string(message.getUTF8Buffer()).substr(0, 13));
    calls.push_back("title " + std::string(title.getUTF8Buffer()));
    calls.push_back("type " + std::to_string(static_cast<int>(type)) + " options " +
                    std::to_string(static_cast<int>(options)) + " looks " + std::to_string(static_cast<int>(looks)) +
                    (modal ? " modal" : ""));
    return script.isMade ? std::make_unique<ScriptedBox>() : nullptr;
}

} // namespace tkit5

namespace {

class Log final : public nuv::LogSink {
public:
    Log() : previous_(nuv::setLogSink(this)) { nuv::setLogPriority(2); }
    Log(Log const &) = delete;
    Log & operator=(Log const &) = delete;
    ~Log() override {
        nuv::setLogSink(previous_);
        nuv::setLogPriority(5);
    }
    void message(int priority, char const * logger, std::string const & text) override {
        lines.push_back(std::string(logger) + " " + std::to_string(priority) + " " + text);
    }
    void scope(bool, char const *, char const *, char const *, int) override {}

    Lines lines;

private:
    nuv::LogSink * previous_;
};

bool confirmed(BoxScript const & wanted, unsigned kind = nuvrusb::confirmDataLoss) {
    script = wanted;
    calls.clear();
    return nuvrusb::userConfirmedOperation("Stick", kind);
}

Lines const made{"message The test is a", "title Data at risk", "type 0 options 3 looks 3 modal"};

Lines afterMade(Lines const & lines) {
    Lines all = made;
    all.insert(all.end(), lines.begin(), lines.end());
    return all;
}

TEST(MessageBoxFailuresTest, AnAnsweredBoxIsShownWaitedForWithoutALimitAndDestroyed) {
    EXPECT_TRUE(confirmed({.answer = 2}));
    EXPECT_EQ(calls, afterMade({"display", "wait 0", "getReturn", "destroyed"}));
}

TEST(MessageBoxFailuresTest, TheSecondKindHasTextsOfItsOwnAndOtherKindsNone) {
    EXPECT_TRUE(confirmed({.answer = 2}, nuvrusb::confirmFailedBackup));
    EXPECT_EQ(calls[0], "message Data on Stick");
    EXPECT_EQ(calls[1], "title Backup failed");
    EXPECT_TRUE(confirmed({.answer = 2}, 3));
    EXPECT_EQ(calls, (Lines{"message ", "title ", "type 0 options 3 looks 3 modal", "display", "wait 0", "getReturn",
                            "destroyed"}));
}

// A user who cannot be asked counts as agreeing, whatever the box would have answered.
TEST(MessageBoxFailuresTest, ABoxThatCannotBeMadeIsConsent) {
    Log const log;
    EXPECT_TRUE(confirmed({.isMade = false, .answer = 3}));
    EXPECT_EQ(calls, made);
    EXPECT_EQ(log.lines, Lines{});
}

TEST(MessageBoxFailuresTest, ABoxThatCannotBeDisplayedIsConsent) {
    Log const log;
    EXPECT_TRUE(confirmed({.isDisplayed = false, .answer = 3}));
    EXPECT_EQ(calls, afterMade({"display", "destroyed"}));
    EXPECT_EQ(log.lines, Lines{});
}

TEST(MessageBoxFailuresTest, ABoxThatCannotBeWaitedForIsConsent) {
    Log const log;
    EXPECT_TRUE(confirmed({.isAnswered = false, .answer = 3}));
    EXPECT_EQ(calls, afterMade({"display", "wait 0", "destroyed"}));
    EXPECT_EQ(log.lines, Lines{});
}

TEST(MessageBoxFailuresTest, EachAnswerHasItsMeaning) {
    std::vector<std::pair<int, bool>> const meanings{{0, true},  {1, true},  {2, true}, {3, false},
                                                     {5, false}, {6, false}, {7, true}};
    for (auto const & [answer, consents] : meanings) {
        Log const log;
        EXPECT_EQ(confirmed({.answer = answer}), consents) << answer;
        EXPECT_EQ(log.lines, Lines{}) << answer;
    }
}

TEST(MessageBoxFailuresTest, AnAnswerThatTheBoxDoesNotOfferIsLoggedAndIsConsent) {
    std::vector<std::pair<int, std::string>> const names{
        {4, "Retry"}, {8, "Unknown answer 8"}, {1000, "Unknown answer 1000"}};
    for (auto const & [answer, name] : names) {
        Log const log;
        EXPECT_TRUE(confirmed({.answer = answer}));
        EXPECT_EQ(log.lines, Lines{"nuvrusb 4 1588 The message box returned the unexpected result: " + name});
    }
}

} // namespace
