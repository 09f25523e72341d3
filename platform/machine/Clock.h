#pragma once

#include <chrono>

namespace machine {

using Duration = std::chrono::nanoseconds;

// The time of a PC. Everything that measures or waits uses this clock and no other.
class Clock {
public:
    virtual ~Clock() = default;

    virtual Duration now() const = 0;          // since an arbitrary start; never goes back
    virtual void sleep(Duration duration) = 0; // blocks; on virtual time it only moves the clock
    virtual bool isVirtual() const = 0;        // time passes only by I/O and sleep
};

} // namespace machine
