// The PC that the tests run on, whose disks are files that know neither their sectors nor their length.
#pragma once

#include "kernel.h"
#include "machine/windows/WindowsMachine.h"
#include "support/Forwarding.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <utility>

// A file that tells the size of a disk besides.
class SizedFile final : public support::ForwardingFile {
public:
    SizedFile(std::unique_ptr<machine::File> file, std::uint32_t sectorSize, std::uint64_t size)
        : ForwardingFile(std::move(file)), sectorSize_(sectorSize), size_(size) {}

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
        return ForwardingFile::control(code, input, output, limit);
    }

private:
    template <class Record> static machine::Transfer answer(Record const & record, std::span<std::byte> output) {
        auto const bytes = std::as_bytes(std::span(&record, 1));
        std::size_t const size = std::min(bytes.size(), output.size());
        std::ranges::copy(bytes.first(size), output.begin());
        return {kernel::ERROR_SUCCESS, static_cast<std::uint32_t>(size)};
    }

    std::uint32_t sectorSize_;
    std::uint64_t size_;
};

class SizedMachine final : public support::ForwardingMachine {
public:
    SizedMachine(std::uint32_t sectorSize, std::uint64_t size)
        : ForwardingMachine(machine::makeWindowsMachine()), sectorSize_(sectorSize), size_(size) {}

    machine::Opened open(machine::OpenRequest const & request) override {
        machine::Opened opened = ForwardingMachine::open(request);
        if (opened.file) {
            opened.file = std::make_unique<SizedFile>(std::move(opened.file), sectorSize_, size_);
        }
        return opened;
    }

private:
    std::uint32_t const sectorSize_;
    std::uint64_t const size_;
};
