// A PC in use inside a session that reports to nobody.
#pragma once

#include "machine/Machine.h"
#include "machine/simulated/SimulatedMachine.h"
#include "terminal/Console.h"
#include "tkit5/Session.h"

#include <memory>

namespace bench {

class SilentReporter : public tkit5::Reporter {
public:
    void runStarted(tkit5::RunStart const &) override {}
    void testStarted(std::string const &, tkit5::DeviceReport const &) override {}
    void event(tkit5::EventReport const &) override {}
    void progress(tkit5::ProgressReport const &) override {}
    void percentDone(int) override {}
    void messageBoxShown(tkit5::MessageBoxReport const &) override {}
    void messageBoxClosed(std::uint32_t, tkit5::MessageBox2_Return) override {}
    void inputError(tkit5::InputErrorReport const &) override {}
    void log(tkit5::LogReport const &) override {}
    void trace(tkit5::TraceReport const &) override {}
    void testEnded(std::string const &, tkit5::DeviceReport const &, tkit5::TestResult const &) override {}
    void runEnded(std::string const &, tkit5::TestResult const &, bool) override {}
    bool outputLost() const override { return false; }
};

class SilentConsole : public terminal::Console {
public:
    bool write(std::string_view) override { return true; }
    void writeError(std::string_view) override {}
    bool outputIsTerminal() const override { return false; }
    bool inputIsTerminal() const override { return false; }
    unsigned width() const override { return 80; }
    bool stopRequested() const override { return false; }
    Input readLine(std::string &, std::optional<std::chrono::milliseconds>) override { return Input::Ended; }
};

class BenchSession {
public:
    explicit BenchSession(machine::simulated::Description pc)
        : machine_(machine::makeSimulatedMachine(std::move(pc))), inUse_(*machine_),
          locale_(tkit5::Locale::forLanguage("en")),
          session_(tkit5::SessionSetup{.reporter = reporter_, .console = console_, .locale = locale_, .user = {}}) {}

private:
    SilentReporter reporter_;
    SilentConsole console_;
    std::unique_ptr<machine::Machine> machine_;
    machine::InUse inUse_;
    tkit5::Locale locale_;
    tkit5::Session session_;
};

} // namespace bench
