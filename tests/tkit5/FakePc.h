// The smallest PC: no devices, and a clock that the test chooses.
#pragma once

#include "machine/Machine.h"

namespace test {

class FakeClock final : public machine::Clock {
public:
    machine::Duration now() const override { return now_; }
    void sleep(machine::Duration duration) override { now_ += duration; }
    bool isVirtual() const override { return isVirtual_; }

    void beReal() { isVirtual_ = false; }

private:
    machine::Duration now_{};
    bool isVirtual_ = true;
};

// The current machine while it lives.
class FakePc final : public machine::Machine {
public:
    std::string name() const override { return "A PC without devices"; }
    machine::Opened open(machine::OpenRequest const &) override { return {.file = nullptr, .error = 2}; }
    machine::DeviceTree const & devices() const override { return tree_; }
    bool isPresent(machine::NodeId) const override { return true; }
    FakeClock & clock() override { return clock_; }
    machine::VolumePaths volumes() const override { return {}; }
    std::uint32_t take(machine::Resource) override { return 0; }
    bool portDoesSuperSpeedPlus(std::u16string_view, std::uint32_t) const override { return false; }

private:
    FakeClock clock_;
    machine::DeviceTree tree_;
    machine::InUse inUse_{*this};
};

} // namespace test
