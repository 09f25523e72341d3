#include "VolumeRecords.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>

namespace libVolumes {

static_assert(std::endian::native == std::endian::little, "records are copied as they lie in memory");

namespace {

constexpr std::size_t oemNameAt = 3;
constexpr std::string_view bitLockerName = "-FVE-FS-";

// A To Go volume looks like a FAT volume to systems without BitLocker, but for this identifier:
// {4967D63B-2E29-4AD8-8399-F6A339E3D001}.
constexpr std::size_t toGoIdentifierAt = 424;
constexpr std::array<std::uint8_t, 16> toGoIdentifier{0x3B, 0xD6, 0x67, 0x49, 0x29, 0x2E, 0xD8, 0x4A,
                                                      0x83, 0x99, 0xF6, 0xA3, 0x39, 0xE3, 0xD0, 0x01};

bool holdsAt(Bytes sector, std::size_t offset, Bytes mark) {
    return sector.size() >= offset + mark.size() && std::ranges::equal(sector.subspan(offset, mark.size()), mark);
}

bool makesSense(kernel::DISK_EXTENT const & extent) {
    return extent.StartingOffset >= 0 && extent.ExtentLength >= 0 &&
           extent.StartingOffset <= std::numeric_limits<std::int64_t>::max() - extent.ExtentLength;
}

} // namespace

std::optional<std::vector<kernel::DISK_EXTENT>> parseExtents(Bytes returned) {
    if (returned.size() < extentsRecordSize(1)) {
        return std::nullopt;
    }
    std::uint32_t count = 0;
    std::memcpy(&count, returned.data(), sizeof count);
    Bytes const records = returned.subspan(extentsRecordSize(0));
    if (count == 0 || count > records.size() / sizeof(kernel::DISK_EXTENT)) {
        return std::nullopt;
    }
    std::vector<kernel::DISK_EXTENT> extents(count);
    std::memcpy(extents.data(), records.data(), count * sizeof(kernel::DISK_EXTENT));
    return std::ranges::all_of(extents, makesSense) ? std::optional(std::move(extents)) : std::nullopt;
}

bool isBitLockerSector(Bytes sector) {
    return holdsAt(sector, oemNameAt, std::as_bytes(std::span(bitLockerName))) ||
           holdsAt(sector, toGoIdentifierAt, std::as_bytes(std::span(toGoIdentifier)));
}

} // namespace libVolumes
