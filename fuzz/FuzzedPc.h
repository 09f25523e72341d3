// A PC whose hubs, controllers, disks and volumes answer with whatever the fuzzer says: every I/O control and every
// read takes its outcome, its length and its bytes from the input, until that is used up and everything fails.
#pragma once

#include "machine/Machine.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace fuzz {

class Input {
public:
    Input(std::uint8_t const * data, std::size_t size) : rest_(data, size) {}

    bool used() const { return rest_.empty(); }
    std::uint8_t byte() {
        std::uint8_t const value = rest_.empty() ? std::uint8_t{0} : rest_.front();
        rest_ = rest_.subspan(rest_.empty() ? 0 : 1);
        return value;
    }
    std::uint32_t pair() { return byte() | static_cast<std::uint32_t>(byte()) << 8U; }
    void fill(std::span<std::byte> target) {
        for (std::byte & one : target) {
            one = std::byte{byte()};
        }
    }

private:
    std::span<std::uint8_t const> rest_;
};

class FuzzedFile final : public machine::File {
public:
    explicit FuzzedFile(Input & input) : input_(input) {}

    machine::Started read(std::uint64_t, std::span<std::byte> buffer) override { return {answer(buffer), nullptr}; }
    machine::Started write(std::uint64_t, std::span<std::byte const>) override { return {{31, 0}, nullptr}; }
    std::uint32_t flush() override { return 31; }

    machine::Transfer control(std::uint32_t, std::span<std::byte const>, std::span<std::byte> output,
                              std::optional<machine::Duration>) override {
        return answer(output);
    }

private:
    machine::Transfer answer(std::span<std::byte> output) {
        if (input_.used()) {
            return {.error = 31, .bytes = 0};
        }
        std::uint8_t const outcome = input_.byte();
        if (outcome >= 0xE0) {
            return {.error = input_.pair() + 1, .bytes = 0};
        }
        auto const length = std::min<std::size_t>(input_.pair(), output.size());
        input_.fill(output.first(length));
        return {.error = 0, .bytes = static_cast<std::uint32_t>(length)};
    }

    Input & input_;
};

class StillClock final : public machine::Clock {
public:
    machine::Duration now() const override { return {}; }
    void sleep(machine::Duration) override {}
    bool isVirtual() const override { return true; }
};

class FuzzedPc final : public machine::Machine {
public:
    FuzzedPc(std::uint8_t const * data, std::size_t size) : input_(data, size) {
        machine::DeviceNode controller;
        controller.nodeClass = machine::NodeClass::HostController;
        controller.instanceId = u"PCI\\FUZZED";
        controller.interfacePath = u"\\\\?\\controller";
        machine::DeviceNode device;
        device.instanceId = u"USB\\FUZZED";
        device.driverKey = u"{k}\\1";
        machine::DeviceNode function;
        function.instanceId = u"USB\\FUZZED\\0";
        function.description = u"Function";
        function.problem = 28;
        tree_.add(tree_.add(tree_.add(tree_.root(), controller), device), function);
    }

    std::string name() const override { return "fuzzed"; }
    machine::Opened open(machine::OpenRequest const &) override {
        return {.file = std::make_unique<FuzzedFile>(input_), .error = 0};
    }
    machine::DeviceTree const & devices() const override { return tree_; }
    bool isPresent(machine::NodeId) const override { return true; }
    machine::Clock & clock() override { return clock_; }
    machine::VolumePaths volumes() const override {
        return {.paths = {u"\\\\?\\Volume{1}", u"\\\\?\\Volume{2}"}, .complete = true};
    }
    std::uint32_t take(machine::Resource) override { return 0; }
    bool portDoesSuperSpeedPlus(std::u16string_view, std::uint32_t) const override { return false; }

private:
    Input input_;
    machine::DeviceTree tree_;
    StillClock clock_;
};

} // namespace fuzz
