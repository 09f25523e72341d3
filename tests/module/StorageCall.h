// Single operations of the storage test on a described PC, inside a session: what they report, and what they ask of the
// PC.
#pragma once

#include "DirectCall.h"
#include "StoragePc.h"

#include "PerformanceCalculator.h"

#include "machine/TracingMachine.h"
#include "usbtopo.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace test {

inline constexpr char const * diskLocator = "\\\\.\\PhysicalDrive1"; // of the only disk
inline constexpr char const * calculatorFile = "modules/src/windows/diag/nuvrusb/PerformanceCalculator.cpp";
inline constexpr char const * procedureFile = "modules/src/windows/diag/nuvrusb/nuvrusb.cpp";

using Lines = std::vector<std::string>;

// Parameters as a caller would have passed them, while this lives.
class PassedSettings {
public:
    explicit PassedSettings(Settings const & settings);
    PassedSettings(PassedSettings const &) = delete;
    PassedSettings & operator=(PassedSettings const &) = delete;
    ~PassedSettings();
};

// Keeps the variables of each event, the progress and the message boxes, too.
class StorageReporter final : public KeepingReporter {
public:
    void event(tkit5::EventReport const & event) override;
    void progress(tkit5::ProgressReport const & report) override { whenTold(report.key); }
    void percentDone(int percent) override { percents.push_back(percent); }
    void messageBoxShown(tkit5::MessageBoxReport const & box) override { boxes.push_back(box); }
    void messageBoxClosed(std::uint32_t, tkit5::MessageBox2_Return answer) override { answers.push_back(answer); }

    std::function<void(std::string const & key)> whenTold = [](auto const &) {}; // of events and progress; may throw
    std::vector<int> percents;
    std::vector<std::map<std::string, std::string>> variables; // of each event
    Lines files;                                               // of each event
    std::vector<tkit5::MessageBoxReport> boxes;
    std::vector<tkit5::MessageBox2_Return> answers; // with which they were closed
};

class StorageCall {
public:
    explicit StorageCall(Json const & pc, Settings const & settings = {}, int logPriority = 5,
                         tkit5::Answering answering = tkit5::Answering::Yes, machine::ScriptedUser const & user = {});
    StorageCall(StorageCall const &) = delete;
    StorageCall & operator=(StorageCall const &) = delete;
    ~StorageCall();

    // The first port of the PC with something on it.
    nuv::SharedResourceManager<usbtopo::CUsbPort> port();

    std::unique_ptr<nuvrusb::PerformanceCalculator> calculator(char const * locator = diskLocator,
                                                               char const * name = "The Stick");

    double secondsSinceStart();

    StorageReporter reporter;
    FakeConsole console; // what a host types
    std::vector<Json> calls;
    std::function<void(Json const & call)> whenCalled = [](auto const &) {}; // after each call; may throw into it

private:
    std::unique_ptr<machine::Machine> machine_;
    machine::TracingMachine traced_;
    machine::InUse inUse_;
    PassedSettings settings_;
    tkit5::Locale locale_;
    tkit5::Session session_;
};

// The result that a failed operation has left behind.
std::string failureResult(nuvrusb::PerformanceCalculator const & calculator);

} // namespace test
