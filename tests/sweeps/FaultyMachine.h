// A machine that makes one of its calls fail, once or from then on.
#pragma once

#include "Faults.h"

#include "machine/Machine.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace test {

// A transfer that fails has taken its time, and a write that fails has moved a half. A transfer under way that fails
// has moved all of it, and only its outcome is wrong.
class FaultyMachine final : public machine::Machine {
public:
    FaultyMachine(std::unique_ptr<machine::Machine> healthy, std::shared_ptr<CallRecord> record);
    FaultyMachine(FaultyMachine const &) = delete;
    FaultyMachine & operator=(FaultyMachine const &) = delete;
    ~FaultyMachine() override { record_->took = healthy_->clock().now(); }

    std::string name() const override { return healthy_->name(); }
    machine::Opened open(machine::OpenRequest const & request) override;
    machine::DeviceTree const & devices() const override { return healthy_->devices(); }
    bool isPresent(machine::NodeId node) const override { return healthy_->isPresent(node); }
    machine::Clock & clock() override { return healthy_->clock(); }
    machine::VolumePaths volumes() const override { return healthy_->volumes(); }
    std::uint32_t take(machine::Resource resource) override;
    bool portDoesSuperSpeedPlus(std::u16string_view hubPath, std::uint32_t port) const override {
        return healthy_->portDoesSuperSpeedPlus(hubPath, port);
    }

private:
    // "hub, to write": what is opened, and what for.
    std::string described(machine::OpenRequest const & request) const;

    std::unique_ptr<machine::Machine> healthy_;
    std::shared_ptr<CallRecord> record_;
    std::map<std::u16string, std::string> kinds_; // of devices and volumes, by path without prefix, folded
};

} // namespace test
