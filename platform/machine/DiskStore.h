// Where the bytes of a disk are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <variant>

namespace machine {

class DiskStore {
public:
    DiskStore() = default;
    DiskStore(DiskStore const &) = delete;
    DiskStore & operator=(DiskStore const &) = delete;
    virtual ~DiskStore() = default;

    virtual std::uint64_t size() const = 0; // bytes

    // Both give a Windows error, 0 for success, and stay within the size. A durable write returns once the bytes are
    // where a loss of power leaves them.
    virtual std::uint32_t read(std::uint64_t offset, std::span<std::byte> buffer) = 0;
    virtual std::uint32_t write(std::uint64_t offset, std::span<std::byte const> bytes, bool durable) = 0;

    // Returns once all that was written is where a loss of power leaves it: 0, or a Windows error.
    virtual std::uint32_t flush() = 0;
};

// A file or block device, read and written past the system's cache where its file system can do that. The text says
// what is wrong with it: it cannot be opened, is in use, or has other sectors.
std::variant<std::unique_ptr<DiskStore>, std::string> openImage(std::string const & path, std::uint32_t sectorSize,
                                                                bool readOnly);

} // namespace machine
