#include "StorageCall.h"

#include "support/Describe.h"

#include "kernel/Runtime.h"
#include "nuv/LogSink.h"
#include "tkit5/ParameterText.h"
#include "tkit5/Registry.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string_view>

namespace test {

PassedSettings::PassedSettings(Settings const & settings) {
    for (auto const & [name, text] : settings) {
        tkit5::RegisteredParameter & parameter = *tkit5::Registry::instance().findParameter(name);
        parameter.passed = tkit5::valueFromText(parameter.type, text);
        EXPECT_TRUE(parameter.isset()) << name << "=" << text;
    }
}

PassedSettings::~PassedSettings() {
    for (auto const & parameter : tkit5::Registry::instance().parameters) {
        parameter->passed.reset();
    }
}

void StorageReporter::event(tkit5::EventReport const & event) {
    KeepingReporter::event(event);
    whenTold(event.key);
    files.push_back(event.sourceFile);
    std::map<std::string, std::string> & values = variables.emplace_back();
    for (auto const & [name, value] : event.variables) {
        values[name] = value.valueString().getUTF8Buffer();
    }
}

StorageCall::StorageCall(Json const & pc, Settings const & settings, int logPriority, tkit5::Answering answering,
                         machine::ScriptedUser const & user)
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

StorageCall::~StorageCall() {
    nuv::setLogPriority(5);
}

nuv::SharedResourceManager<usbtopo::CUsbPort> StorageCall::port() {
    usbtopo::CUsbSystem system;
    EXPECT_TRUE(system.EnumerateHostControllers());
    auto const & ports = system.controllers()[0]->rootHub().ports();
    auto const found =
        std::find_if(ports.begin(), ports.end(), [](auto const & port) { return port && port->device(); });
    return found == ports.end() ? nuv::SharedResourceManager<usbtopo::CUsbPort>() : *found;
}

std::unique_ptr<nuvrusb::PerformanceCalculator> StorageCall::calculator(char const * locator, char const * name) {
    return std::make_unique<nuvrusb::PerformanceCalculator>(port(), nuv::String(locator), nuv::String(name));
}

double StorageCall::secondsSinceStart() {
    return std::chrono::duration<double>(machine_->clock().now()).count();
}

std::string failureResult(nuvrusb::PerformanceCalculator const & calculator) {
    tkit5::TestResult result;
    calculator.copyFailureResult(result);
    return tkit5::resultName(result);
}

} // namespace test
