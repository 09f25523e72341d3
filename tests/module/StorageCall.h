// Single operations of the storage test on a described PC, inside a session: what they report, and what they ask of the
// PC.
#pragma once

#include "DirectCall.h"
#include "StoragePc.h"

#include "PerformanceCalculator.h"

#include "machine/TracingMachine.h"
#include "tkit5/ParameterText.h"
#include "tkit5/Registry.h"
#include "usbtopo.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace test {

inline constexpr char const * diskLocator = "\\\\.\\PhysicalDrive1"; // of the only disk
inline constexpr char const * calculatorFile = "modules/src/windows/diag/nuvrusb/PerformanceCalculator.cpp";
inline constexpr char const * procedureFile = "modules/src/windows/diag/nuvrusb/nuvrusb.cpp";

using Lines = std::vector<std::string>;

// Parameters as a caller would have passed them, while this lives.
class PassedSettings {
public:
    explicit PassedSettings(Settings const & settings) {
        for (auto const & [name, text] : settings) {
            tkit5::RegisteredParameter & parameter = *tkit5::Registry::instance().findParameter(name);
            parameter.passed = tkit5::valueFromText(parameter.type, text);
            EXPECT_TRUE(parameter.isset()) << name << "=" << text;
        }
    }
    PassedSettings(PassedSettings const &) = delete;
    PassedSettings & operator=(PassedSettings const &) = delete;
    ~PassedSettings() {
        for (auto const & parameter : tkit5::Registry::instance().parameters) {
            parameter->passed.reset();
        }
    }
};

// Keeps the variables of each event, the progress and the message boxes, too.
class StorageReporter final : public KeepingReporter {
public:
    void event(tkit5::EventReport const & event) override {
        KeepingReporter::event(event);
        whenTold(event.key);
        files.push_back(event.sourceFile);
        std::map<std::string, std::string> & values = variables.emplace_back();
        for (auto const & [name, value] : event.variables) {
            values[name] = value.valueString().getUTF8Buffer();
        }
    }
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
                         tkit5::Answering answering = tkit5::Answering::Yes, machine::ScriptedUser const & user = {})
        : machine_(support::describedPc(pc.dump())), traced_(*machine_,
                                                             [this](std::string_view line) {
                                                                 Json const call = Json::parse(line);
                                                                 calls.push_back(call);
                                                                 whenCalled(call);
                                                             }),
          inUse_(traced_), settings_(settings), locale_(tkit5::Locale::forLanguage("en")),
          session_(tkit5::SessionSetup{.reporter = reporter,
                                       .console = console,
                                       .locale = locale_,
                                       .answering = answering,
                                       .hostSpeaks = answering == tkit5::Answering::Host,
                                       .user = user}) {
        nuv::setLogPriority(logPriority);
        kernel::beginRun();
    }
    StorageCall(StorageCall const &) = delete;
    StorageCall & operator=(StorageCall const &) = delete;
    ~StorageCall() { nuv::setLogPriority(5); }

    // The first port of the PC with something on it.
    nuv::SharedResourceManager<usbtopo::CUsbPort> port() {
        usbtopo::CUsbSystem system;
        EXPECT_TRUE(system.EnumerateHostControllers());
        auto const & ports = system.controllers()[0]->rootHub().ports();
        auto const found =
            std::find_if(ports.begin(), ports.end(), [](auto const & port) { return port && port->device(); });
        return found == ports.end() ? nuv::SharedResourceManager<usbtopo::CUsbPort>() : *found;
    }

    std::unique_ptr<nuvrusb::PerformanceCalculator> calculator(char const * locator = diskLocator,
                                                               char const * name = "The Stick") {
        return std::make_unique<nuvrusb::PerformanceCalculator>(port(), nuv::String(locator), nuv::String(name));
    }

    double secondsSinceStart() { return std::chrono::duration<double>(machine_->clock().now()).count(); }

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
inline std::string failureResult(nuvrusb::PerformanceCalculator const & calculator) {
    tkit5::TestResult result;
    calculator.copyFailureResult(result);
    return tkit5::resultName(result);
}

} // namespace test
