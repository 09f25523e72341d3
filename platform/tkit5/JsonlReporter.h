// A run as a host program reads it: one JSON object a line, described in docs/protocol.md.
#pragma once

#include "EventCounts.h"
#include "JsonlLines.h"
#include "Reporter.h"

namespace tkit5 {

class JsonlReporter final : public Reporter {
public:
    explicit JsonlReporter(terminal::Console & console) : lines_(console) {}

    void runStarted(RunStart const & run) override;
    void testStarted(std::string const & test, DeviceReport const & device) override;
    void event(EventReport const & event) override;
    void progress(ProgressReport const & progress) override;
    void percentDone(int percent) override;
    void messageBoxShown(MessageBoxReport const & box) override;
    void messageBoxClosed(std::uint32_t id, MessageBox2_Return answer) override;
    void inputError(InputErrorReport const & input) override;
    void log(LogReport const & line) override;
    void trace(TraceReport const & line) override;
    void testEnded(std::string const & test, DeviceReport const & device, TestResult const & result) override;
    void runEnded(std::string const & test, TestResult const & result, bool stopped) override;
    bool outputLost() const override { return lines_.lost(); }

private:
    JsonlLines lines_;
    EventCounts counts_;
};

} // namespace tkit5
