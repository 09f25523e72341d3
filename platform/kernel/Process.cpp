// Services of the process itself: memory and the error mode.
#include "kernel.h"
#include "machine/Machine.h"

#include <atomic>
#include <cstdlib>

namespace kernel {

namespace {

std::atomic<std::uint32_t> errorMode = 0;

} // namespace

std::uint32_t SetErrorMode(std::uint32_t mode) {
    return errorMode.exchange(mode);
}

void * GlobalAlloc(std::uint32_t flags, std::size_t byteCount) {
    if (std::uint32_t const error = machine::current().take(machine::Resource::Memory); error != ERROR_SUCCESS) {
        SetLastError(error);
        return nullptr;
    }
    // A block of no bytes is still a block with an address of its own.
    std::size_t const size = byteCount == 0 ? 1 : byteCount;
    void * const memory = (flags & GPTR) != 0 ? std::calloc(size, 1) : std::malloc(size);
    if (memory == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
    return memory;
}

void * GlobalFree(void * memory) {
    std::free(memory);
    return nullptr;
}

} // namespace kernel
