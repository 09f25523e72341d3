#include "DeviceNodes.h"

#include "RecordText.h"
#include "SourceUnit.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>
#include <vector>

namespace nuvrusb {

using libHostOS::ConfigManager;

namespace {

// The node after this one in pre-order; 0 after the last.
ConfigManager::Node WalkDevNodeTree(ConfigManager::Node node) {
    TraceScope const trace(nuvrusbUnit, "WalkDevNodeTree", 270);
    if (ConfigManager::Node const child = ConfigManager::getChildNode(node); child != 0) {
        return child;
    }
    for (; node != 0; node = ConfigManager::getParentNode(node)) {
        if (ConfigManager::Node const sibling = ConfigManager::getSiblingNode(node); sibling != 0) {
            return sibling;
        }
    }
    return 0;
}

int GetDevNodeStatusAndProblemCode(nuv::String const & driverKey, std::uint32_t & problem, std::uint8_t & disabled) {
    TraceScope const trace(nuvrusbUnit, "GetDevNodeStatusAndProblemCode", 441);
    if (ConfigManager::Node const node = FindDevNodeChild(driverKey); node != 0) {
        if (ConfigManager::isDisabled(node)) {
            disabled = 1;
            return 1;
        }
        if (ConfigManager::hasDriverProblem(node, &problem)) {
            return 1;
        }
    }
    problem = 0;
    disabled = 0;
    return 0;
}

} // namespace

ConfigManager::Node FindDevNodeChild(nuv::String const & driverKey) {
    TraceScope const trace(nuvrusbUnit, "FindDevNodeChild", 302);
    for (ConfigManager::Node node = ConfigManager::getRootNode(); node != 0; node = WalkDevNodeTree(node)) {
        nuv::String key;
        if (ConfigManager::getDriverKey(node, key) && key == driverKey) {
            return ConfigManager::getChildNode(node);
        }
    }
    return 0;
}

nuv::String GetDevNodeDeviceDescription(nuv::String const & driverKey) {
    TraceScope const trace(nuvrusbUnit, "GetDevNodeDeviceDescription", 332);
    nuv::String description;
    ConfigManager::Node const node = FindDevNodeChild(driverKey);
    return node != 0 && ConfigManager::getDescription(node, description) ? description : nuv::String();
}

nuv::String GetDriverKeyName(kernel::HANDLE hub, std::uint32_t port) {
    TraceScope const trace(nuvrusbUnit, "GetDriverKeyName", 389);
    using Record = kernel::USB_NODE_CONNECTION_DRIVERKEY_NAME;
    constexpr std::size_t nameOffset = offsetof(Record, DriverKeyName);

    Record header{};
    header.ConnectionIndex = port;
    std::uint32_t returned = 0;
    if (!kernel::DeviceIoControl(hub, kernel::IOCTL_USB_GET_NODE_CONNECTION_DRIVERKEY_NAME, &header, sizeof header,
                                 &header, sizeof header, &returned, nullptr)) {
        return {};
    }
    std::uint32_t const actualLength = header.ActualLength;
    if (actualLength <= sizeof header || actualLength > longestNameRecord) {
        return {};
    }

    std::vector<std::byte> buffer(actualLength + nameOffset);
    std::memcpy(buffer.data(), &port, sizeof port);
    if (!kernel::DeviceIoControl(hub, kernel::IOCTL_USB_GET_NODE_CONNECTION_DRIVERKEY_NAME, buffer.data(), actualLength,
                                 buffer.data(), actualLength, &returned, nullptr)) {
        return {};
    }
    return textAt(std::span<std::byte const>(buffer).first(std::min(returned, actualLength)), nameOffset);
}

nuv::String GetDeviceDescriptionOfChild(kernel::HANDLE hub, std::uint32_t port) {
    TraceScope const trace(nuvrusbUnit, "GetDeviceDescriptionOfChild", 350);
    nuv::String const driverKey = GetDriverKeyName(hub, port);
    if (driverKey.empty()) {
        nuvrusbUnit.log(1, 568, "No child device description found");
        return {};
    }
    return GetDevNodeDeviceDescription(driverKey);
}

int GetStatusProblemOfChild(kernel::HANDLE hub, std::uint32_t port, std::uint32_t & problem, std::uint8_t & disabled) {
    TraceScope const trace(nuvrusbUnit, "GetStatusProblemOfChild", 465);
    nuv::String const driverKey = GetDriverKeyName(hub, port);
    return driverKey.empty() ? 0 : GetDevNodeStatusAndProblemCode(driverKey, problem, disabled);
}

} // namespace nuvrusb
