// Calls one function of the module on a described PC, inside a session whose reports are kept.
#pragma once

#include "PcBuilder.h"

#include "support/FakeConsole.h"

#include "machine/Machine.h"
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
    void event(tkit5::EventReport const & event) override;
    void progress(tkit5::ProgressReport const &) override {}
    void percentDone(int) override {}
    void messageBoxShown(tkit5::MessageBoxReport const &) override {}
    void messageBoxClosed(std::uint32_t, tkit5::MessageBox2_Return) override {}
    void inputError(tkit5::InputErrorReport const &) override {}
    void log(tkit5::LogReport const & line) override;
    void trace(tkit5::TraceReport const & scope) override;
    void testEnded(std::string const &, tkit5::DeviceReport const &, tkit5::TestResult const &) override {}
    void runEnded(std::string const &, tkit5::TestResult const &, bool) override {}
    bool outputLost() const override { return false; }

    std::vector<std::string> lines;
    std::vector<std::string> scopes;
};

class DirectCall {
public:
    explicit DirectCall(Json const & pc, int logPriority = 5);
    DirectCall(DirectCall const &) = delete;
    DirectCall & operator=(DirectCall const &) = delete;
    ~DirectCall();

    nuv::FileHandleResManager openHub(std::string const & symbolicName);
    nuv::FileHandleResManager openRootHub();

    KeepingReporter reporter;

private:
    FakeConsole console_;
    std::unique_ptr<machine::Machine> machine_;
    machine::InUse inUse_;
    tkit5::Locale locale_;
    tkit5::Session session_;
};

} // namespace test
