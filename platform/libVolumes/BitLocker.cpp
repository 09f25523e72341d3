#include "BitLocker.h"

#include "VolumeRecords.h"
#include "kernel.h"
#include "libMedia2/RecordQuery.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <span>

namespace libVolumes {

namespace {

constexpr std::uint32_t largestSector = 65536; // one that claims to be larger is not believed

// Memory as unbuffered reads want it.
constexpr std::align_val_t page{4096};

struct FreePages {
    void operator()(std::byte * memory) const { ::operator delete(memory, page); }
};
using Pages = std::unique_ptr<std::byte, FreePages>;

// Reads a sector of a disk that is open without overlapped I/O: 0, or the Windows error.
std::uint32_t readSector(kernel::HANDLE disk, std::int64_t offset, std::span<std::byte> sector) {
    kernel::OVERLAPPED overlapped{};
    overlapped.Offset = static_cast<std::uint32_t>(offset);
    overlapped.OffsetHigh = static_cast<std::uint32_t>(offset >> 32U);
    auto const size = static_cast<std::uint32_t>(sector.size());
    std::uint32_t read = 0;
    if (!kernel::ReadFile(disk, sector.data(), size, &read, &overlapped)) {
        return kernel::GetLastError();
    }
    return read == size ? kernel::ERROR_SUCCESS : kernel::ERROR_HANDLE_EOF;
}

// The medium went, or the device with it, since the volumes were listed: there is nothing left to protect, and whoever
// opens the disk next will tell what is missing.
bool hasGone(std::uint32_t error) {
    return error == kernel::ERROR_FILE_NOT_FOUND || error == kernel::ERROR_NO_MEDIA_IN_DRIVE ||
           error == kernel::ERROR_DEVICE_NOT_CONNECTED;
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
    if (!disk.isValid()) {
        return !hasGone(kernel::GetLastError());
    }
    std::uint32_t const sectorSize = libMedia2::askSectorSize(disk.get());
    if (sectorSize == 0) {
        return !hasGone(kernel::GetLastError());
    }
    if (sectorSize > largestSector) {
        return true;
    }
    Pages const memory(static_cast<std::byte *>(::operator new(sectorSize, page)));
    std::span const sector(memory.get(), sectorSize);
    for (DiskVolume const & volume : volumes.volumes) {
        if (volume.extents.empty()) {
            return true;
        }
        // The volume's first sector is that of its first part, and in a mirror that of each.
        for (kernel::DISK_EXTENT const & extent : volume.extents) {
            std::uint32_t const error = readSector(disk.get(), extent.StartingOffset, sector);
            if (error != kernel::ERROR_SUCCESS) {
                return !hasGone(error);
            }
            if (isBitLockerSector(sector)) {
                return true;
            }
        }
    }
    return false;
}

} // namespace libVolumes
