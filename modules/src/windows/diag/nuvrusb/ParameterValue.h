// Reading a parameter that the caller need not have passed: its value, or what goes for one that is not set.
#pragma once

#include "tkit5.h"

#include <cstdint>

namespace nuvrusb {

inline bool boolOr(tkit5::Parameter const * parameter, bool unset) {
    return parameter->isset() ? parameter->value().valueBool() : unset;
}

inline std::uint32_t uint32Or(tkit5::Parameter const * parameter, std::uint32_t unset) {
    return parameter->isset() ? parameter->value().valueUint32() : unset;
}

inline double percentOr(tkit5::Parameter const * parameter, double unset) {
    return parameter->isset() ? parameter->value().valuePercent() : unset;
}

} // namespace nuvrusb
