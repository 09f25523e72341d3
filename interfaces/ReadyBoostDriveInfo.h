// Whether Windows uses a disk as a ReadyBoost cache.
#pragma once

#include "nuv/String.h"

// Looks once, at construction, at the volumes of the disk with that OS locator (such as \\.\PhysicalDrive1); the
// volume name narrows the look to one volume when it is not empty. Blocks for file look-ups; keeps no handle open.
class ReadyBoostDriveInfo {
public:
    ReadyBoostDriveInfo(nuv::String const & osLocator, nuv::String const & volumeName);
    bool isEnabled() const { return enabled_; } // a cache file lies in the root of a volume; false when none is found

private:
    bool enabled_ = false;
};
