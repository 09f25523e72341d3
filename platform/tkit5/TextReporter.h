// A run as people read it.
#pragma once

#include "EventCounts.h"
#include "ProgressLine.h"
#include "Reporter.h"
#include "terminal/Console.h"

#include <string>
#include <string_view>

namespace tkit5 {

class TextReporter final : public Reporter {
public:
    // live: the output is a terminal, where lines are wrapped and the progress line is rewritten in place. Otherwise a
    // line of progress is written when it is about something new and at each tenth of the way. The clock is the PC's.
    TextReporter(terminal::Console & console, bool colour, bool live, machine::Clock const & clock)
        : console_(console), colour_(colour), live_(live), progress_(clock) {}

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
    bool outputLost() const override { return lost_; }

private:
    enum class Colour { None, Red, Yellow, Green, Faint };

    static Colour colourOf(TestResult const & result);
    std::string painted(Colour colour, std::string_view text) const;
    std::string resultText(TestResult const & result, EventCounts const & counts) const;
    void write(std::string_view text); // whole lines, after the progress line was taken away
    void writeLabelled(Colour colour, std::string_view label, std::string_view text);
    std::string hanging(std::string_view text, std::size_t indent) const; // its lines after the first indented
    void showProgress();

    terminal::Console & console_;
    bool colour_;
    bool live_;
    bool lost_ = false;
    bool onlyOneDevice_ = false;
    ProgressLine progress_;
    std::string shownProgress_; // the cursor stands behind this line
    EventCounts testCounts_;
    EventCounts runCounts_;
};

} // namespace tkit5
