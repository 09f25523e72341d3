#include "tkit5/TextReporter.h"
#include "FakePc.h"
#include "support/FakeConsole.h"
#include "support/Golden.h"

#include <chrono>
#include <string>

#include <gtest/gtest.h>

namespace {

using namespace tkit5;
using test::FakeConsole;
using namespace std::chrono_literals;

DeviceReport device(std::string const & name) {
    return {.identifier = "USB\\VID_0781", .name = name, .description = {}, .osLocator = {}, .capabilities = {"USB"}};
}

RunStart run(std::size_t devices) {
    return {.test = "SpeedTest",
            .machine = "Desktop with a fast stick",
            .isBundledMachine = false,
            .deviceCount = devices,
            .parameters = {}};
}

EventReport raised(Severity severity, std::string const & key, std::string const & text) {
    return {.severity = severity,
            .key = key,
            .variables = {},
            .text = text,
            .sourceFile = "modules/src/speed.cpp",
            .sourceLine = 1234};
}

ProgressReport reading(std::string const & rate) {
    return {.key = "READING", .variables = {}, .text = "Reading at " + rate + " MB/s"};
}

// One of everything, on two devices.
void tellAll(Reporter & reporter) {
    RunStart start = run(2);
    start.isBundledMachine = true;
    start.parameters = {{"desiredVerificationSpeed", "MAX"}, {"MaxErrors", "3"}};
    reporter.runStarted(start);
    reporter.testStarted("SpeedTest", device("Stick"));
    reporter.log({.priority = 2, .logger = "nuvrusb", .text = "785 Port number: 4"});
    reporter.trace(
        {.entered = true, .logger = "nuvrusb", .function = "checkPort", .sourceFile = "a/b.cpp", .sourceLine = 12});
    reporter.trace(
        {.entered = false, .logger = "nuvrusb", .function = "checkPort", .sourceFile = "a/b.cpp", .sourceLine = 12});
    reporter.event(raised(Severity::Error, "CAPABLE_OF_RUNNING_AT_HIGHER_SPEED",
                          "Stick on the controller runs at 2.0, but the port that it is plugged into can do 3.0."));
    reporter.event(raised(Severity::Warning, "NewDeviceNotEnoughPower", "A device gets too little power."));
    reporter.progress(reading("30.00"));
    reporter.percentDone(0);
    reporter.percentDone(4);
    reporter.progress(reading("31.00"));
    reporter.percentDone(12);
    reporter.messageBoxShown(
        {.id = 1, .title = "Overwrite?", .message = "All data will be lost.", .options = MessageBox2_Options::YesNo});
    reporter.inputError({.line = "what", .message = "Please answer yes or no."});
    reporter.messageBoxClosed(1, MessageBox2_Return::Yes);
    reporter.percentDone(100);
    reporter.event(raised(Severity::Informative, "PEAK_READ_PERFORMANCE", "The peak was 31.00 MB/s."));
    reporter.testEnded("SpeedTest", device("Stick"), TestResult::FAIL());
    reporter.testStarted("SpeedTest", device(""));
    reporter.testEnded("SpeedTest", device(""), TestResult::PASS());
    reporter.runEnded("SpeedTest", TestResult::FAIL(), true);
}

class TextReporterTest : public testing::Test {
protected:
    test::FakeClock clock_;
};

std::string golden(std::string const & file) {
    return std::string(GOLDEN_DIR) + "/" + file;
}

TEST_F(TextReporterTest, PipedRunIsPlainLines) {
    FakeConsole console;
    TextReporter reporter(console, false, false, clock_);
    tellAll(reporter);

    test::expectGolden(golden("piped.txt"), console.output());
    EXPECT_EQ(console.output().find('\x1b'), std::string::npos);
    EXPECT_EQ(console.output().find('\r'), std::string::npos);
}

TEST_F(TextReporterTest, RunOnATerminalIsColouredWrappedAndShowsProgressInPlace) {
    FakeConsole console;
    console.beTerminal(60);
    TextReporter reporter(console, true, true, clock_);
    tellAll(reporter);

    test::expectGolden(golden("terminal.txt"), console.output());
}

TEST_F(TextReporterTest, TerminalWithoutColourHasNone) {
    FakeConsole console;
    console.beTerminal();
    TextReporter reporter(console, false, true, clock_);
    tellAll(reporter);

    EXPECT_EQ(console.output().find("\x1b[3"), std::string::npos);
    EXPECT_NE(console.output().find("\r\x1b[K"), std::string::npos);
}

TEST_F(TextReporterTest, SameRunGivesTheSameBytes) {
    FakeConsole first;
    FakeConsole second;
    TextReporter a(first, true, true, clock_);
    TextReporter b(second, true, true, clock_);
    tellAll(a);
    tellAll(b);

    EXPECT_EQ(first.output(), second.output());
}

TEST_F(TextReporterTest, EveryVerdictIsExplained) {
    std::string explained;
    for (TestResult const & result :
         {TestResult::PASS(), TestResult::FAIL(), TestResult::WARN(), TestResult::NODEVICE(), TestResult::NOMEDIA(),
          TestResult::BADPARAMS(), TestResult::CANNOTRUN(), TestResult::DEVICEBUSY(), TestResult::USERABORTED(),
          TestResult::INTERNALERROR(), TestResult::MISCONFIGURED(), TestResult::EXITEDABNORMALLY()}) {
        FakeConsole console;
        TextReporter reporter(console, true, false, clock_);
        reporter.runEnded("SpeedTest", result, false);
        explained += console.output();
    }

    test::expectGolden(golden("verdicts.txt"), explained);
}

TEST_F(TextReporterTest, SingleDeviceHasOneResultLine) {
    FakeConsole console;
    TextReporter reporter(console, false, false, clock_);
    reporter.runStarted(run(1));
    reporter.testStarted("SpeedTest", device("USB ports"));
    reporter.testEnded("SpeedTest", device("USB ports"), TestResult::PASS());
    reporter.runEnded("SpeedTest", TestResult::PASS(), false);

    EXPECT_EQ(console.output(), "PC: Desktop with a fast stick\n"
                                "\n"
                                "SpeedTest on USB ports\n"
                                "\n"
                                "Result: PASS\n"
                                "Everything that was tested is in order.\n");
}

TEST_F(TextReporterTest, CountsAreThoseOfOneRun) {
    FakeConsole console;
    TextReporter reporter(console, false, false, clock_);
    reporter.event(raised(Severity::Error, "KEY", "Text."));
    reporter.runStarted(run(0));
    reporter.runEnded("SpeedTest", TestResult::NODEVICE(), false);

    EXPECT_NE(console.output().find("Result: NODEVICE\n"), std::string::npos);
}

TEST_F(TextReporterTest, NameFromADeviceCannotSteerTheTerminal) {
    FakeConsole console;
    TextReporter reporter(console, false, false, clock_);
    reporter.testStarted("SpeedTest", device("a\x1b[2J\nb"));
    reporter.event(raised(Severity::Error, "KEY", "\x1b[31m\xFF is slow."));

    EXPECT_EQ(console.output(), "\nSpeedTest on a\xEF\xBF\xBD[2J b\n"
                                "  error    \xEF\xBF\xBD[31m\xEF\xBF\xBD is slow.\n"
                                "           KEY, speed.cpp:1234\n");
}

TEST_F(TextReporterTest, ProgressOnATerminalIsRewrittenInPlaceWithTheTimeThatIsLeft) {
    FakeConsole console;
    console.beTerminal();
    TextReporter reporter(console, false, true, clock_);
    reporter.testStarted("SpeedTest", device("Stick"));
    std::size_t const before = console.output().size();
    clock_.sleep(10s);
    reporter.progress(reading("30.00"));
    reporter.percentDone(25);
    clock_.sleep(2s);
    reporter.progress(reading("31.00"));
    reporter.event(raised(Severity::Warning, "KEY", "Text."));

    EXPECT_EQ(console.output().substr(before), "  Reading at 30.00 MB/s"
                                               "\r\x1b[K   25 %  Reading at 30.00 MB/s, 30 s left"
                                               "\r\x1b[K   25 %  Reading at 31.00 MB/s, 28 s left"
                                               "\r\x1b[K  warning  Text.\n"
                                               "           KEY, speed.cpp:1234\n");
}

TEST_F(TextReporterTest, ProgressThatLooksTheSameIsNotWrittenAgain) {
    FakeConsole console;
    console.beTerminal();
    TextReporter reporter(console, false, true, clock_);
    for (int transfer = 0; transfer < 100; ++transfer) {
        reporter.progress(reading("30.00"));
        reporter.percentDone(10);
    }

    EXPECT_EQ(console.writes(), 2U);
}

TEST_F(TextReporterTest, ProgressLineNeverReachesTheLastColumn) {
    FakeConsole console;
    console.beTerminal(40);
    TextReporter reporter(console, false, true, clock_);
    reporter.testStarted("SpeedTest", device("Stick"));
    clock_.sleep(10s);
    reporter.percentDone(25);
    reporter.progress(reading("1234567890.00"));

    EXPECT_TRUE(console.output().ends_with("\r\x1b[K   25 %  Reading at 12345..., 30 s left")) << console.output();
    std::string const line = console.output().substr(console.output().rfind("\x1b[K") + 3);
    EXPECT_EQ(line.size(), 39U);
}

TEST_F(TextReporterTest, StopShowsBeforeTheTestCanEnd) {
    FakeConsole console;
    console.beTerminal();
    TextReporter reporter(console, false, true, clock_);
    console.requestStop();
    reporter.progress(reading("30.00"));

    EXPECT_EQ(console.output(), "  Reading at 30.00 MB/s, stopping");
}

TEST_F(TextReporterTest, TimeAtAQuestionDoesNotCount) {
    FakeConsole console;
    console.beTerminal();
    TextReporter reporter(console, false, true, clock_);
    reporter.testStarted("SpeedTest", device("Stick"));
    clock_.sleep(10s);
    reporter.messageBoxShown({.id = 1, .title = "T", .message = "M", .options = MessageBox2_Options::YesNo});
    clock_.sleep(1h);
    reporter.messageBoxClosed(1, MessageBox2_Return::Yes);
    reporter.percentDone(50);

    EXPECT_TRUE(console.output().ends_with("   50 %  10 s left")) << console.output();
}

TEST_F(TextReporterTest, PipedProgressIsALineATenth) {
    FakeConsole console;
    TextReporter reporter(console, false, false, clock_);
    reporter.progress(reading("1.00"));
    for (int percent = 0; percent <= 25; ++percent) {
        clock_.sleep(1s);
        reporter.percentDone(percent);
        reporter.progress(reading(std::to_string(percent)));
    }

    EXPECT_EQ(console.output(), "  progress Reading at 1.00 MB/s\n"
                                "  progress  10 %  Reading at 9 MB/s\n"
                                "  progress  20 %  Reading at 19 MB/s\n");
}

TEST_F(TextReporterTest, LostOutputIsRememberedAndNothingMoreIsTried) {
    FakeConsole console;
    console.loseOutputAfter(0);
    TextReporter reporter(console, false, false, clock_);
    EXPECT_FALSE(reporter.outputLost());
    reporter.runStarted(run(1));
    reporter.runEnded("SpeedTest", TestResult::PASS(), false);

    EXPECT_TRUE(reporter.outputLost());
    EXPECT_EQ(console.writes(), 1U);
}

} // namespace
