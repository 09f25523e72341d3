// A PC with one disk whose bytes and sector size are the test's own, also those that a description cannot have.
#pragma once

#include "machine/DiskStore.h"
#include "machine/simulated/DescriptionReader.h"
#include "machine/simulated/SimulatedMachine.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace support {

class StoredBytes final : public machine::DiskStore {
public:
    explicit StoredBytes(std::size_t size) : bytes(size, std::byte{0x33}) {}

    std::vector<std::byte> bytes;
    std::uint32_t flushError = 0;
    int flushes = 0;

    std::uint64_t size() const override { return bytes.size(); }
    std::uint32_t read(std::uint64_t offset, std::span<std::byte> buffer) override {
        std::ranges::copy(std::span(bytes).subspan(offset, buffer.size()), buffer.begin());
        return 0;
    }
    std::uint32_t write(std::uint64_t offset, std::span<std::byte const> from, bool) override {
        std::ranges::copy(from, std::span(bytes).subspan(offset, from.size()).begin());
        return 0;
    }
    std::uint32_t flush() override {
        ++flushes;
        return flushError;
    }
};

inline constexpr char const * storedStick = R"("name": "Stick", "serialNumber": "S1")";

// The disk is \\.\PhysicalDrive1, with these members of its description.
inline std::unique_ptr<machine::Machine> pcWithStored(std::shared_ptr<StoredBytes> bytes, std::uint32_t sectorSize,
                                                      std::string const & members = storedStick,
                                                      std::string const & membersOfPc = {}) {
    auto read = machine::readDescription(
        R"({"name": "PC", )" + membersOfPc + (membersOfPc.empty() ? "" : ", ") +
        R"("controllers": [{"instanceId": "PCI\\A", "rootHub": {"portCount": 1, "ports": [{"port": 1,
        "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\STICK", "disk": {
        "instanceId": "USBSTOR\\STICK", "number": 1, )" +
        members + "}}}]}}]}");
    auto & description = std::get<machine::simulated::Description>(read);
    machine::simulated::Disk & disk = *description.controllers[0].rootHub.hub.ports[0].device->disk;
    disk.sectorSize = sectorSize;
    disk.sectorCount = bytes->size() / sectorSize;
    disk.store = std::move(bytes);
    return machine::makeSimulatedMachine(std::move(description));
}

} // namespace support
