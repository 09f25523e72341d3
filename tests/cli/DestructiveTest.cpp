// Data is overwritten only where somebody said so.
#include "CliRun.h"

#include "kernel/Runtime.h"
#include "tkit5/DestructiveSummary.h"

#include <gtest/gtest.h>

#include <string_view>

namespace test {
namespace {

// Two sticks; only the first one has a serial number.
std::string sticks(std::string const & diskMore = "") {
    return pcFile(R"({"port": 1, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\ONE",
        "serialNumber": "  4C531001 ", "disk": {"instanceId": "DISK\\ONE", "name": "Stick One")" +
                  diskMore + R"(}}},
        {"port": 2, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\TWO",
        "disk": {"instanceId": "DISK\\TWO", "name": "Stick Two"}}})");
}

std::vector<std::string> overwriteOne(std::string const & pc) {
    return {"run", "Overwrite", "--machine", pc, "--device", "DISK\\ONE"};
}

std::vector<std::string> rewriteOne(std::string const & pc, std::vector<std::string> const & settings) {
    std::vector<std::string> arguments{"run", "Rewrite", "--machine", pc, "--device", "DISK\\ONE"};
    for (std::string const & setting : settings) {
        arguments.insert(arguments.end(), {"--set", setting});
    }
    return arguments;
}

std::vector<std::string> allowed(std::vector<std::string> arguments) {
    arguments.emplace_back("--allow-destructive");
    return arguments;
}

constexpr char const * stickOne = "  Stick One: 16.0 GB (16,012,804,096 bytes), serial number 4C531001\n"
                                  "    identifier  DISK\\ONE\n"
                                  "    OS locator  \\\\.\\PhysicalDrive1\n";
constexpr char const * sizeOfStickOne = R"(, "sectorCount": 31275008)";

bool contains(std::string const & text, std::string_view part) {
    return text.find(part) != std::string::npos;
}

TEST(Destructive, RunsOnNamedDevicesOnly) {
    auto const result = runCli({"run", "Overwrite", "--machine", sticks(), "--allow-destructive"});
    EXPECT_EQ(result.code, 5);
    EXPECT_EQ(result.errors, "nuvrusb: Overwrite overwrites data, so it runs only on devices that are named: --device "
                             "ID. 'nuvrusb devices --test Overwrite' lists them.\n");
    EXPECT_TRUE(calls().devices.empty());
}

TEST(Destructive, WithoutATerminalItHasToBeAllowedInSoManyWords) {
    std::string const pc = sticks();
    auto const refused = runCli(overwriteOne(pc));
    EXPECT_EQ(refused.code, 5);
    EXPECT_NE(refused.errors.find("--allow-destructive"), std::string::npos);
    EXPECT_TRUE(calls().devices.empty());

    auto allowed = overwriteOne(pc);
    allowed.emplace_back("--allow-destructive");
    EXPECT_EQ(runCli(allowed).code, 0);
    EXPECT_EQ(calls().devices, std::vector<std::string>{"DISK\\ONE"});
}

TEST(Destructive, HostCannotConfirmByTyping) {
    FakeConsole console;
    console.beTerminal();
    console.type("yes");
    auto arguments = overwriteOne(sticks());
    arguments.insert(arguments.end(), {"--format", "jsonl"});
    EXPECT_EQ(runCli(arguments, console).code, 5);
    EXPECT_TRUE(calls().devices.empty());
}

TEST(Destructive, PersonAtTheTerminalTypesYes) {
    FakeConsole console;
    console.beTerminal();
    console.type("yes");
    auto const result = runCli(overwriteOne(sticks(sizeOfStickOne)), console);
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(
        result.output.starts_with(std::string("Overwrite overwrites data on:\n") + stickOne + "Type yes to allow it: "))
        << result.output;
    EXPECT_EQ(calls().devices, std::vector<std::string>{"DISK\\ONE"});
}

TEST(Destructive, WhatIsOverwrittenIsToldWhereNobodyIsAskedToo) {
    auto const result = runCli(allowed(overwriteOne(sticks(sizeOfStickOne))));
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(
        result.output.starts_with(std::string("Overwrite overwrites data on:\n") + stickOne + "\nPC: Test PC\n"))
        << result.output;
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(kernel::openHandleCount(), 0U); // of the question for the size
}

TEST(Destructive, EveryDiskIsNamedAndWhatIsNotKnownIsSaid) {
    auto arguments = overwriteOne(sticks(R"(, "media": "absent")"));
    arguments.insert(arguments.end(), {"--device", "DISK\\TWO", "--allow-destructive"});
    auto const result = runCli(arguments);
    EXPECT_TRUE(contains(result.output, "  Stick One: size unknown, serial number 4C531001\n")) << result.output;
    EXPECT_TRUE(contains(result.output, "  Stick Two: 32.0 GB (32,017,047,552 bytes), no serial number\n"
                                        "    identifier  DISK\\TWO\n"
                                        "    OS locator  \\\\.\\PhysicalDrive2\n"))
        << result.output;
}

TEST(Destructive, DisksNameCannotSteerTheTerminal) {
    std::string const pc = pcFile(R"({"port": 1, "protocols": ["2.0"], "speed": "high", "device": {"instanceId":
        "USB\\ONE", "disk": {"instanceId": "DISK\\ONE", "name": "a\u001b[2Jb", "serialNumber": "\u001b[2J\u0000"}}})");
    auto const result = runCli(allowed(overwriteOne(pc)));
    EXPECT_EQ(result.code, 0);
    EXPECT_FALSE(contains(result.output, "\x1b"));
}

TEST(Destructive, HostIsToldOnTheErrorStreamAlone) {
    std::string const pc = sticks();
    auto silent = allowed(overwriteOne(pc));
    silent.insert(silent.end(), {"--format", "jsonl"});
    auto const nothingToTell = runCli(silent);
    EXPECT_TRUE(nothingToTell.output.starts_with(R"({"type":"run")"));
    EXPECT_EQ(nothingToTell.errors, "");

    auto warned = allowed(rewriteOne(pc, {"PerformWritePerformance=true", "PreserveAndRestoreData=true"}));
    warned.insert(warned.end(), {"--format", "jsonl"});
    auto const result = runCli(warned);
    EXPECT_TRUE(result.output.starts_with(R"({"type":"run")"));
    EXPECT_EQ(result.errors,
              "nuvrusb: PreserveAndRestoreData is set without PromptEnable, so nothing is preserved: what is "
              "overwritten is lost. Set PromptEnable=true to have it backed up and put back.\n");
}

struct Fate {
    std::vector<std::string> settings;
    std::string headline;
    std::string note;
    bool isWarning; // goes to the error stream where nobody is asked
};

std::vector<Fate> fates() {
    std::string const overwrites = "Rewrite overwrites data on:\n";
    std::string const reads = "Rewrite can overwrite data. It runs on:\n";
    std::string const onlyReads =
        "PerformWritePerformance is not true, so the test only reads: nothing is overwritten.";
    std::string const lost = "The data that is overwritten is lost. Set PreserveAndRestoreData=true and "
                             "PromptEnable=true to have it backed up and put back.";
    return {
        {{}, reads, onlyReads, false},
        {{"PerformWritePerformance=false", "PreserveAndRestoreData=true"}, reads, onlyReads, false},
        {{"PerformWritePerformance=true"}, overwrites, lost, true},
        {{"PerformWritePerformance=true", "PromptEnable=true"}, overwrites, lost, true},
        {{"PerformWritePerformance=true", "PreserveAndRestoreData=false", "PromptEnable=true"}, overwrites, lost, true},
        {{"PerformWritePerformance=true", "PreserveAndRestoreData=true"},
         overwrites,
         "PreserveAndRestoreData is set without PromptEnable, so nothing is preserved: what is overwritten is lost. "
         "Set "
         "PromptEnable=true to have it backed up and put back.",
         true},
        {{"PerformWritePerformance=true", "PreserveAndRestoreData=true", "PromptEnable=false"},
         overwrites,
         "PreserveAndRestoreData is set without PromptEnable, so nothing is preserved: what is overwritten is lost. "
         "Set "
         "PromptEnable=true to have it backed up and put back.",
         true},
        {{"PerformWritePerformance=true", "PreserveAndRestoreData=true", "PromptEnable=true"},
         overwrites,
         "What is overwritten is backed up and put back, piece by piece. Do not unplug the device meanwhile; Ctrl+C "
         "stops "
         "the test after the piece in hand.",
         false},
    };
}

TEST(Destructive, WhatBecomesOfTheDataIsToldBeforeTheQuestion) {
    for (Fate const & fate : fates()) {
        FakeConsole console;
        console.beTerminal(300);
        console.type("no");
        auto const result = runCli(rewriteOne(sticks(sizeOfStickOne), fate.settings), console);
        EXPECT_EQ(result.output, fate.headline + stickOne + fate.note + "\nType yes to allow it: ");
        EXPECT_FALSE(contains(result.errors, fate.note));
    }
}

TEST(Destructive, WarningGoesToTheErrorStreamWhereNobodyIsAsked) {
    for (Fate const & fate : fates()) {
        auto arguments = allowed(rewriteOne(sticks(sizeOfStickOne), fate.settings));
        arguments.insert(arguments.end(), {"--answer", "yes"});
        auto const result = runCli(arguments);
        EXPECT_EQ(result.code, 0);
        EXPECT_TRUE(result.output.starts_with(fate.headline + stickOne + (fate.isWarning ? "" : fate.note + "\n") +
                                              "\nPC: Test PC\n"))
            << result.output;
        EXPECT_EQ(result.errors, fate.isWarning ? "nuvrusb: " + fate.note + "\n" : "");
    }
}

TEST(Destructive, QuestionThatWillBeDeclinedIsToldOf) {
    std::vector<std::string> const preserve{"PerformWritePerformance=true", "PreserveAndRestoreData=true",
                                            "PromptEnable=true"};
    // Without a terminal nobody is there to say anything but no.
    auto const result = runCli(allowed(rewriteOne(sticks(), preserve)));
    EXPECT_EQ(result.errors, "nuvrusb: The test asks before it overwrites anything, and that question will be answered "
                             "with no. --answer yes answers it with yes.\n");
}

TEST(Destructive, NoteIsWrappedAtTheTerminal) {
    FakeConsole console;
    console.beTerminal(60);
    auto const result = runCli(rewriteOne(sticks(), {"PerformWritePerformance=true"}), console);
    EXPECT_TRUE(contains(result.output, "The data that is overwritten is lost. Set\n"
                                        "PreserveAndRestoreData=true and PromptEnable=true to have it\n"
                                        "backed up and put back.\n"))
        << result.output;
}

TEST(Destructive, NothingIsOverwrittenWhereTheSummaryIsLost) {
    FakeConsole console;
    console.loseOutputAfter(0);
    EXPECT_EQ(runCli(allowed(overwriteOne(sticks())), console).code, 8);
    EXPECT_TRUE(calls().devices.empty());
}

TEST(Destructive, RunThatDestroysNothingHasNoSummary) {
    auto const result = runCli({"run", "WholeBus", "--machine", sticks()});
    EXPECT_TRUE(result.output.starts_with("PC: Test PC\n"));
}

TEST(Destructive, SizesAreThoseOnTheLabel) {
    EXPECT_EQ(tkit5::sizeText(0), "0 bytes");
    EXPECT_EQ(tkit5::sizeText(999), "999 bytes");
    EXPECT_EQ(tkit5::sizeText(1474560), "1.5 MB (1,474,560 bytes)");
    EXPECT_EQ(tkit5::sizeText(10240), "10.2 kB (10,240 bytes)");
    EXPECT_EQ(tkit5::sizeText(16012804096), "16.0 GB (16,012,804,096 bytes)");
    EXPECT_EQ(tkit5::sizeText(2000398934016), "2.0 TB (2,000,398,934,016 bytes)");
}

TEST(Destructive, AnythingButYesRunsNothing) {
    for (std::string const answer : {"", "y", "no", "YES please"}) {
        FakeConsole console;
        console.beTerminal();
        console.type(answer);
        auto const result = runCli(overwriteOne(sticks()), console);
        EXPECT_EQ(result.code, 8) << answer;
        EXPECT_EQ(result.errors, "nuvrusb: Nothing was run, since nobody typed yes.\n");
        EXPECT_TRUE(calls().devices.empty()) << answer;
    }
}

TEST(Destructive, StopOrEndOfInputAtTheQuestionRunsNothing) {
    FakeConsole ended;
    ended.beTerminal();
    EXPECT_EQ(runCli(overwriteOne(sticks()), ended).code, 8);

    FakeConsole stopped;
    stopped.beTerminal();
    stopped.keepOpen();
    stopped.stopWhenRead();
    EXPECT_EQ(runCli(overwriteOne(sticks()), stopped).code, 8);
    EXPECT_TRUE(calls().devices.empty());
}

TEST(Destructive, AnswerYesToMessageBoxesIsNoPermission) {
    auto arguments = overwriteOne(sticks());
    arguments.insert(arguments.end(), {"--answer", "yes"});
    EXPECT_EQ(runCli(arguments).code, 5);
    EXPECT_TRUE(calls().devices.empty());
}

TEST(Destructive, SystemDriveIsNeverOverwritten) {
    auto arguments = overwriteOne(sticks(R"(, "system": true)"));
    arguments.emplace_back("--allow-destructive");
    auto const result = runCli(arguments);
    EXPECT_EQ(result.code, 5);
    EXPECT_NE(result.errors.find("the system runs from it, and this test overwrites data"), std::string::npos);
    EXPECT_TRUE(calls().devices.empty());
}

TEST(Destructive, ExcludedDiskIsNotTakenEvenWhenNamed) {
    auto arguments = overwriteOne(sticks(R"(, "application": true)"));
    arguments.emplace_back("--allow-destructive");
    auto const result = runCli(arguments);
    EXPECT_EQ(result.code, 5);
    EXPECT_NE(result.errors.find("its property IsApplicationDrive excludes it"), std::string::npos);
}

TEST(Destructive, OneRefusedDeviceRunsNothingOnTheOthers) {
    auto arguments = overwriteOne(sticks(R"(, "system": true)"));
    arguments.insert(arguments.begin() + 4, {"--device", "DISK\\TWO"});
    arguments.emplace_back("--allow-destructive");
    EXPECT_EQ(runCli(arguments).code, 5);
    EXPECT_TRUE(calls().devices.empty());
}

TEST(Destructive, AmbiguousNameIsRefused) {
    std::string const pc = pcFile(R"({"port": 1, "protocols": ["2.0"], "speed": "high", "device": {"instanceId":
        "USB\\ONE", "disk": {"instanceId": "DISK\\TWIN"}}}, {"port": 2, "protocols": ["2.0"], "speed": "high", "device":
        {"instanceId": "USB\\TWO", "disk": {"instanceId": "DISK\\TWIN"}}})");
    auto const ambiguous =
        runCli({"run", "Overwrite", "--machine", pc, "--device", "DISK\\TWIN", "--allow-destructive"});
    EXPECT_EQ(ambiguous.code, 5);
    EXPECT_NE(ambiguous.errors.find("by its OS locator"), std::string::npos);
    EXPECT_TRUE(calls().devices.empty());

    auto const exact =
        runCli({"run", "Overwrite", "--machine", pc, "--device", "\\\\.\\PhysicalDrive2", "--allow-destructive"});
    EXPECT_EQ(exact.code, 0);
    EXPECT_EQ(calls().devices.size(), 1U);
}

} // namespace
} // namespace test
