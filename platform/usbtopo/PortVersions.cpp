#include "PortVersions.h"

#include "kernel/UsbRecords.h"
#include "machine/Text.h"

#include <utility>

namespace usbtopo {

namespace {

std::u16string keyOf(std::u16string_view symbolicName) {
    return machine::foldedCase(machine::withoutDevicePrefix(symbolicName));
}

} // namespace

float versionOfSpeed(std::uint8_t speed) {
    switch (speed) {
    case kernel::UsbLowSpeed:
        return 1.0F;
    case kernel::UsbFullSpeed:
        return 1.1F;
    case kernel::UsbHighSpeed:
        return 2.0F;
    case kernel::UsbSuperSpeed:
        return 3.0F;
    case kernel::UsbSuperSpeedPlus:
        return 3.1F;
    default:
        return 0.0F;
    }
}

float versionOfProtocols(std::uint32_t protocols) {
    if ((protocols & kernel::Usb300) != 0) {
        return 3.0F;
    }
    if ((protocols & kernel::Usb200) != 0) {
        return 2.0F;
    }
    return (protocols & kernel::Usb110) != 0 ? 1.1F : 0.0F;
}

bool Connectors::beginHub(std::u16string_view symbolicName) {
    bool const isNew = hubsByName_.try_emplace(keyOf(symbolicName), hubs_.size()).second;
    if (isNew) {
        hubs_.push_back({ports_.size(), 0});
    }
    return isNew;
}

std::size_t Connectors::addPort(PortAbilities abilities) {
    ++hubs_.back().portCount;
    ports_.push_back({std::move(abilities), hubs_.size() - 1});
    return ports_.size() - 1;
}

float Connectors::highestVersion(std::size_t index) const {
    Port const & port = ports_[index];
    PortAbilities const * const companion = companionOf(port);
    if (port.abilities.superSpeedPlus || (companion != nullptr && companion->superSpeedPlus)) {
        return 3.1F;
    }
    return versionOfProtocols(port.abilities.protocols | (companion == nullptr ? 0 : companion->protocols));
}

PortAbilities const * Connectors::companionOf(Port const & port) const {
    if (port.abilities.companionPort == 0) {
        return nullptr;
    }
    std::size_t hub = port.hub;
    if (!port.abilities.companionHub.empty()) {
        auto const found = hubsByName_.find(keyOf(port.abilities.companionHub));
        if (found == hubsByName_.end()) {
            return nullptr;
        }
        hub = found->second;
    }
    if (port.abilities.companionPort > hubs_[hub].portCount) {
        return nullptr;
    }
    return &ports_[hubs_[hub].firstPort + port.abilities.companionPort - 1].abilities;
}

} // namespace usbtopo
