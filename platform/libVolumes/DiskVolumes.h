// Which volumes of the PC lie on a disk.
#pragma once

#include "kernel/StorageRecords.h"
#include "machine/Machine.h"
#include "nuv/FileHandle.h"
#include "nuv/String.h"

#include <string>
#include <string_view>
#include <vector>

namespace libVolumes {

struct DiskVolume {
    std::u16string path;                      // by which it can be opened
    std::vector<kernel::DISK_EXTENT> extents; // its parts on the disk; empty when the volume does not tell
};

struct DiskVolumes {
    std::vector<DiskVolume> volumes;
    bool complete = true; // false when the disk may have volumes beside these
};

// Blocks for queries; leaves no handle open. A disk that is no longer there has no volumes.
DiskVolumes volumesOn(nuv::String const & osLocator);

// The same among these.
DiskVolumes volumesOn(nuv::String const & osLocator, machine::VolumePaths const & among);

// How everything here opens a disk or volume, so that whoever else has it open may keep it.
nuv::FileHandleResManager openShared(std::u16string_view path, std::uint32_t access, std::uint32_t flags = 0);

} // namespace libVolumes
