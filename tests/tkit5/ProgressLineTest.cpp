// How far a test is, in one line: what is in it, when the time that is left can be told, and which lines a log gets.
#include "tkit5/ProgressLine.h"
#include "FakePc.h"
#include "tkit5/TextLayout.h"

#include <chrono>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using namespace tkit5;

constexpr std::size_t wide = 200;

class ProgressLineTest : public testing::Test {
protected:
    ProgressLineTest() {
        clock_.sleep(1h); // the PC has been running before the test
        line_.begin();
    }

    void say(std::string const & text, std::string const & key = "READING") {
        line_.setText({.key = key, .variables = {}, .text = text});
    }
    void reach(int percent, machine::Duration after) {
        clock_.sleep(after);
        line_.setPercent(percent);
    }
    std::string live(std::size_t width = wide) const { return line_.live(width, false); }

    test::FakeClock clock_;
    ProgressLine line_{clock_};
};

TEST_F(ProgressLineTest, TextAlone) {
    say("Measuring the read rate");
    clock_.sleep(1min);

    EXPECT_EQ(live(), "Measuring the read rate");
    EXPECT_EQ(line_.plain(), "Measuring the read rate");
}

TEST_F(ProgressLineTest, PercentageTextAndTheTimeThatIsLeft) {
    say("Reading at 37.50 MB/s");
    reach(25, 10s);

    EXPECT_EQ(live(), " 25 %  Reading at 37.50 MB/s, 30 s left");
    EXPECT_EQ(line_.plain(), " 25 %  Reading at 37.50 MB/s");
}

TEST_F(ProgressLineTest, NoTimeIsPromisedBeforeTheFirstPercent) {
    say("Reading");
    reach(0, 3s);
    EXPECT_EQ(live(), "  0 %  Reading");

    reach(1, 0s);
    EXPECT_EQ(live(), "  1 %  Reading, 4 min 57 s left");
}

TEST_F(ProgressLineTest, NoTimeIsToldWhereNonePassedOrNoneIsLeft) {
    say("Reading");
    reach(50, 0s);
    EXPECT_EQ(live(), " 50 %  Reading");

    reach(100, 5s);
    EXPECT_EQ(live(), "100 %  Reading");
}

TEST_F(ProgressLineTest, TimeRunsDownWhileThePercentageStays) {
    say("Reading");
    reach(50, 20s);
    clock_.sleep(5400ms);
    EXPECT_EQ(live(), " 50 %  Reading, 15 s left");

    reach(50, 4600ms); // told again, which is no news
    EXPECT_EQ(live(), " 50 %  Reading, 10 s left");

    clock_.sleep(1min);
    EXPECT_EQ(live(), " 50 %  Reading, 0 s left");
}

TEST_F(ProgressLineTest, LongTimesAreToldInMinutesAndHours) {
    say("Reading");
    reach(50, 59s + 600ms);
    EXPECT_EQ(live(), " 50 %  Reading, 1 min 00 s left");
    line_.begin();
    reach(50, 2h + 5min);
    EXPECT_EQ(live(), " 50 %  2 h 05 min left");
}

TEST_F(ProgressLineTest, TimeAtAQuestionDoesNotCount) {
    say("Reading");
    clock_.sleep(10s);
    line_.pause();
    line_.pause(); // two questions at once
    clock_.sleep(30min);
    line_.resume();
    clock_.sleep(30min);
    reach(50, 0s);
    EXPECT_EQ(live(), " 50 %  Reading, 10 s left");

    line_.resume();
    EXPECT_EQ(live(), " 50 %  Reading, 10 s left");
}

TEST_F(ProgressLineTest, PercentageOutsideItsRangeIsBroughtIntoIt) {
    reach(-5, 0s);
    EXPECT_EQ(line_.plain(), "  0 %");
    reach(103, 1s);
    EXPECT_EQ(line_.plain(), "100 %");
}

TEST_F(ProgressLineTest, StopIsToldInsteadOfTheTime) {
    say("Writing");
    reach(50, 10s);

    EXPECT_EQ(line_.live(wide, true), " 50 %  Writing, stopping");
}

TEST_F(ProgressLineTest, IsNeverWiderThanItsRoom) {
    say("Reading at 37.50 MB/s from a device with a \xE9\x95\xB7\xE3\x81\x84 name");
    reach(25, 10s);

    for (std::size_t width = 1; width < 80; ++width) {
        EXPECT_LE(columns(live(width)), width) << live(width);
    }
}

TEST_F(ProgressLineTest, WhereRoomIsShortTheTextIsCutAndThenTheTimeGoes) {
    say("Reading at 37.50 MB/s");
    reach(25, 10s);

    EXPECT_EQ(live(30), " 25 %  Reading a..., 30 s left");
    EXPECT_EQ(live(29), " 25 %  Reading at 37.50 MB/s");
    EXPECT_EQ(live(20), " 25 %  Reading at...");
}

TEST_F(ProgressLineTest, DevicesTextCannotSteerTheTerminal) {
    say("a\x1b[2J\nb");

    EXPECT_EQ(live(), "a\xEF\xBF\xBD[2J b");
}

TEST_F(ProgressLineTest, NextTestBeginsAnew) {
    say("Reading");
    reach(90, 90s);
    EXPECT_TRUE(line_.takesPlainLine());
    line_.begin();
    EXPECT_EQ(live(), "");

    say("Reading");
    reach(90, 9s);
    EXPECT_TRUE(line_.takesPlainLine());
    EXPECT_EQ(live(), " 90 %  Reading, 1 s left");
}

TEST_F(ProgressLineTest, LogGetsALineForEveryKeyInEveryTenth) {
    std::vector<std::string> lines;
    for (int percent = 0; percent <= 20; ++percent) {
        for (std::string const key : {"READING", "WRITING"}) { // a test that goes back and forth
            say(key, key);
            reach(percent, 1s);
            if (line_.takesPlainLine()) {
                lines.push_back(line_.plain());
            }
        }
    }

    EXPECT_EQ(lines, (std::vector<std::string>{"  0 %  READING", "  0 %  WRITING", " 10 %  READING", " 10 %  WRITING",
                                               " 20 %  READING", " 20 %  WRITING"}));
}

} // namespace
