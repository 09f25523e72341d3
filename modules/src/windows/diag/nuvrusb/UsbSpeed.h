// USB speeds as the module compares and names them.
#pragma once

#include "nuv.h"

#include <cstdint>

namespace nuvrusb {

// A signed code that grows with the speed. 4 is another code of USB 2.0, which no conversion gives.
using SpeedCode = std::int32_t;
inline constexpr SpeedCode speedUnknown = 0;
inline constexpr SpeedCode speedUsb10 = 1;
inline constexpr SpeedCode speedUsb11 = 2;
inline constexpr SpeedCode speedUsb20 = 3;
inline constexpr SpeedCode speedSuper = 5;
inline constexpr SpeedCode speedSuperPlus = 6;

inline constexpr std::uint8_t highestSpeedByte = 4;

SpeedCode speedCodeOfByte(std::uint8_t connectionSpeed); // the speed byte of a port's connection record
SpeedCode speedCodeOfVersion(float usbVersion);          // exactly 1.0f, 1.1f, 2.0f, 2.1f, 3.0f or 3.1f

nuv::String mapUsbSpeedToString(SpeedCode speed);

} // namespace nuvrusb
