// The disks of the machine in use, as a journal knows them again.
#pragma once

#include "Entry.h"
#include "machine/DeviceTree.h"

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

} // namespace journal
