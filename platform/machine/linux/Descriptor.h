#pragma once

#include <unistd.h>

#include <utility>

namespace machine {

// Owns a file descriptor; below 0 it is none.
class Descriptor {
public:
    explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
    Descriptor(Descriptor && other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    Descriptor(Descriptor const &) = delete;
    Descriptor & operator=(Descriptor const &) = delete;
    Descriptor & operator=(Descriptor &&) = delete;
    ~Descriptor() {
        if (isValid()) {
            ::close(descriptor_);
        }
    }
    bool isValid() const { return descriptor_ >= 0; }
    int get() const { return descriptor_; }

private:
    int descriptor_;
};

} // namespace machine
