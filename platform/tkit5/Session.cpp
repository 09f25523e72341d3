#include "Session.h"

#include "machine/Machine.h"
#include "nuv/LogSink.h"

#include <utility>

namespace tkit5 {

namespace {

Session * activeSession = nullptr;

// A host that sends more lines than this between two polls is heard in several.
constexpr int linesPerPoll = 256;

} // namespace

class Session::LogToReporter final : public nuv::LogSink {
public:
    explicit LogToReporter(Reporter & reporter) : reporter_(reporter), previous_(nuv::setLogSink(this)) {}
    LogToReporter(LogToReporter const &) = delete;
    LogToReporter & operator=(LogToReporter const &) = delete;
    ~LogToReporter() override { nuv::setLogSink(previous_); }

    void message(int priority, char const * logger, std::string const & text) override {
        reporter_.log({priority, logger, text});
    }
    void scope(bool entered, char const * logger, char const * function, char const * sourceFile,
               int sourceLine) override {
        reporter_.trace({entered, logger, function, sourceFile, sourceLine});
    }

private:
    Reporter & reporter_;
    nuv::LogSink * previous_; // whatever listened before the run does so again after it
};

Session::Session(SessionSetup setup)
    : setup_(std::move(setup)), log_(std::make_unique<LogToReporter>(setup_.reporter)),
      started_(machine::current().clock().now()) {
    activeSession = this;
}

Session::~Session() {
    activeSession = nullptr;
}

Session * Session::active() {
    return activeSession;
}

TestResult Session::runTest(RegisteredTest const & test, DiagDevice const & device,
                            std::vector<DiagDevice const *> optionalDevices) {
    struct Forget {
        std::vector<DiagDevice const *> & devices;
        ~Forget() { devices.clear(); }
    } const forget{optionalDevices_};
    optionalDevices_ = std::move(optionalDevices);
    return test.entry == nullptr ? TestResult::CANNOTRUN() : test.entry(device);
}

bool Session::checkForStop() {
    ++polls_;
    if (setup_.hostSpeaks) {
        for (int lines = 0; lines < linesPerPoll && !stopped_; ++lines) {
            if (takeHostLine(std::chrono::milliseconds(0)) != terminal::Console::Input::Line) {
                break;
            }
        }
    }
    return lookForStop();
}

bool Session::lookForStop() {
    stopped_ = stopped_ || setup_.console.stopRequested() || setup_.reporter.outputLost() || userStops();
    return stopped_;
}

bool Session::userStops() const {
    if (!setup_.user) {
        return false;
    }
    machine::ScriptedUser const & user = *setup_.user;
    bool const atPoll = user.stopAtPoll && polls_ >= *user.stopAtPoll;
    return atPoll || (user.stopAfter && machine::current().clock().now() - started_ >= *user.stopAfter);
}

void Session::raise(Severity severity, RegisteredEvent const & event, TkitString const & sourceFile, int sourceLine) {
    setup_.reporter.event({severity, event.key, event.variables, setup_.locale.resolve(event.key, event.variables),
                           sourceFile.getUTF8Buffer(), sourceLine});
}

void Session::progress(RegisteredText const & text) {
    setup_.reporter.progress({text.key, text.variables, resolve(text)});
}

void Session::percentDone(int percent) {
    setup_.reporter.percentDone(percent);
}

} // namespace tkit5
