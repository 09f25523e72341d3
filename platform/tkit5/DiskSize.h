#pragma once

#include "nuv.h"

#include <cstdint>

namespace tkit5 {

struct DiskSize {
    std::uint64_t bytes = 0; // 0 when the disk does not tell
    std::uint32_t sectorSize = 0;
};

// Asks a disk by its OS locator, through a handle that keeps nobody out. Blocks as the disk does.
DiskSize sizeOfDisk(nuv::String const & osLocator);

} // namespace tkit5
