#include "Commands.h"

#include "DestructiveSummary.h"
#include "JournalUse.h"
#include "JsonlReporter.h"
#include "ListingsJsonl.h"
#include "Locale.h"
#include "LogFile.h"
#include "Names.h"
#include "OutputFile.h"
#include "RecoverCommand.h"
#include "RunLoop.h"
#include "Suggest.h"
#include "TextLayout.h"
#include "TextReporter.h"
#include "host/Startup.h"
#include "kernel/Runtime.h"
#include "machine/Text.h"
#include "machine/TracingMachine.h"
#include "nuv.h"
#include "nuv/LogSink.h"
#include "terminal/Process.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace tkit5 {

namespace {

constexpr int everything = 1; // the log level that leaves nothing out

std::string environment(char const * name) {
    char const * const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

// The language of the environment, most specific first, else the one that the user chose for the system.
std::string systemLanguage() {
    for (char const * name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (std::string value = environment(name); !value.empty()) {
            return value;
        }
    }
    return terminal::userLanguage();
}

// Whether the name leads to the file or block device with the bytes of a disk. A device goes by its path: of devices
// no more than that can be told.
bool isImage(std::string const & name, std::string const & image) {
    auto const whole = [](std::string const & utf8) {
        std::error_code failure;
        auto path = std::filesystem::weakly_canonical(std::u8string(utf8.begin(), utf8.end()), failure);
        return failure ? std::filesystem::path() : path;
    };
    return isSameFile(name, image) || (!whole(name).empty() && whole(name) == whole(image));
}

class LogPriority {
public:
    explicit LogPriority(std::optional<int> priority) : before_(nuv::LogFactory::getPriority()) {
        if (priority) {
            nuv::setLogPriority(*priority);
        }
    }
    LogPriority(LogPriority const &) = delete;
    LogPriority & operator=(LogPriority const &) = delete;
    ~LogPriority() { nuv::setLogPriority(before_); }

private:
    int before_;
};

class CommandRunner {
public:
    CommandRunner(Options const & options, terminal::Console & console)
        : options_(options), console_(console), lines_(console), journal_(options, console) {}

    int run() {
        if (auto const refusal = prepare()) {
            // It may quote a description, whose texts are as they came.
            console_.writeError(fmt::format("{}: {}\n", programName, printable(refusal->message)));
            return refusal->result.value();
        }
        std::optional<machine::TracingMachine> tracing;
        if (traceFile_) {
            traceFile_->begin(); // the trace begins with the reading of the bus
            tracing.emplace(*pc_.machine, traceFile_->stream());
        }
        int const code = runOnMachine(tracing ? &*tracing : pc_.machine.get());
        tracing.reset();
        if (options_.command != Command::Tests) {
            tellOfSilentHubs();
        }
        complainOfLoss(logFile_);
        complainOfLoss(traceFile_);
        return code;
    }

private:
    static Refusal wrongUsage(std::string message) { return {std::move(message), TestResult::BADPARAMS()}; }

    std::optional<Refusal> prepare() {
        if (auto refusal = findTest()) {
            return refusal;
        }
        if (options_.command != Command::Tests || options_.machine) {
            auto opened = host::openPc(options_.machine);
            if (auto const * error = std::get_if<host::PcError>(&opened)) {
                return wrongUsage(error->message);
            }
            pc_ = std::move(std::get<host::Pc>(opened));
        }
        return openFiles();
    }

    std::optional<Refusal> findTest() {
        if (options_.test.empty()) {
            return std::nullopt;
        }
        test_ = Registry::instance().findTest(options_.test);
        if (test_ == nullptr) {
            std::vector<std::string> names;
            for (auto const & test : Registry::instance().tests) {
                names.push_back(test->name);
            }
            return wrongUsage(fmt::format("There is no test '{}'.{} 'nuvrusb tests' lists the tests.", options_.test,
                                          didYouMean(options_.test, names)));
        }
        if (options_.command != Command::Run) {
            return std::nullopt;
        }
        if (test_->entry == nullptr) {
            return Refusal{
                fmt::format("This version declares {} but does not carry it, so it cannot be run.", test_->name),
                TestResult::CANNOTRUN()};
        }
        std::string const wrong = parameters_.set(*test_, options_.settings);
        return wrong.empty() ? std::nullopt : std::optional(wrongUsage(wrong));
    }

    static std::string twoPurposes(std::string const & file) {
        return fmt::format("The file {} is named for two purposes. Name two files.", file);
    }

    std::optional<Refusal> openFiles() {
        std::optional<std::string> const * const names[] = {&options_.machine, &options_.logFile, &options_.traceFile};
        auto const namedTwice = [&names]() -> std::optional<Refusal> {
            for (std::size_t later = 1; later < std::size(names); ++later) {
                for (std::size_t earlier = 0; earlier < later; ++earlier) {
                    if (*names[earlier] && *names[later] && isSameFile(**names[earlier], **names[later])) {
                        return wrongUsage(twoPurposes(**names[later]));
                    }
                }
            }
            return std::nullopt;
        };
        for (auto const * const name : {&options_.logFile, &options_.traceFile}) {
            if (*name &&
                std::ranges::any_of(pc_.images, [&](std::string const & image) { return isImage(**name, image); })) {
                return wrongUsage(twoPurposes(**name));
            }
        }
        if (auto const refusal = namedTwice()) {
            return refusal; // and nothing was created
        }
        using Wanted = std::pair<std::optional<std::string> const &, std::optional<OutputFile> &>;
        for (auto const & [name, file] : {Wanted(options_.logFile, logFile_), Wanted(options_.traceFile, traceFile_)}) {
            if (!name) {
                continue;
            }
            file.emplace(*name);
            if (!file->isOpen()) {
                return wrongUsage(fmt::format("The file {} cannot be created for writing. Name one in a folder that "
                                              "exists and may be written to.",
                                              *name));
            }
        }
        return namedTwice(); // names in other letters can lead to one file, which shows once it exists
    }

    int runOnMachine(machine::Machine * machine) {
        if (options_.command == Command::Tests) {
            return isJsonl() ? ended((writeTests(lines_, Registry::instance()), !lines_.lost()))
                             : ended(console_.write(testsAsText(Registry::instance())));
        }
        machine::InUse const inUse(*machine);
        kernel::beginRun(); // before the bus is read, so that a hub that does not answer is asked once in all
        DeviceCatalog const catalog;
        PcTitle const title{.name = machine->name(), .isBundled = pc_.isBundled};
        if (options_.command == Command::Run) {
            return runTest(catalog, title, machine->clock());
        }
        if (options_.command == Command::Recover) {
            return recoverOwed(options_, console_, catalog);
        }
        return options_.command == Command::Devices ? listDevices(catalog, title) : showTopology(catalog, title);
    }

    int listDevices(DeviceCatalog const & catalog, PcTitle const & title) {
        Registry const & registry = Registry::instance();
        journal_.tellOfOwed(catalog);
        if (isJsonl()) {
            writeDevices(lines_, title, catalog, registry, test_);
            return ended(!lines_.lost());
        }
        return ended(console_.write(devicesAsText(title, catalog, registry, test_)));
    }

    int showTopology(DeviceCatalog const & catalog, PcTitle const & title) {
        auto const controllers = readTopology(catalog);
        if (isJsonl()) {
            writeTopology(lines_, title, controllers);
            return ended(!lines_.lost());
        }
        return ended(console_.write(topologyAsText(title, controllers, usesColour())));
    }

    int runTest(DeviceCatalog const & catalog, PcTitle const & title, machine::Clock const & clock) {
        auto chosen = chooseDevices(*test_, catalog, options_);
        if (auto const * refusal = std::get_if<Refusal>(&chosen)) {
            return refuse(*refusal);
        }
        Run run{.test = *test_,
                .devices = std::move(std::get<0>(chosen)),
                .catalog = catalog,
                .pc = title,
                .parameters = parameters_.asText()};
        if (test_->destructive) {
            DataFate const fate = fateOfData(*test_, answering() == Answering::No);
            auto refusal = allowDestruction(fate, run.devices);
            if (!refusal) {
                refusal = journal_.prepare(*test_, fate, run.devices, catalog, canAsk());
            }
            if (refusal) {
                return refuse(*refusal);
            }
        }
        journal_.tellOfOwed(catalog);
        if (run.devices.empty()) {
            console_.writeError(fmt::format("{}: {} accepts no device of this PC. 'nuvrusb devices --test {}' says "
                                            "why.\n",
                                            programName, test_->name, test_->name));
        }

        TextReporter text(console_, usesColour(), console_.outputIsTerminal() && !isDumb(), clock);
        JsonlReporter jsonl(console_);
        Reporter & reporter = isJsonl() ? static_cast<Reporter &>(jsonl) : text;
        std::optional<LogFileReporter> logged;
        if (logFile_) {
            logFile_->begin();
            logged.emplace(reporter, logFile_->stream());
        }
        LogPriority const priority(options_.logLevel || !logFile_ ? options_.logLevel : everything);
        Locale const locale = Locale::forLanguage(options_.language ? *options_.language : systemLanguage());
        SessionSetup const setup{.reporter = logged ? *logged : reporter,
                                 .console = console_,
                                 .locale = locale,
                                 .answering = answering(),
                                 .hostSpeaks = isJsonl(),
                                 .user = pc_.user};
        try {
            TestResult const result = carryOut(run, setup);
            journal_.finish();
            return result.value();
        } catch (...) {
            journal_.finish();
            throw;
        }
    }

    bool canAsk() const { return !isJsonl() && console_.inputIsTerminal() && console_.outputIsTerminal(); }

    // Somebody has to say that data may go: the option in so many words, or a person at the terminal. Either way it is
    // told on which disks and what becomes of the data.
    std::optional<Refusal> allowDestruction(DataFate const & fate, std::vector<CatalogDevice const *> const & devices) {
        if (!options_.allowDestructive && !canAsk()) {
            return wrongUsage(fmt::format("{} {} data, and there is no terminal to ask on. Allow it with "
                                          "--allow-destructive.",
                                          test_->name, fate.isOverwritten ? "overwrites" : "can overwrite"));
        }
        if (options_.allowDestructive) {
            tellOfDestruction(fate, devices);
            return std::nullopt;
        }
        std::string const question = destructiveSummary(*test_, fate, devices) + noteOf(fate);
        std::string answer;
        bool const answered = console_.write(question + "Type yes to allow it: ") &&
                              console_.readLine(answer, std::nullopt) == terminal::Console::Input::Line;
        if (answered && answer == "yes") {
            return std::nullopt;
        }
        return Refusal{"Nothing was run, since nobody typed yes.", TestResult::USERABORTED()};
    }

    // Where nobody is asked, a warning is told apart from the output, which may go to a file.
    void tellOfDestruction(DataFate const & fate, std::vector<CatalogDevice const *> const & devices) {
        if (!isJsonl()) {
            console_.write(destructiveSummary(*test_, fate, devices) + (fate.isWarning ? "" : noteOf(fate)) + "\n");
        }
        if (fate.isWarning) {
            console_.writeError(fmt::format("{}: {}\n", programName, fate.note));
        }
    }

    std::string noteOf(DataFate const & fate) const {
        if (fate.note.empty()) {
            return "";
        }
        auto const lines = wrapped(fate.note, console_.outputIsTerminal() ? console_.width() : 0);
        return fmt::format("{}\n", fmt::join(lines, "\n"));
    }

    Answering answering() const {
        if (options_.answer) {
            Answering const asked = isJsonl() ? Answering::Host : Answering::Person;
            return std::array{asked, Answering::Yes, Answering::No}[static_cast<std::size_t>(*options_.answer)];
        }
        if (pc_.user && !pc_.user->answers.empty()) {
            return Answering::Script; // whoever wrote answers into the description wants them given
        }
        if (isJsonl()) {
            return Answering::Host;
        }
        return console_.inputIsTerminal() ? Answering::Person : Answering::No;
    }

    int refuse(Refusal const & refusal) {
        console_.writeError(fmt::format("{}: {}\n", programName, refusal.message));
        return refusal.result.value();
    }

    // What could not be asked was not judged either; no verdict shows that.
    void tellOfSilentHubs() {
        for (std::u16string const & hub : kernel::silentHubs()) {
            console_.writeError(fmt::format("{}: The hub or controller {} did not answer and was left out. Unplug what "
                                            "is attached to it, or restart the PC.\n",
                                            programName, printable(machine::toUtf8(hub))));
        }
    }

    void complainOfLoss(std::optional<OutputFile> & file) {
        if (file && !file->close()) {
            console_.writeError(
                fmt::format("{}: The file {} could not be written to its end.\n", programName, file->name()));
        }
    }

    bool isJsonl() const { return options_.format == Format::Jsonl; }
    bool usesColour() const {
        return console_.outputIsTerminal() && !options_.noColor && environment("NO_COLOR").empty() && !isDumb();
    }
    static bool isDumb() { return environment("TERM") == "dumb"; } // a terminal that takes no control sequences
    static int ended(bool written) { return (written ? TestResult::PASS() : TestResult::USERABORTED()).value(); }

    Options const & options_;
    terminal::Console & console_;
    JsonlLines lines_;
    JournalUse journal_;
    RegisteredTest const * test_ = nullptr;
    PassedParameters parameters_;
    host::Pc pc_;
    std::optional<OutputFile> logFile_;
    std::optional<OutputFile> traceFile_;
};

} // namespace

int carryOutCommand(Options const & options, terminal::Console & console) {
    return CommandRunner(options, console).run();
}

} // namespace tkit5
