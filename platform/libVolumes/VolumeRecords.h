// What volumes and their first sectors say, read from exactly the bytes that came back. Pure functions: they give
// nothing for a record that is too short or that contradicts itself, whatever its fields claim.
#pragma once

#include "kernel/StorageRecords.h"

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace libVolumes {

using Bytes = std::span<std::byte const>;

// Bytes of the answer that has room for so many extents.
constexpr std::size_t extentsRecordSize(std::size_t extents) {
    return offsetof(kernel::VOLUME_DISK_EXTENTS, Extents) + extents * sizeof(kernel::DISK_EXTENT);
}

// The parts of a volume, in its own order; at least one.
std::optional<std::vector<kernel::DISK_EXTENT>> parseExtents(Bytes returned);

// True when the first sector of a volume, as it lies on the disk, bears a mark of BitLocker or of BitLocker To Go.
bool isBitLockerSector(Bytes sector);

} // namespace libVolumes
