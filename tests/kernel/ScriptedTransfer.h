// A transfer under way, as long and with the outcome that the test writes down.
#pragma once

#include "machine/Machine.h"

#include <algorithm>
#include <memory>
#include <optional>

namespace support {

struct TransferScript {
    machine::Duration takes{};
    machine::Transfer outcome;
    bool cancellable = true;
};

class ScriptedTransfer final : public machine::PendingTransfer {
public:
    ScriptedTransfer(machine::Clock & clock, TransferScript const & script)
        : clock_(clock), script_(script), end_(clock.now() + script.takes) {}

    std::optional<machine::Transfer> wait(machine::Duration limit) override {
        if (cancelled_) {
            return machine::Transfer{995, 0};
        }
        machine::Duration const left = std::max(end_ - clock_.now(), machine::Duration::zero());
        clock_.sleep(std::min(left, limit));
        return left > limit ? std::nullopt : std::optional(script_.outcome);
    }
    void cancel() override { cancelled_ = script_.cancellable; }

private:
    machine::Clock & clock_;
    TransferScript const script_;
    machine::Duration const end_;
    bool cancelled_ = false;
};

// A start that goes on as the script says.
inline machine::Started goesOn(machine::Clock & clock, TransferScript const & script) {
    return {{}, std::make_unique<ScriptedTransfer>(clock, script)};
}

} // namespace support
