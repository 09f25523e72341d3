// Calls one function of the module on a described PC, inside a session whose reports are kept.
#pragma once

#include "PcBuilder.h"

#include "support/Describe.h"
#include "support/FakeConsole.h"

#include "kernel/Runtime.h"
#include "machine/Machine.h"
#include "nuv/LogSink.h"
#include "tkit5/Session.h"

#include "nuv.h"
#include "tkit5.h"

#include <memory>
#include <string>
#include <vector>

namespace test {

// Keeps what is raised and logged, in order, as short lines: "error DeviceIORequestFail 517", "log3 520 text".
class KeepingReporter : public tkit5::Reporter {
public:
    void runStarted(tkit5::RunStart const &) override {}
    void testStarted(std::string const &, tkit5::DeviceReport const &) override {}
    void event(tkit5::EventReport const & event) override {
        lines.push_back(std::string(severityName(event.severity)) + " " + event.key + " " +
                        std::to_string(event.sourceLine));
    }
    void progress(tkit5::ProgressReport const &) override {}
    void percentDone(int) override {}
    void messageBoxShown(tkit5::MessageBoxReport const &) override {}
    void messageBoxClosed(std::uint32_t, tkit5::MessageBox2_Return) override {}
    void inputError(tkit5::InputErrorReport const &) override {}
    void log(tkit5::LogReport const & line) override {
        lines.push_back("log" + std::to_string(line.priority) + " " + line.text);
    }
    void trace(tkit5::TraceReport const & scope) override {
        scopes.push_back((scope.entered ? "+" : "-") + scope.function + ":" + std::to_string(scope.sourceLine));
    }
    void testEnded(std::string const &, tkit5::DeviceReport const &, tkit5::TestResult const &) override {}
    void runEnded(std::string const &, tkit5::TestResult const &, bool) override {}
    bool outputLost() const override { return false; }

    std::vector<std::string> lines;
    std::vector<std::string> scopes;
};

class DirectCall {
public:
    explicit DirectCall(Json const & pc, int logPriority = 5)
        : machine_(support::describedPc(pc.dump())), inUse_(*machine_), locale_(tkit5::Locale::forLanguage("en")),
          session_(tkit5::SessionSetup{.reporter = reporter, .console = console_, .locale = locale_, .user = {}}) {
        nuv::setLogPriority(logPriority);
        kernel::beginRun();
    }
    DirectCall(DirectCall const &) = delete;
    DirectCall & operator=(DirectCall const &) = delete;
    ~DirectCall() { nuv::setLogPriority(5); }

    nuv::FileHandleResManager openHub(std::string const & symbolicName) {
        nuv::CreateFileOpenArgs args;
        args.fileName = "\\\\?\\" + nuv::String(symbolicName);
        args.desiredAccess = kernel::GENERIC_READ | kernel::GENERIC_WRITE;
        args.shareMode = kernel::FILE_SHARE_READ | kernel::FILE_SHARE_WRITE;
        return nuv::FileHandleResManager(args);
    }
    nuv::FileHandleResManager openRootHub() { return openHub(std::string("USB#ROOT_HUB30#") + controllerName); }

    KeepingReporter reporter;

private:
    FakeConsole console_;
    std::unique_ptr<machine::Machine> machine_;
    machine::InUse inUse_;
    tkit5::Locale locale_;
    tkit5::Session session_;
};

} // namespace test
