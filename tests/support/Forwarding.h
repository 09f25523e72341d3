// A PC and a file that pass every call on, for those that change some.
#pragma once

#include "machine/Machine.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace support {

class ForwardingFile : public machine::File {
public:
    explicit ForwardingFile(std::unique_ptr<machine::File> file) : file_(std::move(file)) {}

    machine::Started read(std::uint64_t offset, std::span<std::byte> buffer) override {
        return file_->read(offset, buffer);
    }
    machine::Started write(std::uint64_t offset, std::span<std::byte const> buffer) override {
        return file_->write(offset, buffer);
    }
    std::uint32_t flush() override { return file_->flush(); }
    machine::Transfer control(std::uint32_t code, std::span<std::byte const> input, std::span<std::byte> output,
                              std::optional<machine::Duration> limit) override {
        return file_->control(code, input, output, limit);
    }

private:
    std::unique_ptr<machine::File> file_;
};

class ForwardingMachine : public machine::Machine {
public:
    explicit ForwardingMachine(std::unique_ptr<machine::Machine> pc) : pc_(std::move(pc)) {}

    std::string name() const override { return pc_->name(); }
    machine::Opened open(machine::OpenRequest const & request) override { return pc_->open(request); }
    machine::DeviceTree const & devices() const override { return pc_->devices(); }
    bool isPresent(machine::NodeId node) const override { return pc_->isPresent(node); }
    machine::Clock & clock() override { return pc_->clock(); }
    machine::VolumePaths volumes() const override { return pc_->volumes(); }
    std::uint32_t take(machine::Resource resource) override { return pc_->take(resource); }
    bool portDoesSuperSpeedPlus(std::u16string_view hubPath, std::uint32_t port) const override {
        return pc_->portDoesSuperSpeedPlus(hubPath, port);
    }

private:
    std::unique_ptr<machine::Machine> pc_;
};

} // namespace support
