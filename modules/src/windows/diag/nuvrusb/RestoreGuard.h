// The data that a transfer overwrote come back on every way out of it.
#pragma once

#include "PerformanceCalculator.h"

#include <cstdint>
#include <utility>

namespace nuvrusb {

// Armed from its construction until it has run once. A restore that fails is reported by the restore itself and changes
// nothing else; it never throws, since it also runs while an exception passes.
class RestoreGuard {
public:
    RestoreGuard(PerformanceCalculator & calculator, std::uint64_t sector) : calculator_(calculator), sector_(sector) {}
    RestoreGuard(RestoreGuard const &) = delete;
    RestoreGuard & operator=(RestoreGuard const &) = delete;
    ~RestoreGuard() { run(); }

    void run() noexcept {
        if (!std::exchange(isArmed_, false)) {
            return;
        }
        try {
            calculator_.restoreSectors(sector_);
        } catch (...) {
            // Its reports throw after the attempt to write. Before it, only what opens a trace scope can.
        }
    }

private:
    PerformanceCalculator & calculator_;
    std::uint64_t sector_;
    bool isArmed_ = true;
};

} // namespace nuvrusb
