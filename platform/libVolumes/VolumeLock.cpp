#include "VolumeLock.h"

#include "DiskVolumes.h"
#include "kernel.h"
#include "machine/Machine.h"

#include <chrono>

namespace libVolumes {

namespace {

constexpr std::chrono::milliseconds pause{100};

bool sendControl(nuv::FileHandleResManager const & volume, std::uint32_t controlCode) {
    return kernel::DeviceIoControl(volume.get(), controlCode, nullptr, 0, nullptr, 0, nullptr, nullptr);
}

// A virus scanner or an indexer often has a file open for a moment, so one refusal is not the last word.
bool lockInTime(nuv::FileHandleResManager const & volume, machine::Duration giveUpAt) {
    machine::Clock & clock = machine::current().clock();
    while (!sendControl(volume, kernel::FSCTL_LOCK_VOLUME)) {
        if (kernel::GetLastError() != kernel::ERROR_ACCESS_DENIED || clock.now() + pause > giveUpAt) {
            return false;
        }
        clock.sleep(pause);
    }
    return true;
}

} // namespace

std::unique_ptr<VolumeLock> VolumeLock::acquire(std::u16string const & path, machine::Duration giveUpAt) {
    std::unique_ptr<VolumeLock> volume(new VolumeLock(path));
    volume->isLocked_ = volume->volume_.isValid() && lockInTime(volume->volume_, giveUpAt);
    if (!volume->isLocked_ || !sendControl(volume->volume_, kernel::FSCTL_DISMOUNT_VOLUME)) {
        return nullptr;
    }
    return volume;
}

VolumeLock::VolumeLock(std::u16string const & path)
    : cache_(path), volume_(openShared(path, kernel::GENERIC_READ | kernel::GENERIC_WRITE)) {}

VolumeLock::~VolumeLock() {
    if (isLocked_) {
        std::uint32_t const lastError = kernel::GetLastError();
        sendControl(volume_, kernel::FSCTL_UNLOCK_VOLUME);
        kernel::SetLastError(lastError);
    }
}

} // namespace libVolumes
