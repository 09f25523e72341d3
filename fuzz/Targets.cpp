#include "Targets.h"

#include "Controllers.h"
#include "DeviceNodes.h"
#include "DeviceStatus.h"
#include "FuzzedHub.h"

#include "usbtopo.h"

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

} // namespace

std::span<Target const> targets() {
    static constexpr Target all[] = {{"connection", connection},
                                     {"driver_key", driverKey},
                                     {"hub_name", hubName},
                                     {"root_hub_name", rootHubName},
                                     {"topology", topology}};
    return all;
}

} // namespace fuzz
