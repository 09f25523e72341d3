// The time of a described PC that answers programs of a real one: what an answer sleeps does not pass, but makes the
// answer late.
#pragma once

#include "machine/Clock.h"
#include "machine/SteadyClock.h"

#include <algorithm>
#include <utility>

namespace livepc {

class AnswerClock final : public machine::Clock {
public:
    machine::Duration now() const override { return real_.now(); }
    bool isVirtual() const override { return true; }
    void sleep(machine::Duration duration) override {
        late_ += std::clamp(duration, machine::Duration::zero(), machine::Duration::max() - late_);
    }

    // How late the answer is, from the last time that this was asked.
    machine::Duration takeLate() { return std::exchange(late_, machine::Duration::zero()); }

private:
    machine::SteadyClock real_;
    machine::Duration late_{};
};

} // namespace livepc
