#include "BitLocker.h"

#include "VolumeRecords.h"
#include "kernel.h"
#include "kernel/RecordQuery.h"
#include "machine/Pages.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace libVolumes {

namespace {

constexpr std::uint32_t largestSector = 65536; // one that claims to be larger is not believed

// Reads a sector of a disk that is open without overlapped I/O.
bool readSector(kernel::HANDLE disk, std::int64_t offset, std::span<std::byte> sector) {
    kernel::OVERLAPPED overlapped{};
    overlapped.Offset = static_cast<std::uint32_t>(offset);
    overlapped.OffsetHigh = static_cast<std::uint32_t>(offset >> 32U);
    auto const size = static_cast<std::uint32_t>(sector.size());
    std::uint32_t read = 0;
    return kernel::ReadFile(disk, sector.data(), size, &read, &overlapped) && read == size;
}

} // namespace

bool anyIsBitLocker(nuv::String const & osLocator, DiskVolumes const & volumes) {
    if (!volumes.complete) {
        return true;
    }
    if (volumes.volumes.empty()) {
        return false;
    }
    // From the disk itself: through a volume that was unlocked with its key the sectors would come decrypted.
    nuv::FileHandleResManager const disk =
        openShared(osLocator.view(), kernel::GENERIC_READ, kernel::FILE_FLAG_NO_BUFFERING);
    std::uint32_t const sectorSize = disk.isValid() ? kernel::askSectorSize(disk.get()) : 0;
    if (sectorSize == 0 || sectorSize > largestSector) {
        return true;
    }
    machine::Pages const memory = machine::takePages(sectorSize);
    if (!memory) {
        return true;
    }
    std::span const sector(memory.get(), sectorSize);
    for (DiskVolume const & volume : volumes.volumes) {
        if (volume.extents.empty()) {
            return true;
        }
        // The volume's first sector is that of its first part, and in a mirror that of each.
        for (kernel::DISK_EXTENT const & extent : volume.extents) {
            if (!readSector(disk.get(), extent.StartingOffset, sector) || isBitLockerSector(sector)) {
                return true;
            }
        }
    }
    return false;
}

} // namespace libVolumes
