#pragma once

#include "kernel.h"

#include <cstdint>

namespace kernel {

inline constexpr std::uint32_t tooManyOpenFiles = 4;

// For functions that tell a failure by false.
inline bool fail(std::uint32_t error) {
    SetLastError(error);
    return false;
}

} // namespace kernel
