// The first page of a journal file: whose bytes follow it, and where they belong. docs/safety.md publishes the layout.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace journal {

using Bytes = std::span<std::byte const>;

// What tells one disk from another.
struct DiskIdentity {
    std::string serialNumber; // UTF-8; may be empty
    std::string model;        // UTF-8; may be empty
    std::uint64_t size = 0;   // bytes
    std::uint32_t sectorSize = 0;

    bool operator==(DiskIdentity const &) const = default;
};

struct Range {
    std::uint64_t firstSector = 0;
    std::uint32_t sectorCount = 0;

    bool operator==(Range const &) const = default;
};

// A backup without its bytes.
struct Entry {
    std::uint64_t sequence = 0; // of two entries about one disk the higher one was made later
    std::uint64_t id = 0;       // tells it from others of its sequence, which starts again once no file is left
    DiskIdentity disk;
    Range range;
    std::uint32_t checksum = 0; // CRC-32C of the backup

    std::uint64_t bytes() const { return std::uint64_t{range.sectorCount} * disk.sectorSize; }
    bool operator==(Entry const &) const = default;
};

inline constexpr std::size_t headerSize = 4096;
using Header = std::array<std::byte, headerSize>;

// The longest text of an identity, in bytes. A longer one is cut, wherever identities are made.
inline constexpr std::size_t longestText = 256;
std::string clipped(std::string text);

// Pure. Expects texts that are clipped.
Header encode(Entry const & entry);

// Empty for anything but the whole header of an entry that makes sense: a range of whole sectors on its disk.
std::optional<Entry> decode(Bytes header);

} // namespace journal
