// A log that goes to a file, while everything else goes on to another reporter.
#pragma once

#include "Reporter.h"

#include <ostream>

namespace tkit5 {

class LogFileReporter final : public Reporter {
public:
    // Both stay the caller's.
    LogFileReporter(Reporter & rest, std::ostream & file) : rest_(rest), file_(file) {}

    void log(LogReport const & line) override;
    void trace(TraceReport const & line) override;

    void runStarted(RunStart const & run) override { rest_.runStarted(run); }
    void testStarted(std::string const & test, DeviceReport const & device) override {
        rest_.testStarted(test, device);
    }
    void event(EventReport const & event) override { rest_.event(event); }
    void progress(ProgressReport const & progress) override { rest_.progress(progress); }
    void percentDone(int percent) override { rest_.percentDone(percent); }
    void messageBoxShown(MessageBoxReport const & box) override { rest_.messageBoxShown(box); }
    void messageBoxClosed(std::uint32_t id, MessageBox2_Return answer) override { rest_.messageBoxClosed(id, answer); }
    void inputError(InputErrorReport const & input) override { rest_.inputError(input); }
    void testEnded(std::string const & test, DeviceReport const & device, TestResult const & result) override {
        rest_.testEnded(test, device, result);
    }
    void runEnded(std::string const & test, TestResult const & result, bool stopped) override {
        rest_.runEnded(test, result, stopped);
    }
    bool outputLost() const override { return rest_.outputLost(); }

private:
    Reporter & rest_;
    std::ostream & file_;
};

} // namespace tkit5
