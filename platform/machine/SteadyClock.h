#pragma once

#include "Clock.h"

#include <thread>

namespace machine {

// The real time of this PC, which no change of the wall clock disturbs.
class SteadyClock final : public Clock {
public:
    Duration now() const override { return std::chrono::steady_clock::now().time_since_epoch(); }
    void sleep(Duration duration) override { std::this_thread::sleep_for(duration); }
    bool isVirtual() const override { return false; }
};

} // namespace machine
