// One run: a test on the devices that were asked for, from the choice of devices to the merged verdict.
#pragma once

#include "DeviceCatalog.h"
#include "ListingsText.h"
#include "Options.h"
#include "Registry.h"
#include "Session.h"

#include <string>
#include <variant>
#include <vector>

namespace tkit5 {

// A run that is refused before anything runs.
struct Refusal {
    std::string message; // why, and what to type instead
    TestResult result;
};

// Sets the test's parameters as they were typed, for as long as this lives.
class PassedParameters {
public:
    PassedParameters() = default;
    PassedParameters(PassedParameters const &) = delete;
    PassedParameters & operator=(PassedParameters const &) = delete;
    ~PassedParameters();

    // What is wrong with them; empty when all are set.
    std::string set(RegisteredTest const & test, std::vector<std::pair<std::string, std::string>> const & settings);

    std::vector<std::pair<std::string, std::string>> const & asText() const { return asText_; }

private:
    std::vector<RegisteredParameter *> passed_;
    std::vector<std::pair<std::string, std::string>> asText_;
};

// The devices to run the test on: those named, else every one that it accepts, which may be none.
std::variant<std::vector<CatalogDevice const *>, Refusal>
chooseDevices(RegisteredTest const & test, DeviceCatalog const & catalog, Options const & options);

struct Run {
    RegisteredTest const & test;
    std::vector<CatalogDevice const *> devices;
    DeviceCatalog const & catalog;
    PcTitle pc;
    std::vector<std::pair<std::string, std::string>> parameters;
};

// Runs the test on one device after the other and reports it all. Throws what the test throws, after the report was
// ended with EXITEDABNORMALLY.
TestResult carryOut(Run const & run, SessionSetup const & setup);

} // namespace tkit5
