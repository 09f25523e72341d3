// A PC whose volumes answer what the test writes down, down to what no described PC would do. Its disk 1 holds zeros.
#pragma once

#include "kernel/StorageRecords.h"
#include "machine/Machine.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace support {

// How one volume or disk answers. Extents are given out only to who has room for all of them.
struct ScriptedVolume {
    std::uint32_t openError = 0;
    std::uint32_t extentsError = 0;
    std::vector<kernel::DISK_EXTENT> extents{};
    std::optional<std::uint32_t> count{}; // that the answer claims, where it lies
    std::uint32_t numberError = 0;
    kernel::STORAGE_DEVICE_NUMBER number{kernel::FILE_DEVICE_DISK, 1, 1};

    int locks = 0;
    int dismounts = 0;
    int unlocks = 0;
    std::uint32_t dismountError = 0;
    std::uint32_t unlockError = 0;
};

class ScriptedVolumes final : public machine::Machine {
public:
    class Clock final : public machine::Clock {
    public:
        machine::Duration now() const override { return now_; }
        void sleep(machine::Duration duration) override { now_ += duration; }
        bool isVirtual() const override { return true; }

    private:
        machine::Duration now_{0};
    };

    std::vector<std::pair<std::u16string, ScriptedVolume>> all;
    ScriptedVolume disk{.number = {kernel::FILE_DEVICE_DISK, 1, 0}};
    std::vector<machine::OpenRequest> opensOfDisk;               // without their paths
    std::vector<std::pair<std::u16string, std::uint32_t>> files; // on the volumes, and the errors of opening them
    int filesAlive = 0;
    bool allAreTold = true; // the volumes

    std::string name() const override { return "scripted"; }
    machine::DeviceTree const & devices() const override { return tree_; }
    machine::Clock & clock() override { return clock_; }
    std::uint32_t take(machine::Resource) override { return 0; }
    bool portDoesSuperSpeedPlus(std::u16string_view, std::uint32_t) const override { return false; }
    bool isPresent(machine::NodeId) const override { return true; }
    machine::VolumePaths volumes() const override {
        machine::VolumePaths volumes{.paths = {}, .complete = allAreTold};
        for (auto const & [path, volume] : all) {
            volumes.paths.push_back(path);
        }
        return volumes;
    }

    machine::Opened open(machine::OpenRequest const & request) override {
        for (auto const & [path, error] : files) {
            if (path == request.path) {
                return {nullptr, error};
            }
        }
        ScriptedVolume * found = request.path == u"\\\\.\\PhysicalDrive1" ? &disk : nullptr;
        for (auto & [path, volume] : all) {
            found = path == request.path ? &volume : found;
        }
        if (found == nullptr) {
            return {nullptr, 2};
        }
        if (found == &disk) {
            opensOfDisk.push_back(request);
            opensOfDisk.back().path = {};
        }
        if (found->openError != 0) {
            return {nullptr, found->openError};
        }
        return {std::make_unique<File>(*this, *found), 0};
    }

private:
    class File final : public machine::File {
    public:
        File(ScriptedVolumes & pc, ScriptedVolume & volume) : pc_(pc), volume_(volume) { ++pc_.filesAlive; }
        File(File const &) = delete;
        File & operator=(File const &) = delete;
        ~File() override { --pc_.filesAlive; }

        machine::Started read(std::uint64_t, std::span<std::byte> buffer) override {
            std::ranges::fill(buffer, std::byte{});
            return {{0, static_cast<std::uint32_t>(buffer.size())}, nullptr};
        }
        machine::Started write(std::uint64_t, std::span<std::byte const>) override { return {{1, 0}, nullptr}; }
        std::uint32_t flush() override { return 1; }
        machine::Transfer control(std::uint32_t code, std::span<std::byte const>, std::span<std::byte> output,
                                  std::optional<machine::Duration>) override {
            switch (code) {
            case kernel::IOCTL_STORAGE_GET_DEVICE_NUMBER:
                return volume_.numberError != 0 ? machine::Transfer{volume_.numberError, 0}
                                                : bytes(&volume_.number, sizeof volume_.number, output);
            case kernel::IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS:
                return extents(output);
            case kernel::IOCTL_DISK_GET_DRIVE_GEOMETRY_EX: {
                kernel::DISK_GEOMETRY_EX geometry{};
                geometry.Geometry.BytesPerSector = 512;
                return bytes(&geometry, sizeof geometry, output);
            }
            case kernel::FSCTL_LOCK_VOLUME:
                ++volume_.locks;
                return {};
            case kernel::FSCTL_UNLOCK_VOLUME:
                ++volume_.unlocks;
                return {volume_.unlockError, 0};
            case kernel::FSCTL_DISMOUNT_VOLUME:
                ++volume_.dismounts;
                return {volume_.dismountError, 0};
            default:
                return {1, 0};
            }
        }

    private:
        static machine::Transfer bytes(void const * record, std::size_t size, std::span<std::byte> output) {
            if (output.size() < size) {
                return {234, 0};
            }
            std::memcpy(output.data(), record, size);
            return {0, static_cast<std::uint32_t>(size)};
        }
        machine::Transfer extents(std::span<std::byte> output) const {
            if (volume_.extentsError != 0) {
                return {volume_.extentsError, 0};
            }
            std::vector<std::byte> record(8 + volume_.extents.size() * sizeof(kernel::DISK_EXTENT));
            std::uint32_t const count = volume_.count.value_or(static_cast<std::uint32_t>(volume_.extents.size()));
            std::memcpy(record.data(), &count, sizeof count);
            std::memcpy(record.data() + 8, volume_.extents.data(), record.size() - 8);
            return bytes(record.data(), record.size(), output);
        }

        ScriptedVolumes & pc_;
        ScriptedVolume & volume_;
    };

    machine::DeviceTree tree_;
    Clock clock_;
};

} // namespace support
