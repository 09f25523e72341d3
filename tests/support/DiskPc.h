// A described PC with disks, and what tests open and fill them with.
#pragma once

#include "Describe.h"
#include "kernel.h"
#include "kernel/Runtime.h"
#include "machine/Machine.h"
#include "nuv/FileHandle.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace support {

class DiskPc {
public:
    // One disk for each text, which holds members of its description; disk N is \\.\PhysicalDriveN, from 1. The members
    // of the PC go in front of the controllers.
    explicit DiskPc(std::vector<std::string> const & disks, std::string const & membersOfPc = {})
        : machine_(describedPc(described(disks, membersOfPc))), inUse_(*machine_) {}

    machine::Clock & clock() { return machine_->clock(); }

private:
    static std::string described(std::vector<std::string> const & disks, std::string const & membersOfPc) {
        std::string ports;
        for (std::size_t i = 0; i < disks.size(); ++i) {
            std::string const number = std::to_string(i + 1);
            ports += (i == 0 ? "" : ",") + (R"({"port": )" + number) +
                     R"(, "protocols": ["1.1", "2.0"], "speed": "high", "device": {"instanceId": "USB\\STICK\\)" +
                     number +
                     R"(", "product": "Stick", "vendorId": "1234", "productId": "5678", "disk": {"instanceId": )" +
                     R"("USBSTOR\\DISK\\)" + number + R"(", "name": "Stick", "number": )" + number +
                     (disks[i].empty() ? "" : ", ") + disks[i] + "}}}";
        }
        return R"({"name": "PC with disks", )" + membersOfPc + (membersOfPc.empty() ? "" : ", ") +
               R"("controllers": [{"name": "Controller", "instanceId": "PCI\\A", "rootHub": {"portCount": 8, "ports": [)" +
               ports + "]}}]}";
    }

    std::unique_ptr<machine::Machine> machine_;
    machine::InUse inUse_;
};

constexpr char16_t const * disk1 = u"\\\\.\\PhysicalDrive1";
constexpr char16_t const * disk2 = u"\\\\.\\PhysicalDrive2";

constexpr std::uint32_t readWrite = kernel::GENERIC_READ | kernel::GENERIC_WRITE;
constexpr std::uint32_t shareAll = kernel::FILE_SHARE_READ | kernel::FILE_SHARE_WRITE;
constexpr std::uint32_t exclusive = 0;

inline nuv::FileHandleResManager openFile(char16_t const * path, std::uint32_t access = readWrite,
                                          std::uint32_t share = shareAll,
                                          std::uint32_t flags = kernel::FILE_FLAG_NO_BUFFERING) {
    nuv::CreateFileOpenArgs args;
    args.fileName = path;
    args.desiredAccess = access;
    args.shareMode = share;
    args.flagsAndAttributes = flags;
    return nuv::FileHandleResManager(args);
}

inline nuv::SharedFileHandle openShared(char16_t const * path, std::uint32_t flags = kernel::FILE_FLAG_NO_BUFFERING) {
    return nuv::SharedFileHandle(new nuv::FileHandleResManager(openFile(path, readWrite, exclusive, flags)));
}

// Page-aligned bytes, all of one value.
class Pages {
public:
    static constexpr std::size_t pageSize = 4096;

    explicit Pages(std::size_t size, unsigned char value = 0) : pages_((size + pageSize - 1) / pageSize), size_(size) {
        std::memset(data(), value, size);
    }
    std::byte * data() { return pages_.data()->bytes.data(); }
    std::size_t size() const { return size_; }
    bool isAll(unsigned char value) {
        for (std::size_t i = 0; i < size_; ++i) {
            if (data()[i] != std::byte{value}) {
                return false;
            }
        }
        return true;
    }

private:
    struct alignas(pageSize) Page {
        std::array<std::byte, pageSize> bytes;
    };
    std::vector<Page> pages_;
    std::size_t size_;
};

// One write through a handle without overlapped I/O: 0, or the Windows error.
inline std::uint32_t writeRaw(nuv::FileHandleResManager const & disk, std::uint64_t offset, Pages & bytes) {
    kernel::OVERLAPPED overlapped{};
    overlapped.Offset = static_cast<std::uint32_t>(offset);
    overlapped.OffsetHigh = static_cast<std::uint32_t>(offset >> 32U);
    std::uint32_t written = 0;
    return kernel::WriteFile(disk.get(), bytes.data(), static_cast<std::uint32_t>(bytes.size()), &written, &overlapped)
               ? kernel::ERROR_SUCCESS
               : kernel::GetLastError();
}

} // namespace support
