#pragma once

#include "ReadyBoostCache.h"
#include "machine/Clock.h"
#include "nuv/FileHandle.h"

#include <memory>
#include <string>

namespace libVolumes {

// A volume that is locked and dismounted, until the destruction.
class VolumeLock {
public:
    // Null when the volume is in use, and still is when the machine's clock says giveUpAt. Blocks that long at most,
    // beside the time that the volume takes.
    static std::unique_ptr<VolumeLock> acquire(std::u16string const & path, machine::Duration giveUpAt);

    VolumeLock(VolumeLock const &) = delete;
    VolumeLock & operator=(VolumeLock const &) = delete;
    ~VolumeLock();

private:
    explicit VolumeLock(std::u16string const & path);

    RememberedCache cache_; // looks before the lock, forgets after it
    nuv::FileHandleResManager volume_;
    bool isLocked_ = false;
};

} // namespace libVolumes
