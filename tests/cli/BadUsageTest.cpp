// Whatever is wrong with a command line: one clear message on the error stream, the exit code, and nothing run.
#include "CliRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>

namespace test {
namespace {

struct BadLine {
    std::vector<std::string> arguments;
    std::string message; // after "nuvrusb: "
};

void PrintTo(BadLine const & line, std::ostream * stream) {
    for (std::string const & argument : line.arguments) {
        *stream << argument << ' ';
    }
}

class BadUsage : public testing::TestWithParam<BadLine> {};

TEST_P(BadUsage, IsRefusedWithAMessageThatSaysWhatToType) {
    auto const result = runCli(GetParam().arguments);
    EXPECT_EQ(result.errors.substr(0, result.errors.find('\n')), "nuvrusb: " + GetParam().message);
    EXPECT_EQ(result.code, 5);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(calls().devices.empty());
}

std::vector<BadLine> const badLines{
    {{"tpology"},
     "There is no command 'tpology'. Did you mean 'topology'? The commands are tests, devices, topology, run, "
     "recover."},
    {{"help"}, "There is no command 'help'. The commands are tests, devices, topology, run, recover."},
    {{"--format", "text"}, "A command is missing. The commands are tests, devices, topology, run, recover."},
    {{"run", "WholeBus", "--journal", ""}, "The option --journal needs the name of a folder."},
    {{"run", "WholeBus", "--journal", "x", "--no-journal"},
     "The options --journal and --no-journal exclude each other. Give one of them."},
    {{"recover", "--no-journal"}, "The option --no-journal belongs to the command run: type it after 'nuvrusb run'."},
    {{"run", "WholeBus", "--discard"},
     "The option --discard belongs to the command recover: type it after 'nuvrusb recover'."},
    {{"recover", "--device", "nothing"}, "There is no device 'nothing' in this PC. 'nuvrusb devices' lists them."},
    {{"run"}, "The command run needs the name of a test. 'nuvrusb tests' lists them."},
    {{"run", ""}, "The command run needs the name of a test. 'nuvrusb tests' lists them."},
    {{"run", "", "--format", "jsonl"}, "The command run needs the name of a test. 'nuvrusb tests' lists them."},
    {{"run", "--", ""}, "The command run needs the name of a test. 'nuvrusb tests' lists them."},
    {{"run", "--set", "a=b", ""}, "The command run needs the name of a test. 'nuvrusb tests' lists them."},
    {{"devices", "--test", ""}, "The option --test needs the name of a test."},
    {{"run", "WholeBus", "PortTest"}, "The command run takes one test, but 'PortTest' stands behind 'WholeBus'."},
    {{"topology", "extra"}, "The command topology does not take 'extra'."},
    {{"run", "WholeBuss"}, "There is no test 'WholeBuss'. Did you mean 'WholeBus'? 'nuvrusb tests' lists the tests."},
    {{"run", "wholebus"}, "There is no test 'wholebus'. Did you mean 'WholeBus'? 'nuvrusb tests' lists the tests."},
    {{"devices", "--test", "Nothing"}, "There is no test 'Nothing'. 'nuvrusb tests' lists the tests."},
    {{"run", "WholeBus", "--devcie", "X"},
     "There is no option '--devcie' of the command run. Did you mean '--device'?"},
    {{"--machin", "x", "tests"}, "There is no option '--machin' of the command tests. Did you mean '--machine'?"},
    {{"topology", "--set", "a=1"}, "The option --set belongs to the command run: type it after 'nuvrusb run'."},
    {{"--device", "X", "run", "WholeBus"},
     "The option --device belongs to the commands run and recover: type it after 'nuvrusb run' or 'nuvrusb "
     "recover'."},
    {{"tests", "--journal", "x"},
     "The option --journal belongs to the commands run and recover: type it after 'nuvrusb run' or 'nuvrusb "
     "recover'."},
    {{"devices", "--allow-destructive"},
     "The option --allow-destructive belongs to the commands run and recover: type it after 'nuvrusb run' or 'nuvrusb "
     "recover'."},
    {{"tests", "--format", "json"}, "The option --format takes text or jsonl, not 'json'."},
    {{"tests", "--format", "text", "--format", "jsonl"}, "The option --format is given 2 times. Give it once."},
    {{"tests", "--answer", "maybe"}, "The option --answer takes ask, yes or no, not 'maybe'."},
    {{"tests", "--log-level", "9"}, "The option --log-level takes 1, 2, 3 or 4, not '9'."},
    {{"tests", "--log-level", "0"}, "The option --log-level takes 1, 2, 3 or 4, not '0'."},
    {{"tests", "--machine"}, "The option --machine needs a value."},
    {{"tests", "--machine", ""}, "The option --machine needs the name of a file."},
    {{"tests", "--no-color=never"}, "The option --no-color takes no value."},
    {{"tests", "--no-color=1"}, "The option --no-color takes no value."},
    {{"tests", "--no-color=true"}, "The option --no-color takes no value."},
    {{"tests", "--no-color="}, "The option --no-color takes no value."},
    {{"--machine", "--no-color=1", "tests", "--help=true"}, "The option --help takes no value."},
    {{"run", "WholeBus", "--allow-destructive=true"}, "The option --allow-destructive takes no value."},
    {{"recover", "--dry-run=true"}, "The option --dry-run takes no value."},
    {{"run", "WholeBus", "--set", "Count"}, "The option --set takes NAME=VALUE, not 'Count'."},
    {{"run", "WholeBus", "--set", "=5"}, "The option --set takes NAME=VALUE, not '=5'."},
    {{"run", "WholeBus", "--set", "Count=1", "--set", "Count=2"}, "The parameter Count is set twice. Set it once."},
    {{"run", "WholeBus", "--set", "Cuont=1"},
     "WholeBus has no parameter 'Cuont'. Did you mean 'Count'? 'nuvrusb tests' lists its parameters."},
    {{"run", "WholeBus", "--set", "count=1"},
     "WholeBus has no parameter 'count'. Did you mean 'Count'? 'nuvrusb tests' lists its parameters."},
    {{"run", "WholeBus", "--set", "Flag=true"},
     "WholeBus has no parameter 'Flag'. 'nuvrusb tests' lists its parameters."},
    {{"run", "Overwrite", "--set", "Count=1"}, "Overwrite has no parameter 'Count'. It has no parameters at all."},
    {{"run", "WholeBus", "--set", "Count=abc"}, "Count takes a whole number from 0 to 4294967295, not 'abc'."},
    {{"run", "PortTest", "--set", "Flag=maybe"}, "Flag takes true or false, not 'maybe'."},
    {{"run", "PortTest", "--set", "Share=nan"}, "Share takes a percentage such as 80 or 79.5%, not 'nan'."},
    {{"run", "WholeBus", "--device", "USB-PORT"},
     "There is no device 'USB-PORT' in this PC. Did you mean 'USB-PORTS'? 'nuvrusb devices' lists them."},
    {{"run", "PortTest", "--device", "USB-PORTS"},
     "PortTest does not take the device USB-PORTS: it lacks the capability USB. 'nuvrusb devices --test PortTest' "
     "lists those that it takes."},
    {{"run", "WholeBus", "--device", "USB-PORTS", "--device", ""},
     "There is no device '' in this PC. 'nuvrusb devices' lists them."},
    {{"topology", "--machine", "."}, ".: this is a folder; expected the file of a described PC."},
    {{"run", "WholeBus", "--log-file", "no/such/folder/log"},
     "The file no/such/folder/log cannot be created for writing. Name one in a folder that exists and may be written "
     "to."},
    {{"run", "WholeBus", "--trace-io", "."},
     "The file . cannot be created for writing. Name one in a folder that exists and may be written to."},
    {{"run", "WholeBus", "--log-file", "both", "--trace-io", "./both"},
     "The file ./both is named for two purposes. Name two files."},
};

INSTANTIATE_TEST_SUITE_P(Lines, BadUsage, testing::ValuesIn(badLines));

TEST(Usage, NoArgumentsShowTheHelpOnTheErrorStream) {
    auto const result = runCli({});
    EXPECT_EQ(result.code, 5);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(result.errors.starts_with("nuvrusb finds out whether the USB side of a PC works.\n"));
    EXPECT_NE(result.errors.find("nuvrusb run TEST"), std::string::npos);
}

TEST(Usage, HelpOfTheCommandIsPointedTo) {
    auto const lastLine = [](std::vector<std::string> const & arguments) {
        std::string const errors = runCli(arguments).errors;
        return errors.substr(errors.find('\n') + 1);
    };
    EXPECT_EQ(lastLine({"run", "WholeBus", "--devcie", "X"}), "Type 'nuvrusb run --help' for help.\n");
    EXPECT_EQ(lastLine({"recover", "--dry-run=1"}), "Type 'nuvrusb recover --help' for help.\n");
    EXPECT_EQ(lastLine({"devices", "--test"}), "Type 'nuvrusb devices --help' for help.\n");
    EXPECT_EQ(lastLine({"tpology"}), "Type 'nuvrusb --help' for help.\n");
}

TEST(Usage, HelpIsNoMistake) {
    auto const result = runCli({"run", "--help"});
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(result.output.starts_with("Usage: nuvrusb run TEST"));
    EXPECT_EQ(result.errors, "");
}

TEST(Usage, VersionIsWhatTheModuleDeclared) {
    auto const result = runCli({"--version"});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.output, "nuvrusb 6.5 build 000000001\n");
}

TEST(Usage, DescribedPcIsNotOverwrittenByALog) {
    std::string const pc = pcFile("");
    std::string const before = contentsOf(pc);
    auto const result = runCli({"run", "WholeBus", "--machine", pc, "--log-file", pc});
    EXPECT_EQ(result.code, 5);
    EXPECT_EQ(contentsOf(pc), before);
}

TEST(Usage, BadDescriptionIsRefusedWithItsJsonPath) {
    std::string const pc = temporaryFile(".json", R"({"name": "PC", "controllers": [{"instanceId": 5}]})");
    auto const result = runCli({"run", "WholeBus", "--machine", pc});
    EXPECT_EQ(result.code, 5);
    EXPECT_TRUE(result.errors.starts_with("nuvrusb: " + pc + ": ")) << result.errors;
    EXPECT_NE(result.errors.find("/controllers/0"), std::string::npos) << result.errors;
    EXPECT_TRUE(calls().devices.empty());
}

TEST(Usage, WhatABadDescriptionHoldsDoesNotSteerTheTerminal) {
    std::string const pc = temporaryFile(".json", R"({"name": "PC", "a\nb\u001b[31m": 1})");
    auto const result = runCli({"run", "WholeBus", "--machine", pc});
    EXPECT_EQ(result.code, 5);
    EXPECT_TRUE(result.errors.starts_with("nuvrusb: " + pc + ": /a b\xEF\xBF\xBD[31m: unknown here; "))
        << result.errors;
    EXPECT_EQ(std::ranges::count(result.errors, '\n'), 1);
}

TEST(Usage, TestWithoutAnEntryCannotRun) {
    auto const result = runCli({"run", "Absent"});
    EXPECT_EQ(result.code, 6);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "nuvrusb: This version declares Absent but does not carry it, so it cannot be run.\n");
}

} // namespace
} // namespace test
