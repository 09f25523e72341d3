#include "Targets.h"

#include "Controllers.h"
#include "DeviceNodes.h"
#include "DeviceStatus.h"
#include "FuzzedHub.h"
#include "ParserTargets.h"

#include "ReadyBoostDriveInfo.h"
#include "kernel.h"
#include "libMedia2.h"
#include "libVolumes.h"
#include "nuv.h"
#include "usbtopo.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace fuzz {

namespace {

void driverKey(std::uint8_t const * data, std::size_t size) {
    FuzzedHub const hub(data, size);
    nuvrusb::GetDriverKeyName(hub.get(), 1);
}

void rootHubName(std::uint8_t const * data, std::size_t size) {
    FuzzedHub const controller(data, size);
    nuvrusb::getRootHubName(controller.get());
}

void connection(std::uint8_t const * data, std::size_t size) {
    FuzzedHub const hub(data, size);
    nuvrusb::CheckDeviceStatus(hub.get(), 1);
}

void hubName(std::uint8_t const * data, std::size_t size) {
    FuzzedHub const hub(data, size);
    nuvrusb::getPowerConsumptionStatus(hub.get(), 1);
}

void topology(std::uint8_t const * data, std::size_t size) {
    FuzzedPc pc(data, size);
    machine::InUse const inUse(pc);
    kernel::beginRun();
    usbtopo::CUsbSystem system;
    system.EnumerateHostControllers();
}

void disk(std::uint8_t const * data, std::size_t size) {
    FuzzedPc pc(data, size);
    machine::InUse const inUse(pc);
    kernel::beginRun();
    nuv::String const locator("\\\\.\\PhysicalDrive1");
    libVolumes::DeviceLockingManager volumes(locator);
    volumes.isBitLockerEnabledOnVolumes();
    volumes.lockVolumes();
    ReadyBoostDriveInfo const cache(locator, nuv::String::EMPTY);

    nuv::CreateFileOpenArgs args;
    args.fileName = locator;
    args.desiredAccess = kernel::GENERIC_READ;
    nuv::SharedFileHandle slot;
    libMedia2::OSDrive drive(slot, &args);
    drive.mediaState();
    drive.getSectorCount();
    std::vector<std::byte> sectors(std::size_t{16} * 4096);
    std::uint32_t const sectorSize = drive.getSectorSize();
    auto const count = sectorSize == 0 ? 0 : static_cast<std::uint32_t>(sectors.size() / sectorSize);
    drive.readSector(1, count, sectors.data(), std::uint64_t{count} * sectorSize);
}

} // namespace

std::span<Target const> targets() {
    static std::vector<Target> const all = [] {
        std::vector<Target> list{{"connection", connection},     {"disk", disk},
                                 {"driver_key", driverKey},      {"hub_name", hubName},
                                 {"root_hub_name", rootHubName}, {"topology", topology}};
        auto const parsers = parserTargets();
        list.insert(list.end(), parsers.begin(), parsers.end());
        return list;
    }();
    return all;
}

} // namespace fuzz
