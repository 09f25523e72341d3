// The framework's side of a test that is running: where its reports go, who answers its questions, who may stop it.
// Everything that the module calls in DiagModule while a test runs ends here.
#pragma once

#include "Locale.h"
#include "Reporter.h"
#include "machine/ScriptedUser.h"
#include "terminal/Console.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tkit5 {

// Who answers message boxes.
enum class Answering {
    Script, // the described PC's user; after the last answer nobody is there
    Person, // at the terminal
    Host,   // by lines on standard input
    Yes,    // OK or Yes, at once
    No,     // Cancel or No, at once
};

struct SessionSetup {
    Reporter & reporter;
    terminal::Console & console;
    Locale const & locale;
    Answering answering = Answering::No;
    bool hostSpeaks = false; // standard input carries the host's lines (stop requests, answers)
    std::optional<machine::ScriptedUser> user;
};

class Session {
public:
    explicit Session(SessionSetup setup); // becomes the active one and receives nuv's log; one at a time
    Session(Session const &) = delete;
    Session & operator=(Session const &) = delete;
    ~Session();

    static Session * active(); // null outside a run

    // Runs one test on one device; reporting its start and its end is the caller's. Throws what the test throws.
    TestResult runTest(RegisteredTest const & test, DiagDevice const & device,
                       std::vector<DiagDevice const *> optionalDevices);

    // Asks every source of stop requests: signals, the host's lines, the scripted user, lost output. Once true, always
    // true. Counts as one poll.
    bool checkForStop();
    bool stopped() const { return stopped_; } // without asking anew

    void raise(Severity severity, RegisteredEvent const & event, TkitString const & sourceFile, int sourceLine);
    void progress(RegisteredText const & text);
    void percentDone(int percent);
    std::unique_ptr<MessageBox2> createMessageBox(TkitString const & message, TkitString const & title,
                                                  MessageBox2_Options options);
    std::string resolve(RegisteredText const & text) const { return setup_.locale.resolve(text.key, text.variables); }
    std::vector<DiagDevice const *> const & optionalDevices() const { return optionalDevices_; }

private:
    friend class SessionMessageBox;
    class LogToReporter;

    struct OpenBox {
        MessageBoxReport report;
        MessageBox2_Return hostAnswer = MessageBox2_Return::None;
    };
    using Limit = std::optional<std::chrono::milliseconds>; // empty: none

    // For message boxes. An answer of None means that the limit was over first.
    void openBox(MessageBoxReport const & box);
    void closeBox(std::uint32_t id, MessageBox2_Return answer);
    MessageBox2_Return answerTo(MessageBoxReport const & box, Limit limit);
    MessageBox2_Return scriptedAnswer();
    MessageBox2_Return personsAnswer(MessageBoxReport const & box, Limit limit);
    MessageBox2_Return hostsAnswer(MessageBoxReport const & box, Limit limit);

    terminal::Console::Input takeHostLine(Limit limit);
    std::string takeHostAnswer(std::uint32_t id, std::string const & word); // what is wrong with it; empty: nothing
    bool lookForStop();                                                     // every source but the host's lines
    bool userStops() const;

    SessionSetup setup_;
    std::vector<DiagDevice const *> optionalDevices_;
    std::unique_ptr<LogToReporter> log_;
    machine::Duration started_;
    std::uint32_t polls_ = 0;
    std::uint32_t boxes_ = 0; // created so far
    std::size_t answersUsed_ = 0;
    std::vector<OpenBox> openBoxes_;
    bool inputEnded_ = false;
    bool stopped_ = false;
};

} // namespace tkit5
