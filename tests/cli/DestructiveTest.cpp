// Data is overwritten only where somebody said so.
#include "CliRun.h"

#include <gtest/gtest.h>

namespace test {
namespace {

std::string sticks(std::string const & diskMore = "") {
    return pcFile(R"({"port": 1, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\ONE",
        "disk": {"instanceId": "DISK\\ONE", "name": "Stick One")" +
                  diskMore + R"(}}},
        {"port": 2, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\TWO",
        "disk": {"instanceId": "DISK\\TWO", "name": "Stick Two"}}})");
}

std::vector<std::string> overwriteOne(std::string const & pc) {
    return {"run", "Overwrite", "--machine", pc, "--device", "DISK\\ONE"};
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
    auto const result = runCli(overwriteOne(sticks()), console);
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(result.output.starts_with("Overwrite overwrites data on:\n  Stick One (\\\\.\\PhysicalDrive1)\n"
                                          "Type yes to allow it: "))
        << result.output;
    EXPECT_EQ(calls().devices, std::vector<std::string>{"DISK\\ONE"});
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
