#pragma once

#include "machine/Clock.h"

#include <algorithm>

namespace machine::simulated {

class VirtualClock final : public Clock {
public:
    Duration now() const override { return now_; }
    bool isVirtual() const override { return true; }

    void sleep(Duration duration) override {
        // Stops at the end of time rather than going around.
        now_ += std::clamp(duration, Duration::zero(), Duration::max() - now_);
    }

private:
    Duration now_ = Duration::zero();
};

} // namespace machine::simulated
