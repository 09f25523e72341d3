#pragma once

#include <cstdint>

namespace nuv {

// Measures elapsed time on a clock that never goes back and that no change of the wall clock disturbs.
class Stopwatch {
public:
    Stopwatch(); // running from now
    void reset();
    double getElapsed() const; // seconds since construction or the last reset

private:
    std::int64_t start_; // nanoseconds
};

} // namespace nuv
