#pragma once

#include "machine/Clock.h"

namespace machine::windows {

// The performance counter of this PC, which no change of the wall clock disturbs.
class PerformanceClock final : public Clock {
public:
    PerformanceClock();

    Duration now() const override;
    void sleep(Duration duration) override;
    bool isVirtual() const override { return false; }

private:
    long long perSecond_;
};

} // namespace machine::windows
