// Which devices a test is offered.
#pragma once

#include "Registry.h"

#include <optional>
#include <string>

namespace tkit5 {

// Nothing when the test accepts the device, else why not: "it lacks the capability USBMassStorage".
std::optional<std::string> whyNotAccepted(RegisteredTest const & test, DiagDevice const & device);

// Whether the device is at hand while the test runs.
bool isOptionalDevice(RegisteredTest const & test, DiagDevice const & device);

} // namespace tkit5
