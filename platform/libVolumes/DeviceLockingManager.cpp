#include "BitLocker.h"
#include "DiskVolumes.h"
#include "VolumeLock.h"
#include "journal/Preservation.h"
#include "libVolumes.h"
#include "machine/Machine.h"

#include <chrono>
#include <optional>
#include <utility>
#include <vector>

namespace libVolumes {

namespace {
constexpr std::chrono::seconds patience{1}; // for all volumes of the disk together
}

struct DeviceLockingManager::State {
    explicit State(nuv::String locator) : osLocator(std::move(locator)) {}

    nuv::String osLocator;
    std::vector<std::unique_ptr<VolumeLock>> locks;
    std::optional<journal::PassGuard> pass; // before the locks go: what is owed is settled under them
};

DeviceLockingManager::DeviceLockingManager(nuv::String const & osLocator)
    : state_(std::make_unique<State>(osLocator)) {}

DeviceLockingManager::~DeviceLockingManager() = default;

bool DeviceLockingManager::isBitLockerEnabledOnVolumes() const {
    return anyIsBitLocker(state_->osLocator, volumesOn(state_->osLocator));
}

bool DeviceLockingManager::lockVolumes() {
    if (state_->pass) {
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
    state_->pass.emplace(state_->osLocator.view());
    return true;
}

} // namespace libVolumes
