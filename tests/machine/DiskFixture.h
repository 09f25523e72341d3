// A simulated PC with one disk, and what tests move to and from it.
#pragma once

#include "HubFixture.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

constexpr std::u16string_view diskPath = u"\\\\.\\PhysicalDrive1";
constexpr std::uint32_t readOnlyAccess = kernel::GENERIC_READ;
constexpr std::uint32_t writeOnlyAccess = kernel::GENERIC_WRITE;
constexpr std::uint32_t readWrite = kernel::GENERIC_READ | kernel::GENERIC_WRITE;
constexpr std::uint32_t queriesOnly = 0;
constexpr std::uint32_t shareAll = kernel::FILE_SHARE_READ | kernel::FILE_SHARE_WRITE;
constexpr std::uint32_t exclusive = 0;
constexpr std::uint32_t overlapped = kernel::FILE_FLAG_OVERLAPPED;

constexpr std::uint64_t sector = 512;
constexpr std::size_t mebibyte = 1'048'576;

// Page-aligned bytes, as unbuffered transfers want them, all of one value at first.
class Pages {
public:
    explicit Pages(std::size_t size, std::uint8_t value = 0) : pages_((size + pageSize - 1) / pageSize), size_(size) {
        std::ranges::fill(bytes(), std::byte{value});
    }
    std::span<std::byte> bytes() { return {pages_.data()->bytes.data(), size_}; }
    bool isAll(std::uint8_t value) {
        return std::ranges::all_of(bytes(), [value](std::byte byte) { return byte == std::byte{value}; });
    }

private:
    static constexpr std::size_t pageSize = 4096;
    struct alignas(pageSize) Page {
        std::array<std::byte, pageSize> bytes;
    };
    std::vector<Page> pages_;
    std::size_t size_;
};

// What came of a transfer that ended at once, and how long it took.
struct Moved {
    std::uint32_t error = 0;
    std::uint32_t bytes = 0;
    machine::Duration took{};
};

// A controller with one device for each text, which holds the members of its disk; disk N is \\.\PhysicalDriveN, from
// 1. The members of the PC go in front.
inline std::string pcWithDisks(std::vector<std::string> const & disks, std::string const & membersOfPc = {}) {
    std::string ports;
    for (std::size_t i = 1; i <= disks.size(); ++i) {
        std::string const number = std::to_string(i);
        std::string const & members = disks[i - 1];
        ports += (i == 1 ? R"({"port": )" : R"(, {"port": )") + number +
                 R"(, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\A\\)" + number +
                 R"(", "disk": {"instanceId": "USBSTOR\\D\\)" + number + '"' + (members.empty() ? "" : ", ") + members +
                 "}}}";
    }
    return R"({"name": "PC", )" + membersOfPc + (membersOfPc.empty() ? "" : ", ") +
           R"("controllers": [{"instanceId": "PCI\\X", "rootHub": {"portCount": 8, "ports": [)" + ports + "]}}]}";
}

// The disk's members are given as JSON.
struct OneDisk {
    explicit OneDisk(std::string const & members = {}, std::string const & membersOfPc = {})
        : pc(support::describedPc(pcWithDisks({members}, membersOfPc))) {}

    machine::Opened tryOpen(std::u16string_view path, std::uint32_t access, std::uint32_t share = shareAll,
                            std::uint32_t flags = 0) {
        return pc->open(
            {.path = path, .access = access, .share = share, .disposition = kernel::OPEN_EXISTING, .flags = flags});
    }
    std::uint32_t openError(std::uint32_t access, std::uint32_t share = shareAll) {
        return tryOpen(diskPath, access, share).error;
    }
    // The disk, open: a failure to open it ends the test.
    std::unique_ptr<machine::File> open(std::uint32_t access = readWrite, std::uint32_t share = shareAll,
                                        std::uint32_t flags = 0) {
        machine::Opened opened = tryOpen(diskPath, access, share, flags);
        if (!opened.file) {
            throw std::runtime_error("the disk cannot be opened: error " + std::to_string(opened.error));
        }
        return std::move(opened.file);
    }

    Moved read(machine::File & file, std::uint64_t offset, std::span<std::byte> buffer) {
        machine::Duration const start = now();
        return ended(start, file.read(offset, buffer));
    }
    Moved write(machine::File & file, std::uint64_t offset, std::span<std::byte const> bytes) {
        machine::Duration const start = now();
        return ended(start, file.write(offset, bytes));
    }

    // Errors of a transfer of so many sectors, all of the value when written.
    std::uint32_t readError(machine::File & file, std::uint64_t firstSector, std::size_t count = 1) {
        Pages buffer(count * sector);
        return read(file, firstSector * sector, buffer.bytes()).error;
    }
    std::uint32_t writeError(machine::File & file, std::uint64_t firstSector, std::size_t count = 1,
                             std::uint8_t value = 0) {
        return write(file, firstSector * sector, Pages(count * sector, value).bytes()).error;
    }
    // Whether so many sectors can be read and hold nothing but the value.
    bool holds(machine::File & file, std::uint64_t firstSector, std::size_t count, std::uint8_t value) {
        Pages buffer(count * sector, static_cast<std::uint8_t>(~value));
        return read(file, firstSector * sector, buffer.bytes()).error == 0 && buffer.isAll(value);
    }

    machine::Duration now() { return pc->clock().now(); }
    void sleep(machine::Duration duration) { pc->clock().sleep(duration); }

    std::unique_ptr<machine::Machine> pc;

private:
    Moved ended(machine::Duration start, machine::Started const & started) {
        EXPECT_EQ(started.pending, nullptr);
        return {started.transfer.error, started.transfer.bytes, now() - start};
    }
};
