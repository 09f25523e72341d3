#include "kernel.h"

namespace kernel {

namespace {
thread_local std::uint32_t lastError = ERROR_SUCCESS;
}

std::uint32_t GetLastError() {
    return lastError;
}

void SetLastError(std::uint32_t code) {
    lastError = code;
}

} // namespace kernel
