// Memory for transfers past the caches of the OS, which go straight to and from the pages of their buffer.
#pragma once

#include "kernel.h"

#include <cstddef>
#include <cstring>
#include <memory>
#include <utility>

namespace nuvrusb {

// A page-aligned buffer of bytes; empty at first.
class AlignedBuffer {
public:
    AlignedBuffer() = default;
    AlignedBuffer(AlignedBuffer && other) noexcept
        : memory_(std::move(other.memory_)), bytes_(std::exchange(other.bytes_, nullptr)),
          size_(std::exchange(other.size_, 0)) {}
    AlignedBuffer & operator=(AlignedBuffer && other) noexcept {
        memory_ = std::move(other.memory_);
        bytes_ = std::exchange(other.bytes_, nullptr);
        size_ = std::exchange(other.size_, 0);
        return *this;
    }

    std::byte * data() { return bytes_; }
    std::byte const * data() const { return bytes_; }
    std::size_t size() const { return size_; }

    // Makes it that many zero bytes; what it held is gone. False, and the buffer empty, when there is no such memory.
    bool resize(std::size_t size) {
        if (!reserve(size)) {
            return false;
        }
        if (size != 0) {
            std::memset(bytes_, 0, size); // so that no page is missing when a transfer is timed
        }
        return true;
    }

    // The same without the zeros: for bytes that nobody looks at and no stopwatch waits for.
    // The old bytes go first: transfers can be as large as hundreds of megabytes.
    bool reserve(std::size_t size) {
        memory_.reset();
        bytes_ = nullptr;
        size_ = 0;
        if (size == 0) {
            return true;
        }
        std::size_t room = size + alignment;
        memory_.reset(kernel::GlobalAlloc(kernel::GMEM_FIXED, room));
        void * first = memory_.get();
        if (first == nullptr || std::align(alignment, size, first, room) == nullptr) {
            return false;
        }
        bytes_ = static_cast<std::byte *>(first);
        size_ = size;
        return true;
    }

private:
    static constexpr std::size_t alignment = 4096;

    struct Freeing {
        void operator()(void * memory) const { kernel::GlobalFree(memory); }
    };

    std::unique_ptr<void, Freeing> memory_;
    std::byte * bytes_ = nullptr; // in the memory
    std::size_t size_ = 0;
};

} // namespace nuvrusb
