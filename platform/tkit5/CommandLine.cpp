#include "CommandLine.h"

#include "Locale.h"
#include "Suggest.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <span>
#include <utility>

namespace tkit5 {

namespace {

constexpr std::array allCommands = {Command::Tests, Command::Devices, Command::Topology, Command::Run,
                                    Command::Recover};

std::vector<std::string> commandNames() {
    std::vector<std::string> names;
    std::ranges::transform(allCommands, std::back_inserter(names), commandName);
    return names;
}

// Every option takes all values that it is given, so that a repeated one is noticed here, in the program's own words.
using Values = std::vector<std::string>;

struct Words {
    Values machine, format, answer, logLevel, logFile, traceFile, language;
    bool noColor = false;
    bool help = false;
    bool version = false;

    Values devicesTest;
    Values runTests, devices, runSettings;
    Values journal;
    bool allowDestructive = false;
    bool noJournal = false;
    bool dryRun = false;
    bool discard = false;
};

// The grammar. The parser only sorts words into options and the rest; what they mean is judged afterwards.
class Grammar {
public:
    Grammar() : app_("nuvrusb") {
        prepare(app_);
        app_.require_subcommand(0, 1);
        for (Command const command : allCommands) {
            CLI::App * const sub = app_.add_subcommand(commandName(command));
            prepare(*sub);
            sub->fallthrough(); // global options may follow the command
            subcommands_[command] = sub;
        }
        option(app_, "--machine", given.machine);
        option(app_, "--format", given.format);
        option(app_, "--answer", given.answer);
        option(app_, "--log-level", given.logLevel);
        option(app_, "--log-file", given.logFile);
        option(app_, "--trace-io", given.traceFile);
        option(app_, "--language", given.language);
        flag(app_, "--no-color", given.noColor);
        flag(app_, "--help,-h", given.help);
        flag(app_, "--version", given.version);

        option(*subcommands_[Command::Devices], "--test", given.devicesTest);
        CLI::App & run = *subcommands_[Command::Run];
        run.add_option("TEST", given.runTests)->expected(-1);
        option(run, "--set", given.runSettings);
        flag(run, "--no-journal", given.noJournal);
        CLI::App & recover = *subcommands_[Command::Recover];
        flag(recover, "--dry-run", given.dryRun);
        flag(recover, "--discard", given.discard);
        for (CLI::App * const sub : {&run, &recover}) {
            option(*sub, "--device", given.devices);
            option(*sub, "--journal", given.journal);
            flag(*sub, "--allow-destructive", given.allowDestructive);
        }
    }

    void parse(std::vector<std::string> arguments) {
        std::ranges::reverse(arguments); // the parser takes them from the back
        app_.parse(std::move(arguments));
    }

    std::optional<Command> command() const {
        auto const found =
            std::ranges::find_if(subcommands_, [](auto const & entry) { return entry.second->parsed(); });
        return found == subcommands_.end() ? std::nullopt : std::optional(found->first);
    }

    std::vector<std::string> unknownWords() const {
        std::vector<std::string> words = app_.remaining(true);
        std::erase(words, "--"); // it only ends the options
        return words;
    }

    // The options that may be given with a command, or without one.
    std::vector<std::string> optionNames(std::optional<Command> command) const {
        std::vector<std::string> names = optionNames(app_);
        if (command) {
            std::ranges::copy(optionNames(*subcommands_.at(*command)), std::back_inserter(names));
        }
        return names;
    }

    // The commands that an option belongs to.
    std::vector<Command> ownersOf(std::string const & optionName) const {
        std::vector<Command> owners;
        for (auto const & [command, sub] : subcommands_) {
            if (std::ranges::count(optionNames(*sub), optionName) != 0) {
                owners.push_back(command);
            }
        }
        return owners;
    }

    // The first flag with a value, of any command. The parser would take some values for a flag.
    std::optional<std::string> flagWithValue(std::vector<std::string> const & arguments) const {
        bool isValue = false; // of the option before
        for (std::string const & word : arguments) {
            if (std::exchange(isValue, false)) {
                continue;
            }
            if (word == "--") {
                break;
            }
            std::size_t const equals = word.find('=');
            std::string const name = word.substr(0, equals);
            CLI::Option const * const option = name.starts_with("--") ? findOption(name) : nullptr;
            if (option == nullptr) {
                continue;
            }
            if (option->get_items_expected_max() != 0) {
                isValue = equals >= word.size() - 1; // after an empty one the parser takes the next word
            } else if (equals != std::string::npos) {
                return name;
            }
        }
        return std::nullopt;
    }

    Words given;

private:
    static void prepare(CLI::App & app) {
        app.set_help_flag();
        app.allow_extras();
        app.allow_windows_style_options(false); // so that the same words mean the same on every system
    }

    static void option(CLI::App & app, char const * name, Values & values) {
        app.add_option(name, values)->allow_extra_args(false)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    }

    static void flag(CLI::App & app, char const * name, bool & given) { app.add_flag(name, given); }

    CLI::Option const * findOption(std::string const & name) const {
        CLI::Option const * option = app_.get_option_no_throw(name);
        for (auto const & [command, sub] : subcommands_) {
            option = option != nullptr ? option : std::as_const(*sub).get_option_no_throw(name);
        }
        return option;
    }

    static std::vector<std::string> optionNames(CLI::App const & app) {
        std::vector<std::string> names;
        for (CLI::Option const * option : app.get_options()) {
            for (std::string const & name : option->get_lnames()) {
                names.push_back("--" + name);
            }
        }
        return names;
    }

    CLI::App app_;
    std::map<Command, CLI::App *> subcommands_;
};

UsageError unknownWord(Grammar const & grammar, std::string const & word) {
    std::optional<Command> const command = grammar.command();
    if (!word.starts_with('-')) {
        if (!command) {
            auto const names = commandNames();
            return {fmt::format("There is no command '{}'.{} The commands are {}.", word, didYouMean(word, names),
                                fmt::join(names, ", "))};
        }
        return {fmt::format("The command {} does not take '{}'.", commandName(*command), word)};
    }
    std::string const name = word.substr(0, word.find('='));
    if (auto const owners = grammar.ownersOf(name); !owners.empty()) {
        std::vector<std::string> names;
        std::ranges::transform(owners, std::back_inserter(names), commandName);
        return {fmt::format("The option {} belongs to the command{} {}: type it after 'nuvrusb {}'.", name,
                            names.size() == 1 ? "" : "s", fmt::join(names, " and "),
                            fmt::join(names, "' or 'nuvrusb "))};
    }
    return {fmt::format("There is no option '{}'{}.{}", name,
                        command ? fmt::format(" of the command {}", commandName(*command)) : "",
                        didYouMean(name, grammar.optionNames(command)))};
}

// "a, b or c"
std::string alternatives(std::vector<std::string> const & words) {
    return fmt::format("{} or {}", fmt::join(words.begin(), words.end() - 1, ", "), words.back());
}

// Reads one option after the other; the first thing wrong stays.
class OptionReader {
public:
    std::optional<std::string> single(char const * name, Values const & values) {
        if (values.size() > 1) {
            fail(fmt::format("The option {} is given {} times. Give it once.", name, values.size()));
        }
        return values.empty() ? std::nullopt : std::optional(values.front());
    }

    std::optional<std::string> name(char const * name, Values const & values, char const * what) {
        auto value = single(name, values);
        if (value && value->empty()) {
            fail(fmt::format("The option {} needs the name of a {}.", name, what));
        }
        return value;
    }

    // The index of the value among the words that the option takes.
    std::optional<std::size_t> choice(char const * name, Values const & values,
                                      std::vector<std::string> const & words) {
        auto const value = single(name, values);
        if (!value) {
            return std::nullopt;
        }
        auto const found = std::ranges::find(words, *value);
        if (found == words.end()) {
            fail(fmt::format("The option {} takes {}, not '{}'.", name, alternatives(words), *value));
            return std::nullopt;
        }
        return static_cast<std::size_t>(found - words.begin());
    }

    std::vector<std::pair<std::string, std::string>> settings(Values const & words) {
        std::vector<std::pair<std::string, std::string>> settings;
        for (std::string const & word : words) {
            std::size_t const equals = word.find('=');
            std::string const name = word.substr(0, equals);
            if (equals == std::string::npos || name.empty()) {
                fail(fmt::format("The option --set takes NAME=VALUE, not '{}'.", word));
            } else if (std::ranges::count(settings, name, &std::pair<std::string, std::string>::first) != 0) {
                fail(fmt::format("The parameter {} is set twice. Set it once.", name));
            } else {
                settings.emplace_back(name, word.substr(equals + 1));
            }
        }
        return settings;
    }

    void fail(std::string message) {
        if (!error_) {
            error_ = UsageError{std::move(message)};
        }
    }

    std::optional<UsageError> const & error() const { return error_; }

private:
    std::optional<UsageError> error_;
};

Invocation readWords(Command command, Words const & words) {
    OptionReader reader;
    Options options;
    options.command = command;
    options.machine = reader.name("--machine", words.machine, "file");
    options.logFile = reader.name("--log-file", words.logFile, "file");
    options.traceFile = reader.name("--trace-io", words.traceFile, "file");
    options.language = reader.single("--language", words.language);
    if (options.language && !Locale::isKnown(*options.language)) {
        reader.fail(fmt::format("The option --language takes {}, not '{}'.", alternatives(Locale::languages()),
                                *options.language));
    }
    options.noColor = words.noColor;
    options.allowDestructive = words.allowDestructive;
    options.journal = reader.name("--journal", words.journal, "folder");
    options.noJournal = words.noJournal;
    options.dryRun = words.dryRun;
    options.discard = words.discard;
    if (options.journal && options.noJournal) {
        reader.fail("The options --journal and --no-journal exclude each other. Give one of them.");
    }
    for (std::string const & device : words.devices) {
        if (std::ranges::count(options.devices, device) == 0) {
            options.devices.push_back(device);
        }
    }
    if (auto const format = reader.choice("--format", words.format, {"text", "jsonl"})) {
        options.format = std::array{Format::Text, Format::Jsonl}[*format];
    }
    if (auto const answer = reader.choice("--answer", words.answer, {"ask", "yes", "no"})) {
        options.answer = std::array{AnswerPolicy::Ask, AnswerPolicy::Yes, AnswerPolicy::No}[*answer];
    }
    if (auto const level = reader.choice("--log-level", words.logLevel, {"1", "2", "3", "4"})) {
        options.logLevel = static_cast<int>(*level) + 1;
    }

    if (command == Command::Run) {
        if (words.runTests.empty() || words.runTests.front().empty()) {
            reader.fail("The command run needs the name of a test. 'nuvrusb tests' lists them.");
        } else if (words.runTests.size() > 1) {
            reader.fail(fmt::format("The command run takes one test, but '{}' stands behind '{}'.", words.runTests[1],
                                    words.runTests[0]));
        } else {
            options.test = words.runTests.front();
        }
        options.settings = reader.settings(words.runSettings);
    } else {
        options.test = reader.name("--test", words.devicesTest, "test").value_or("");
    }
    if (reader.error()) {
        return *reader.error();
    }
    return options;
}

} // namespace

char const * commandName(Command command) {
    switch (command) {
    case Command::Tests:
        break;
    case Command::Devices:
        return "devices";
    case Command::Topology:
        return "topology";
    case Command::Run:
        return "run";
    case Command::Recover:
        return "recover";
    }
    return "tests";
}

namespace {

Invocation parsed(Grammar & grammar, std::vector<std::string> const & arguments) {
    std::string wrong;
    try {
        grammar.parse(arguments);
    } catch (CLI::ArgumentMismatch const & mismatch) {
        std::string const text = mismatch.what(); // begins with the option
        wrong = fmt::format("The option {} needs a value.", text.substr(0, text.find_first_of(": ,")));
    } catch (CLI::ParseError const & error) {
        wrong = error.what();
    }
    if (auto const flag = grammar.flagWithValue(arguments)) {
        return UsageError{fmt::format("The option {} takes no value.", *flag)};
    }
    if (!wrong.empty()) {
        return UsageError{wrong};
    }
    if (grammar.given.help) {
        return HelpRequest{grammar.command()};
    }
    if (auto const unknown = grammar.unknownWords(); !unknown.empty()) {
        return unknownWord(grammar, unknown.front());
    }
    if (grammar.given.version) {
        return VersionRequest{};
    }
    if (auto const command = grammar.command()) {
        return readWords(*command, grammar.given);
    }
    if (!arguments.empty()) {
        return UsageError{fmt::format("A command is missing. The commands are {}.", fmt::join(commandNames(), ", "))};
    }
    return NothingAsked{};
}

} // namespace

Invocation parseCommandLine(std::vector<std::string> const & arguments) {
    Grammar grammar;
    Invocation invocation = parsed(grammar, arguments);
    if (auto * const error = std::get_if<UsageError>(&invocation)) {
        error->command = grammar.command();
    }
    return invocation;
}

} // namespace tkit5
