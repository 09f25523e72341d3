// A PC whose devices were exchanged after its device tree had been read.
#pragma once

#include "Forwarding.h"
#include "kernel/StorageRecords.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <utility>

namespace support {

// The tree is that of one PC, everything that is opened belongs to another, until it is put back.
class SwappedPc final : public ForwardingMachine {
public:
    SwappedPc(std::unique_ptr<machine::Machine> before, std::unique_ptr<machine::Machine> now)
        : ForwardingMachine(std::move(now)), before_(std::move(before)) {}

    int propertyQueries = 0;         // so far
    std::uint32_t propertyError = 0; // that they fail with
    int lengthQueries = 0;
    std::uint32_t lengthError = 0;
    std::optional<std::int64_t> lengthOfCard; // in the reader by now, whatever was in it when it was opened

    void putBack() { isSwapped_ = false; }
    void swapAgain() { isSwapped_ = true; }

    machine::Opened open(machine::OpenRequest const & request) override {
        machine::Opened opened = isSwapped_ ? ForwardingMachine::open(request) : before_->open(request);
        if (opened.file) {
            opened.file = std::make_unique<Watched>(*this, std::move(opened.file));
        }
        return opened;
    }
    machine::DeviceTree const & devices() const override { return before_->devices(); }
    bool isPresent(machine::NodeId node) const override { return before_->isPresent(node); }

private:
    class Watched final : public ForwardingFile {
    public:
        Watched(SwappedPc & pc, std::unique_ptr<machine::File> file) : ForwardingFile(std::move(file)), pc_(pc) {}
        machine::Transfer control(std::uint32_t code, std::span<std::byte const> input, std::span<std::byte> output,
                                  std::optional<machine::Duration> limit) override {
            if (code == kernel::IOCTL_STORAGE_QUERY_PROPERTY) {
                ++pc_.propertyQueries;
                if (pc_.propertyError != 0) {
                    return {pc_.propertyError, 0};
                }
            }
            if (code == kernel::IOCTL_DISK_GET_LENGTH_INFO) {
                ++pc_.lengthQueries;
                if (pc_.lengthError != 0) {
                    return {pc_.lengthError, 0};
                }
                if (pc_.lengthOfCard) {
                    kernel::GET_LENGTH_INFORMATION const answer{*pc_.lengthOfCard};
                    std::memcpy(output.data(), &answer, sizeof answer);
                    return {0, sizeof answer};
                }
            }
            return ForwardingFile::control(code, input, output, limit);
        }

    private:
        SwappedPc & pc_;
    };

    std::unique_ptr<machine::Machine> before_;
    bool isSwapped_ = true;
};

} // namespace support
