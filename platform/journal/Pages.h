#pragma once

#include <cstddef>
#include <memory>
#include <new>

namespace journal {

// Memory as unbuffered transfers want it; null when there is none.
struct FreePages {
    void operator()(std::byte * memory) const { ::operator delete (memory, std::align_val_t{4096}); }
};
using Pages = std::unique_ptr<std::byte, FreePages>;

inline Pages makePages(std::size_t size) {
    return Pages(static_cast<std::byte *>(::operator new (size, std::align_val_t{4096}, std::nothrow)));
}

} // namespace journal
