#include "SimulatedMachine.h"

#include "BusBuilder.h"
#include "Names.h"
#include "OpenFiles.h"
#include "VirtualClock.h"
#include "kernel.h"
#include "machine/SteadyClock.h"

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

namespace machine {

namespace {

using namespace simulated;
constexpr Duration openTime = std::chrono::microseconds(20);

struct CountedShortage {
    Shortage shortage;
    CountedWindow window;
};

class SimulatedMachine final : public Machine {
public:
    SimulatedMachine(Description description, std::unique_ptr<Clock> clock)
        : name_(std::move(description.name)), clock_(std::move(clock)), start_(clock_->now()) {
        for (Shortage const & shortage : description.shortages) {
            shortages_.push_back({shortage, CountedWindow(shortage.window)});
        }
        bus_ = buildBus(std::move(description));
        anyPortDoesSuperSpeedPlus_ = std::ranges::any_of(
            bus_.hubs, [](HubState const & hub) { return std::ranges::any_of(hub.ports, &PortState::superSpeedPlus); });
    }

    std::string name() const override { return name_; }

    Opened open(OpenRequest const & request) override {
        if (clock_->isVirtual()) {
            clock_->sleep(openTime);
        }
        // Devices are opened, never created; Windows takes any disposition that it knows.
        if (request.disposition == 0 || request.disposition > 5) {
            return {nullptr, kernel::ERROR_INVALID_PARAMETER};
        }
        auto const found = bus_.byPath.find(pathKey(request.path));
        if (found == bus_.byPath.end()) {
            return {nullptr, kernel::ERROR_FILE_NOT_FOUND};
        }
        Openable & target = bus_.openables[found->second];
        Sharing const sharing = sharingOf(request);
        if (std::uint32_t const error = openError(target, sharing); error != kernel::ERROR_SUCCESS) {
            return {nullptr, error};
        }
        if (isForbidden(target, sharing)) {
            return {nullptr, kernel::ERROR_SHARING_VIOLATION};
        }
        return {makeFile(bus_, *clock_, start_, target, request), kernel::ERROR_SUCCESS};
    }

    DeviceTree const & devices() const override { return bus_.tree; }
    Clock & clock() override { return *clock_; }

    bool isPresent(NodeId node) const override {
        std::uint32_t const disk = bus_.tree[node].disk; // disks of the bus and of its tree are added together
        return disk == 0 || bus_.disks[disk - 1]->media(clock_->now() - start_) != MediaState::Unplugged;
    }

    VolumePaths volumes() const override {
        VolumePaths volumes;
        for (auto const & disk : bus_.disks) {
            for (VolumeState const & volume : disk->volumes) {
                volumes.paths.push_back(volume.path);
            }
        }
        return volumes;
    }

    std::uint32_t take(Resource resource) override {
        std::uint32_t error = kernel::ERROR_SUCCESS;
        for (CountedShortage & counted : shortages_) {
            if (counted.shortage.resource == resource && counted.window.strikes() && error == kernel::ERROR_SUCCESS) {
                error = counted.shortage.error;
            }
        }
        return error;
    }

    bool portDoesSuperSpeedPlus(std::u16string_view hubPath, std::uint32_t port) const override {
        if (!anyPortDoesSuperSpeedPlus_) {
            return false; // asked for every port of the bus: most PCs need no look-up at all
        }
        auto const found = bus_.byPath.find(pathKey(hubPath));
        if (found == bus_.byPath.end() || bus_.openables[found->second].kind != Openable::Kind::Hub) {
            return false;
        }
        HubState const & hub = bus_.hubs[bus_.openables[found->second].index];
        return port >= 1 && port <= hub.ports.size() && hub.ports[port - 1].superSpeedPlus;
    }

private:
    std::uint32_t openError(Openable const & target, Sharing const & sharing) {
        if (target.kind == Openable::Kind::Disk) {
            return openErrorOfDisk(*bus_.disks[target.index], target, sharing);
        }
        if (target.kind == Openable::Kind::Volume || target.kind == Openable::Kind::VolumeFile) {
            DiskState const & disk = *bus_.disks[target.index];
            if (disk.media(clock_->now() - start_) == MediaState::Unplugged) {
                return kernel::ERROR_FILE_NOT_FOUND;
            }
            VolumeState const & volume = disk.volumes[target.volume];
            // A volume that is opened for queries only is opened past its file system, which holds the lock.
            bool const pastTheLock = target.kind == Openable::Kind::Volume && !takesPart(sharing);
            return volume.locker != nullptr && !pastTheLock ? kernel::ERROR_ACCESS_DENIED : kernel::ERROR_SUCCESS;
        }
        return target.openError.value_or(kernel::ERROR_SUCCESS);
    }

    std::uint32_t openErrorOfDisk(DiskState & disk, Openable const & target, Sharing const & sharing) {
        if (disk.media(clock_->now() - start_) == MediaState::Unplugged) {
            return kernel::ERROR_FILE_NOT_FOUND;
        }
        if (!takesPart(sharing)) {
            return kernel::ERROR_SUCCESS;
        }
        DiskFault const * const fault = disk.strike(DiskCall::Open);
        return fault != nullptr ? std::get<FailsWith>(fault->effect).error
                                : target.openError.value_or(kernel::ERROR_SUCCESS);
    }

    std::string const name_;
    std::unique_ptr<Clock> const clock_;
    Duration const start_;
    Bus bus_;
    std::vector<CountedShortage> shortages_;
    bool anyPortDoesSuperSpeedPlus_ = false;
};

std::unique_ptr<Clock> makeClock(bool measured) {
    if (measured) {
        return std::make_unique<SteadyClock>();
    }
    return std::make_unique<VirtualClock>();
}

} // namespace

std::unique_ptr<Machine> makeSimulatedMachine(simulated::Description description) {
    auto clock = makeClock(description.measured);
    return makeSimulatedMachine(std::move(description), std::move(clock));
}

std::unique_ptr<Machine> makeSimulatedMachine(simulated::Description description, std::unique_ptr<Clock> clock) {
    return std::make_unique<SimulatedMachine>(std::move(description), std::move(clock));
}

} // namespace machine
