#pragma once

#include "kernel.h"

namespace kernel {

// For functions that tell a failure by false.
inline bool fail(std::uint32_t error) {
    SetLastError(error);
    return false;
}

} // namespace kernel
