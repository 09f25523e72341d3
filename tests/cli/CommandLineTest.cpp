#include "tkit5/CommandLine.h"
#include "tkit5/CommandLineHelp.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using namespace tkit5;

Options parsed(std::vector<std::string> const & arguments) {
    auto const invocation = parseCommandLine(arguments);
    if (auto const * error = std::get_if<UsageError>(&invocation)) {
        ADD_FAILURE() << error->message;
        return {};
    }
    return std::get<Options>(invocation);
}

TEST(CommandLine, RunTakesItsTestDevicesAndParameters) {
    Options const options =
        parsed({"run", "T", "--device", "A", "--set", "x=1", "--device", "B", "--set", "y=a=b", "--allow-destructive"});
    EXPECT_EQ(options.command, Command::Run);
    EXPECT_EQ(options.test, "T");
    EXPECT_EQ(options.devices, (std::vector<std::string>{"A", "B"}));
    EXPECT_EQ(options.settings, (std::vector<std::pair<std::string, std::string>>{{"x", "1"}, {"y", "a=b"}}));
    EXPECT_TRUE(options.allowDestructive);
}

TEST(CommandLine, OptionsStandBeforeOrAfterTheCommand) {
    for (auto const & arguments : {std::vector<std::string>{"--machine", "pc", "--format", "jsonl", "topology"},
                                   std::vector<std::string>{"topology", "--machine", "pc", "--format=jsonl"}}) {
        Options const options = parsed(arguments);
        EXPECT_EQ(options.command, Command::Topology);
        EXPECT_EQ(options.machine, "pc");
        EXPECT_EQ(options.format, Format::Jsonl);
    }
}

TEST(CommandLine, NothingIsSetThatWasNotAsked) {
    Options const options = parsed({"devices"});
    EXPECT_EQ(options.format, Format::Text);
    EXPECT_FALSE(options.machine || options.answer || options.logLevel || options.logFile || options.traceFile ||
                 options.language || options.noColor || options.allowDestructive);
    EXPECT_EQ(options.test, "");
}

TEST(CommandLine, EveryGlobalOptionArrives) {
    Options const options = parsed({"tests", "--answer", "no", "--log-level", "3", "--log-file", "l", "--trace-io", "t",
                                    "--language", "de", "--no-color"});
    EXPECT_EQ(options.answer, AnswerPolicy::No);
    EXPECT_EQ(options.logLevel, 3);
    EXPECT_EQ(options.logFile, "l");
    EXPECT_EQ(options.traceFile, "t");
    EXPECT_EQ(options.language, "de");
    EXPECT_TRUE(options.noColor);
}

TEST(CommandLine, RecoverTakesItsOptions) {
    Options const options =
        parsed({"recover", "--device", "A", "--dry-run", "--discard", "--journal", "j", "--allow-destructive"});
    EXPECT_EQ(options.command, Command::Recover);
    EXPECT_EQ(options.devices, std::vector<std::string>{"A"});
    EXPECT_TRUE(options.dryRun && options.discard && options.allowDestructive);
    EXPECT_EQ(options.journal, "j");
}

TEST(CommandLine, DeviceNamedTwiceIsNamedOnce) {
    EXPECT_EQ(parsed({"run", "T", "--device", "A", "--device", "A"}).devices, std::vector<std::string>{"A"});
}

TEST(CommandLine, ValueMayLookLikeAnOptionOrACommand) {
    EXPECT_EQ(parsed({"run", "T", "--device", "/dev/x"}).devices, std::vector<std::string>{"/dev/x"});
    EXPECT_EQ(parsed({"run", "topology"}).test, "topology");
    EXPECT_EQ(parsed({"devices", "--machine", "run"}).machine, "run");
}

TEST(CommandLine, ValueMayLookLikeAFlagWithAValue) {
    EXPECT_EQ(parsed({"run", "T", "--set", "--no-color=true"}).settings,
              (std::vector<std::pair<std::string, std::string>>{{"--no-color", "true"}}));
    EXPECT_EQ(parsed({"run", "--", "--no-color=true"}).test, "--no-color=true");
}

TEST(CommandLine, LanguageMayNameARegionToo) {
    EXPECT_EQ(parsed({"tests", "--language", "de-AT"}).language, "de-AT");
    EXPECT_EQ(parsed({"tests", "--language", "EN_us.UTF-8"}).language, "EN_us.UTF-8");
}

TEST(CommandLine, LanguageWithoutTextsIsRefusedWithThoseThatThereAre) {
    for (std::string const language : {"xx", "deutsch", "C", ""}) {
        auto const invocation = parseCommandLine({"tests", "--language", language});
        auto const * error = std::get_if<UsageError>(&invocation);
        ASSERT_NE(error, nullptr) << language;
        EXPECT_EQ(error->message, "The option --language takes en or de, not '" + language + "'.");
    }
}

TEST(CommandLine, DevicesMayAskAboutOneTest) {
    EXPECT_EQ(parsed({"devices", "--test", "T"}).test, "T");
}

TEST(CommandLine, HelpAndVersionNeedNoCommand) {
    EXPECT_EQ(std::get<HelpRequest>(parseCommandLine({"--help"})).command, std::nullopt);
    EXPECT_EQ(std::get<HelpRequest>(parseCommandLine({"run", "-h"})).command, Command::Run);
    EXPECT_TRUE(std::holds_alternative<VersionRequest>(parseCommandLine({"--version"})));
    EXPECT_TRUE(std::holds_alternative<NothingAsked>(parseCommandLine({})));
}

TEST(CommandLine, HelpOfEveryCommandHasExamplesAndTheGlobalOptions) {
    for (auto const command : {Command::Tests, Command::Devices, Command::Topology, Command::Run, Command::Recover}) {
        std::string const help = helpText(command);
        EXPECT_TRUE(help.starts_with(std::string("Usage: nuvrusb ") + commandName(command))) << help;
        EXPECT_NE(help.find("Examples:\n  nuvrusb "), std::string::npos) << help;
        EXPECT_NE(help.find("--trace-io FILE"), std::string::npos) << help;
    }
}

TEST(CommandLine, ExamplesOfTheHelpCanBeTypedInEveryShell) {
    for (auto const command : {Command::Tests, Command::Devices, Command::Topology, Command::Run, Command::Recover}) {
        std::string help = helpText(command);
        std::istringstream examples(help.substr(help.find("Examples:\n") + 10));
        std::size_t count = 0;
        for (std::string line; std::getline(examples, line) && !line.empty(); ++count) {
            EXPECT_TRUE(line.starts_with("  nuvrusb ")) << "a command on several lines: " << line;
            EXPECT_EQ(line.find('\''), std::string::npos) << line;
        }
        EXPECT_GT(count, 0U);
    }
}

// The text in one line, so that it does not matter where it is broken.
std::string unfolded(std::string const & text) {
    std::istringstream words(text);
    std::string line;
    for (std::string word; words >> word;) {
        line += word + ' ';
    }
    return line;
}

TEST(CommandLine, HelpSaysWhatConfirmsThatDataIsOverwritten) {
    EXPECT_NE(unfolded(helpText(Command::Run))
                  .find("It does not confirm that data may be overwritten: that is --allow-destructive"),
              std::string::npos);
}

TEST(CommandLine, HelpNamesTheOnlySpeedThatIsJudged) {
    EXPECT_NE(unfolded(helpText(Command::Run)).find("only the value MAX (in any letter case) has a meaning"),
              std::string::npos);
}

TEST(CommandLine, HelpTellsOfEveryLanguage) {
    EXPECT_NE(unfolded(helpText(std::nullopt)).find("language of the messages of a test: en or de."),
              std::string::npos);
}

} // namespace
