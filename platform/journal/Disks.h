// The disks of the machine in use, as a journal knows them again.
#pragma once

#include "Entry.h"
#include "kernel/Files.h"
#include "machine/DeviceTree.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace journal {

struct KnownDisk {
    machine::DeviceNode const * node = nullptr;
    machine::DiskFacts const * facts = nullptr; // null: there is no such disk
};

KnownDisk findDisk(std::u16string_view path); // by which it is opened, in any form

// Serial number and model; size and sector size are the disk's own to tell.
DiskIdentity identityOf(KnownDisk const & disk);

// Whether the disk that is open is the one that the device tree tells of. The tree was read when the program started,
// and a path may lead to another disk since then. 0 when it is, 1110 when it is another one; else it does not say, and
// the error tells why. A disk that says nothing of itself, as it did not when the tree was read, is taken for it.
std::uint32_t checkIsStill(KnownDisk const & disk, kernel::HANDLE open);

// Whether the disk that is open has the size that was told before: a card reader says the same of itself whatever card
// is in it. 0 when it has, or when no size is known; 1110 when it has another one; else the error for which it does not
// tell.
std::uint32_t checkHasStillSize(DiskIdentity const & known, kernel::HANDLE open);

} // namespace journal
