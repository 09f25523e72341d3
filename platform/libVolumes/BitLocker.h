#pragma once

#include "DiskVolumes.h"
#include "nuv/String.h"

namespace libVolumes {

// True when one of the volumes of the disk is protected by BitLocker, or cannot be shown not to be: a first sector that
// cannot be read counts as protected, whatever the reason. Blocks for reads of
// the raw disk; leaves no handle open.
bool anyIsBitLocker(nuv::String const & osLocator, DiskVolumes const & volumes);

} // namespace libVolumes
