// Judging one device by its port and its device node, or one hub by the ports that it feeds.
#pragma once

#include "kernel.h"
#include "tkit5.h"

#include <cstdint>

namespace nuvrusb {

// What CheckDeviceStatus finds. Codes from 5 on are the port's connection status plus 5, so that 5 also stands for a
// port without a device and 8 also for one in general failure.
namespace status_code {
inline constexpr std::int32_t healthy = 0;
inline constexpr std::int32_t childDisabled = 2;
inline constexpr std::int32_t misconfigured = 3; // not configured, or the child node has a problem
inline constexpr std::int32_t secondQueryFailed = 4;
inline constexpr std::int32_t notConnected = 5;
inline constexpr std::int32_t failedEnumeration = 7;
inline constexpr std::int32_t generalFailureOrQueryFailed = 8;
inline constexpr std::int32_t causedOvercurrent = 9;
inline constexpr std::int32_t notEnoughPower = 10;
inline constexpr std::int32_t enumerating = 14;
inline constexpr std::int32_t resetting = 15;
inline constexpr std::int32_t unknown = -1; // a connection status that no code stands for
} // namespace status_code

// Judges the device on a hub's port (1-based) and raises what it finds.
std::int32_t CheckDeviceStatus(kernel::HANDLE hub, std::uint32_t port);

// The verdict on a device with that status code; raises what the code alone tells.
tkit5::TestResult resultOfStatusCode(std::int32_t code);

// Judges the hub on a parent hub's port by its own ports and those of the hubs directly on it: WARN for the first one
// without enough power or in overcurrent. PASS too when the hub's name cannot be learned.
tkit5::TestResult getPowerConsumptionStatus(kernel::HANDLE parentHub, std::uint32_t port);

} // namespace nuvrusb
