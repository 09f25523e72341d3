#include "BitLocker.h"
#include "DiskVolumes.h"
#include "VolumeLock.h"
#include "libVolumes.h"
#include "machine/Machine.h"

#include <chrono>
#include <utility>
#include <vector>

namespace libVolumes {

namespace {
constexpr std::chrono::seconds patience{1}; // for all volumes of the disk together
}

struct DeviceLockingManager::State {
    nuv::String osLocator;
    std::vector<std::unique_ptr<VolumeLock>> locks;
};

DeviceLockingManager::DeviceLockingManager(nuv::String const & osLocator)
    : state_(std::make_unique<State>(State{osLocator, {}})) {}

DeviceLockingManager::~DeviceLockingManager() = default;

bool DeviceLockingManager::isBitLockerEnabledOnVolumes() const {
    return anyIsBitLocker(state_->osLocator, volumesOn(state_->osLocator));
}

bool DeviceLockingManager::lockVolumes() {
    if (!state_->locks.empty()) {
        return true;
    }
    DiskVolumes const found = volumesOn(state_->osLocator);
    if (!found.complete) {
        return false;
    }
    machine::Duration const giveUpAt = machine::current().clock().now() + patience;
    std::vector<std::unique_ptr<VolumeLock>> locks;
    for (DiskVolume const & volume : found.volumes) {
        auto lock = VolumeLock::acquire(volume.path, giveUpAt);
        if (!lock) {
            return false;
        }
        locks.push_back(std::move(lock));
    }
    state_->locks = std::move(locks);
    return true;
}

} // namespace libVolumes
