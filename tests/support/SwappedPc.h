// A PC whose devices were exchanged after its device tree had been read.
#pragma once

#include "kernel/StorageRecords.h"
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

// The tree is that of one PC, everything that is opened belongs to another.
class SwappedPc final : public machine::Machine {
public:
    SwappedPc(std::unique_ptr<machine::Machine> before, std::unique_ptr<machine::Machine> now)
        : before_(std::move(before)), now_(std::move(now)) {}

    int propertyQueries = 0;         // so far
    std::uint32_t propertyError = 0; // that they fail with

    std::string name() const override { return now_->name(); }
    machine::Opened open(machine::OpenRequest const & request) override {
        machine::Opened opened = now_->open(request);
        if (opened.file) {
            opened.file = std::make_unique<Watched>(*this, std::move(opened.file));
        }
        return opened;
    }
    machine::DeviceTree const & devices() const override { return before_->devices(); }
    bool isPresent(machine::NodeId node) const override { return before_->isPresent(node); }
    machine::Clock & clock() override { return now_->clock(); }
    std::vector<std::u16string> volumes() const override { return now_->volumes(); }
    std::uint32_t take(machine::Resource resource) override { return now_->take(resource); }
    bool portDoesSuperSpeedPlus(std::u16string_view hubPath, std::uint32_t port) const override {
        return now_->portDoesSuperSpeedPlus(hubPath, port);
    }

private:
    class Watched final : public machine::File {
    public:
        Watched(SwappedPc & pc, std::unique_ptr<machine::File> file) : pc_(pc), file_(std::move(file)) {}
        machine::Started read(std::uint64_t offset, std::span<std::byte> buffer) override {
            return file_->read(offset, buffer);
        }
        machine::Started write(std::uint64_t offset, std::span<std::byte const> buffer) override {
            return file_->write(offset, buffer);
        }
        std::uint32_t flush() override { return file_->flush(); }
        machine::Transfer control(std::uint32_t code, std::span<std::byte const> input, std::span<std::byte> output,
                                  std::optional<machine::Duration> limit) override {
            if (code == kernel::IOCTL_STORAGE_QUERY_PROPERTY) {
                ++pc_.propertyQueries;
                if (pc_.propertyError != 0) {
                    return {pc_.propertyError, 0};
                }
            }
            return file_->control(code, input, output, limit);
        }

    private:
        SwappedPc & pc_;
        std::unique_ptr<machine::File> file_;
    };

    std::unique_ptr<machine::Machine> before_;
    std::unique_ptr<machine::Machine> now_;
};

} // namespace support
