// Reading a parameter that the caller need not have passed.
#pragma once

#include "tkit5.h"

#include <cstdint>

namespace nuvrusb {

inline std::uint32_t uint32Or(tkit5::Parameter const * parameter, std::uint32_t unset) {
    return parameter->isset() ? parameter->value().valueUint32() : unset;
}

} // namespace nuvrusb
