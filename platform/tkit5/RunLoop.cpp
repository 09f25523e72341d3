#include "RunLoop.h"

#include "DeviceFilter.h"
#include "Names.h"
#include "ParameterText.h"
#include "Suggest.h"

#include <fmt/format.h>

#include <algorithm>

namespace tkit5 {

namespace {

std::vector<std::string> identifiers(DeviceCatalog const & catalog) {
    std::vector<std::string> names;
    for (auto const & device : catalog.devices()) {
        names.push_back(device->facts().identifier.getUTF8String());
    }
    return names;
}

Refusal wrongUsage(std::string message) {
    return {std::move(message), TestResult::BADPARAMS()};
}

DeviceReport reportOf(CatalogDevice const & device) {
    DeviceFacts const & facts = device.facts();
    return {.identifier = facts.identifier.getUTF8String(),
            .name = device.displayName(),
            .description = facts.description.getUTF8String(),
            .osLocator = facts.osName.getUTF8String(),
            .capabilities = capabilityNames(facts.capabilities)};
}

std::vector<DiagDevice const *> optionalDevices(RegisteredTest const & test, DeviceCatalog const & catalog) {
    std::vector<DiagDevice const *> optional;
    for (auto const & device : catalog.devices()) {
        if (isOptionalDevice(test, *device)) {
            optional.push_back(device.get());
        }
    }
    return optional;
}

TestResult testOn(CatalogDevice const & device, Run const & run, Session & session, Reporter & reporter,
                  std::vector<DiagDevice const *> const & optional) {
    DeviceReport const report = reportOf(device);
    reporter.testStarted(run.test.name, report);
    try {
        TestResult const result = session.runTest(run.test, device, optional);
        reporter.testEnded(run.test.name, report, result);
        return result;
    } catch (...) {
        reporter.testEnded(run.test.name, report, TestResult::EXITEDABNORMALLY());
        throw;
    }
}

TestResult testOnAll(Run const & run, Session & session, Reporter & reporter) {
    std::vector<DiagDevice const *> const optional = optionalDevices(run.test, run.catalog);
    TestResult result = TestResult::PASS();
    for (CatalogDevice const * device : run.devices) {
        if (session.checkForStop()) {
            return result.merge(TestResult::USERABORTED());
        }
        result.merge(testOn(*device, run, session, reporter, optional));
    }
    return result;
}

} // namespace

PassedParameters::~PassedParameters() {
    for (RegisteredParameter * parameter : passed_) {
        parameter->passed.reset();
    }
}

std::string PassedParameters::set(RegisteredTest const & test,
                                  std::vector<std::pair<std::string, std::string>> const & settings) {
    std::vector<std::string> names;
    std::ranges::transform(test.parameters, std::back_inserter(names), &RegisteredParameter::name);
    for (auto const & [name, text] : settings) {
        if (std::ranges::count(names, name) == 0) {
            bool const hasAny = !names.empty();
            return fmt::format("{} has no parameter '{}'.{}{}", test.name, name, didYouMean(name, names),
                               hasAny ? " 'nuvrusb tests' lists its parameters." : " It has no parameters at all.");
        }
        RegisteredParameter & parameter = *Registry::instance().findParameter(name);
        auto const value = valueFromText(parameter.type, text);
        if (!value) {
            return fmt::format("{} takes {}, not '{}'.", name, acceptedText(parameter.type), text);
        }
        parameter.passed = *value;
        passed_.push_back(&parameter);
        asText_.emplace_back(name, value->valueString().getUTF8Buffer());
    }
    for (RegisteredParameter const * parameter : test.parameters) {
        if (!parameter->optional && !parameter->passed) {
            return fmt::format("{} needs the parameter {}: --set {}=VALUE.", test.name, parameter->name,
                               parameter->name);
        }
    }
    return "";
}

std::variant<std::vector<CatalogDevice const *>, Refusal>
chooseDevices(RegisteredTest const & test, DeviceCatalog const & catalog, Options const & options) {
    std::vector<CatalogDevice const *> chosen;
    for (std::string const & name : options.devices) {
        std::vector<CatalogDevice const *> const found = catalog.find(name);
        if (found.empty()) {
            return wrongUsage(fmt::format("There is no device '{}' in this PC.{} 'nuvrusb devices' lists them.", name,
                                          didYouMean(name, identifiers(catalog))));
        }
        if (test.destructive && found.size() > 1) {
            return wrongUsage(fmt::format("{} devices go by the name {}. {} overwrites data: name the one that is "
                                          "meant by its OS locator.",
                                          found.size(), name, test.name));
        }
        for (CatalogDevice const * device : found) {
            if (auto const why = whyNotAccepted(test, *device)) {
                return wrongUsage(fmt::format("{} does not take the device {}: {}. 'nuvrusb devices --test {}' lists "
                                              "those that it takes.",
                                              test.name, name, *why, test.name));
            }
            if (std::ranges::count(chosen, device) == 0) {
                chosen.push_back(device);
            }
        }
    }
    if (!options.devices.empty()) {
        return chosen;
    }
    if (test.destructive) {
        return wrongUsage(fmt::format("{0} overwrites data, so it runs only on devices that are named: --device ID. "
                                      "'nuvrusb devices --test {0}' lists them.",
                                      test.name));
    }
    for (auto const & device : catalog.devices()) {
        if (!whyNotAccepted(test, *device)) {
            chosen.push_back(device.get());
        }
    }
    return chosen;
}

TestResult carryOut(Run const & run, SessionSetup const & setup) {
    Reporter & reporter = setup.reporter;
    reporter.runStarted({.test = run.test.name,
                         .machine = run.pc.name,
                         .isBundledMachine = run.pc.isBundled,
                         .deviceCount = run.devices.size(),
                         .parameters = run.parameters});
    Session session(setup);
    TestResult result = TestResult::NODEVICE();
    try {
        if (!run.devices.empty()) {
            result = testOnAll(run, session, reporter);
        }
    } catch (...) {
        reporter.runEnded(run.test.name, TestResult::EXITEDABNORMALLY(), session.stopped());
        throw;
    }
    if (reporter.outputLost()) {
        result.merge(TestResult::USERABORTED());
    }
    reporter.runEnded(run.test.name, result, session.stopped());
    return reporter.outputLost() ? result.merge(TestResult::USERABORTED()) : result;
}

} // namespace tkit5
