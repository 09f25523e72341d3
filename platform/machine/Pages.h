// Memory as unbuffered transfers want it.
#pragma once

#include "Machine.h"
#include "kernel/Files.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <span>

namespace machine {

inline constexpr std::size_t pageSize = 4096;

struct FreePages {
    void operator()(std::byte * memory) const { ::operator delete (memory, std::align_val_t{pageSize}); }
};
using Pages = std::unique_ptr<std::byte, FreePages>;

// Null when there is no memory left.
inline Pages makePages(std::size_t size) {
    return Pages(static_cast<std::byte *>(::operator new (size, std::align_val_t{pageSize}, std::nothrow)));
}

// The same for the libraries above the machine, whose PC can run out of memory.
inline Pages takePages(std::size_t size) {
    return current().take(Resource::Memory) == kernel::ERROR_SUCCESS ? makePages(size) : Pages();
}

inline bool isPageAligned(void const * address) {
    return reinterpret_cast<std::uintptr_t>(address) % pageSize == 0;
}

// Carries out a read into memory that it cannot read into itself. `read` takes a span of pages and gives a Windows
// error, as this does; the buffer is left alone where that is not 0.
template <class Read> std::uint32_t readThroughPages(std::span<std::byte> buffer, Read const & read) {
    Pages const pages = makePages(buffer.size());
    if (!pages) {
        return kernel::ERROR_NOT_ENOUGH_MEMORY;
    }
    std::uint32_t const error = read(std::span(pages.get(), buffer.size()));
    if (error == kernel::ERROR_SUCCESS) {
        std::memcpy(buffer.data(), pages.get(), buffer.size());
    }
    return error;
}

// The same for a write.
template <class Write> std::uint32_t writeThroughPages(std::span<std::byte const> bytes, Write const & write) {
    Pages const pages = makePages(bytes.size());
    if (!pages) {
        return kernel::ERROR_NOT_ENOUGH_MEMORY;
    }
    std::memcpy(pages.get(), bytes.data(), bytes.size());
    return write(std::span<std::byte const>(pages.get(), bytes.size()));
}

} // namespace machine
