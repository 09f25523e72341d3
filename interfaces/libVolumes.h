// libVolumes: the volumes that lie on a disk, and keeping everybody else out of them.
#pragma once

#include "nuv/String.h"

#include <memory>

namespace libVolumes {

// For one disk, by its OS locator (such as \\.\PhysicalDrive1). Its destruction releases every lock that it holds.
class DeviceLockingManager {
public:
    explicit DeviceLockingManager(nuv::String const & osLocator);
    DeviceLockingManager(DeviceLockingManager const &) = delete;
    DeviceLockingManager & operator=(DeviceLockingManager const &) = delete;
    ~DeviceLockingManager();

    // True when a volume of the disk is protected by BitLocker, as its first sector on the raw disk says. A volume
    // whose first sector cannot be read counts as protected. Blocks for reads; leaves no handle open.
    bool isBitLockerEnabledOnVolumes() const;

    // Locks and dismounts every volume of the disk. False when one of them is in use; those locked are then released.
    // True for a disk without volumes.
    bool lockVolumes();

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace libVolumes
