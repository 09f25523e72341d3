#include "Start.h"

#include "CommandLine.h"
#include "CommandLineHelp.h"
#include "Commands.h"
#include "Names.h"

#include <fmt/format.h>

namespace tkit5 {

namespace {

int shown(terminal::Console & console, std::string const & text) {
    return (console.write(text) ? TestResult::PASS() : TestResult::USERABORTED()).value();
}

// The callback runs once in a process, whatever the number of calls.
void initialiseModule() {
    static void (*initialised)() = nullptr;
    auto * const callback = Registry::instance().moduleInit;
    if (callback != nullptr && callback != initialised) {
        initialised = callback;
        callback();
    }
}

struct Answerer {
    terminal::Console & console;

    int operator()(HelpRequest const & request) const { return shown(console, helpText(request.command)); }
    int operator()(VersionRequest const &) const {
        std::string const & build = Registry::instance().build;
        return shown(console, fmt::format("{} {} build {}\n", programName, versionText(), build));
    }
    int operator()(NothingAsked const &) const {
        console.writeError(helpText(std::nullopt));
        return TestResult::BADPARAMS().value();
    }
    int operator()(UsageError const & error) const {
        console.writeError(fmt::format("{0}: {1}\nType '{0}{2} --help' for help.\n", programName, error.message,
                                       error.command ? fmt::format(" {}", commandName(*error.command)) : ""));
        return TestResult::BADPARAMS().value();
    }
    int operator()(Options const & options) const {
        initialiseModule();
        return carryOutCommand(options, console);
    }
};

} // namespace

int runCommandLine(std::vector<std::string> const & arguments, terminal::Console & console) {
    return std::visit(Answerer{console}, parseCommandLine(arguments));
}

int DiagModule::start() {
    auto const console = terminal::openStandardConsole();
    return runCommandLine(Registry::instance().commandLine, *console);
}

} // namespace tkit5
