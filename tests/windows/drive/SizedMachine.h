// The PC that the tests run on, whose disks are files that know neither their sectors nor their length.
#pragma once

#include "kernel.h"
#include "machine/Machine.h"
#include "machine/windows/WindowsMachine.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

// A file that tells the size of a disk besides.
class SizedFile final : public machine::File {
public:
    SizedFile(std::unique_ptr<machine::File> file, std::uint32_t sectorSize, std::uint64_t size)
        : file_(std::move(file)), sectorSize_(sectorSize), size_(size) {}

    machine::Started read(std::uint64_t offset, std::span<std::byte> buffer) override {
        return file_->read(offset, buffer);
    }
    machine::Started write(std::uint64_t offset, std::span<std::byte const> buffer) override {
        return file_->write(offset, buffer);
    }
    std::uint32_t flush() override { return file_->flush(); }

    machine::Transfer control(std::uint32_t code, std::span<std::byte const> input, std::span<std::byte> output,
                              std::optional<machine::Duration> limit) override {
        if (code == kernel::IOCTL_DISK_GET_DRIVE_GEOMETRY_EX) {
            kernel::DISK_GEOMETRY_EX record{};
            record.Geometry.BytesPerSector = sectorSize_;
            record.DiskSize = static_cast<std::int64_t>(size_);
            return answer(record, output);
        }
        if (code == kernel::IOCTL_DISK_GET_LENGTH_INFO) {
            kernel::GET_LENGTH_INFORMATION record{};
            record.Length = static_cast<std::int64_t>(size_);
            return answer(record, output);
        }
        return file_->control(code, input, output, limit);
    }

private:
    template <class Record> static machine::Transfer answer(Record const & record, std::span<std::byte> output) {
        auto const bytes = std::as_bytes(std::span(&record, 1));
        std::size_t const size = std::min(bytes.size(), output.size());
        std::ranges::copy(bytes.first(size), output.begin());
        return {kernel::ERROR_SUCCESS, static_cast<std::uint32_t>(size)};
    }

    std::unique_ptr<machine::File> file_;
    std::uint32_t sectorSize_;
    std::uint64_t size_;
};

class SizedMachine final : public machine::Machine {
public:
    SizedMachine(std::uint32_t sectorSize, std::uint64_t size) : sectorSize_(sectorSize), size_(size) {}

    std::string name() const override { return pc_->name(); }
    machine::Opened open(machine::OpenRequest const & request) override {
        machine::Opened opened = pc_->open(request);
        if (opened.file) {
            opened.file = std::make_unique<SizedFile>(std::move(opened.file), sectorSize_, size_);
        }
        return opened;
    }
    machine::DeviceTree const & devices() const override { return pc_->devices(); }
    bool isPresent(machine::NodeId node) const override { return pc_->isPresent(node); }
    machine::Clock & clock() override { return pc_->clock(); }
    std::vector<std::u16string> volumes() const override { return pc_->volumes(); }
    std::uint32_t take(machine::Resource resource) override { return pc_->take(resource); }
    bool portDoesSuperSpeedPlus(std::u16string_view hubPath, std::uint32_t port) const override {
        return pc_->portDoesSuperSpeedPlus(hubPath, port);
    }

private:
    std::unique_ptr<machine::Machine> const pc_ = machine::makeWindowsMachine();
    std::uint32_t const sectorSize_;
    std::uint64_t const size_;
};
