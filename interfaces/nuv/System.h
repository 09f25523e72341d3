#pragma once

#include "String.h"

#include <cstdint>

namespace nuv {

class System {
public:
    // The calling thread's last error of the kernel services (a Windows error code, 0 when none failed yet).
    static std::uint32_t getSystemError();

    // A sentence for a Windows error code, "error N" for one without.
    static String getSystemErrorMsg(std::uint32_t code);
};

} // namespace nuv
