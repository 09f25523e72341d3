#include "PortRecords.h"

#include "machine/Text.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace machine::simulated {

namespace {

using kernel::USB_CONNECTION_STATUS;

constexpr std::uint8_t hubClass = 9;

PortState port(std::uint32_t number, std::uint32_t protocols, bool userConnectable) {
    PortState state;
    state.connection.ConnectionIndex = number;
    state.connectionV2.ConnectionIndex = number;
    state.connectionV2.Length = sizeof(state.connectionV2);
    state.connectionV2.SupportedUsbProtocols = protocols;
    state.properties = userConnectable ? kernel::PortIsUserConnectable : 0;
    return state;
}

std::optional<std::uint16_t> hexadecimal(std::u16string_view digits) {
    std::uint16_t value = 0;
    for (char16_t const digit : digits) {
        std::u16string_view const all = u"0123456789ABCDEF";
        std::size_t const worth = all.find(digit);
        if (worth == std::u16string_view::npos) {
            return std::nullopt;
        }
        value = static_cast<std::uint16_t>(value * 16 + worth);
    }
    return value;
}

// The number behind "VID_" or "PID_" in an instance ID; 0 when it has none.
std::uint16_t numberInInstanceId(std::u16string const & instanceId, std::u16string_view label) {
    std::u16string const upper = foldedCase(instanceId);
    std::size_t const at = upper.find(label);
    if (at == std::u16string::npos || at + label.size() + 4 > upper.size()) {
        return 0;
    }
    return hexadecimal(std::u16string_view(upper).substr(at + label.size(), 4)).value_or(0);
}

// What devices of a speed usually say. One that could do SuperSpeed but runs slower says 2.10.
std::uint16_t usualUsbVersion(std::uint8_t speed, bool superSpeedCapable) {
    switch (speed) {
    case kernel::UsbLowSpeed:
    case kernel::UsbFullSpeed:
        return 0x0110;
    case kernel::UsbSuperSpeed:
        return 0x0300;
    case kernel::UsbSuperSpeedPlus:
        return 0x0310;
    default:
        return superSpeedCapable ? 0x0210 : 0x0200;
    }
}

std::uint8_t usualPacketSize(std::uint8_t speed) {
    if (speed == kernel::UsbSuperSpeed || speed == kernel::UsbSuperSpeedPlus) {
        return 9; // as an exponent of two
    }
    return speed == kernel::UsbLowSpeed ? 8 : 64;
}

kernel::USB_DEVICE_DESCRIPTOR descriptorOf(Device const & device, std::uint8_t speed) {
    bool const isHub = device.hub != nullptr;
    kernel::USB_DEVICE_DESCRIPTOR descriptor{};
    descriptor.bLength = sizeof(descriptor);
    descriptor.bDescriptorType = 1;
    descriptor.bcdUSB =
        device.usbVersion.value_or(usualUsbVersion(speed, device.superSpeedCapable || device.superSpeedPlusCapable));
    descriptor.bDeviceClass = device.deviceClass.value_or(isHub ? hubClass : std::uint8_t{0});
    descriptor.bMaxPacketSize0 = usualPacketSize(speed);
    descriptor.idVendor = device.vendorId.value_or(numberInInstanceId(device.facts.instanceId, u"VID_"));
    descriptor.idProduct = device.productId.value_or(numberInInstanceId(device.facts.instanceId, u"PID_"));
    descriptor.bcdDevice = device.revision;
    descriptor.iProduct = device.product.empty() ? 0 : 2;
    descriptor.iSerialNumber = device.serialNumber.empty() ? 0 : 3;
    descriptor.bNumConfigurations = 1;
    return descriptor;
}

std::uint32_t flagsOf(Device const & device, std::uint8_t speed) {
    bool const runsPlus = speed == kernel::UsbSuperSpeedPlus;
    bool const runsSuper = runsPlus || speed == kernel::UsbSuperSpeed;
    bool const canPlus = runsPlus || device.superSpeedPlusCapable;
    bool const canSuper = runsSuper || canPlus || device.superSpeedCapable;
    return (runsSuper ? kernel::DeviceIsOperatingAtSuperSpeedOrHigher : 0) |
           (canSuper ? kernel::DeviceIsSuperSpeedCapableOrHigher : 0) |
           (runsPlus ? kernel::DeviceIsOperatingAtSuperSpeedPlusOrHigher : 0) |
           (canPlus ? kernel::DeviceIsSuperSpeedPlusCapableOrHigher : 0);
}

// The plain connection record knows nothing above high speed; the V2 record's flags tell.
std::uint8_t speedInPlainRecord(std::uint8_t speed) {
    bool const isSuper = speed == kernel::UsbSuperSpeed || speed == kernel::UsbSuperSpeedPlus;
    return isSuper ? kernel::UsbHighSpeed : speed;
}

} // namespace

kernel::USB_NODE_INFORMATION hubInformation(Hub const & hub) {
    kernel::USB_NODE_INFORMATION information{};
    kernel::USB_HUB_DESCRIPTOR & descriptor = information.HubInformation.HubDescriptor;
    // Seven fixed bytes and two masks with a bit for the hub and one for each port.
    descriptor.bDescriptorLength = static_cast<std::uint8_t>(7 + 2 * (hub.portCount / 8 + 1));
    descriptor.bDescriptorType = 0x29;
    descriptor.bNumberOfPorts = static_cast<std::uint8_t>(hub.portCount);
    descriptor.bPowerOnToPowerGood = 50; // in units of 2 ms
    descriptor.bHubControlCurrent = 100; // mA
    information.HubInformation.HubIsBusPowered = hub.busPowered ? 1 : 0;
    return information;
}

std::vector<PortState> emptyPorts(Hub const & hub) {
    std::vector<PortState> ports;
    ports.reserve(hub.portCount);
    for (std::uint32_t number = 1; number <= hub.portCount; ++number) {
        ports.push_back(port(number, hub.defaultProtocols, true));
    }
    return ports;
}

PortState describedPort(Port const & described) {
    PortState state = port(described.number, described.protocols, described.userConnectable);
    state.properties |= described.typeC ? kernel::PortConnectorIsTypeC : 0;
    state.companion = described.companion;
    state.superSpeedPlus = described.superSpeedPlus;

    Device const * const device = described.device.get();
    auto const usual = device == nullptr ? USB_CONNECTION_STATUS::NoDeviceConnected //
                                         : USB_CONNECTION_STATUS::DeviceConnected;
    state.connection.ConnectionStatus = described.status.value_or(static_cast<std::uint32_t>(usual));
    if (state.connection.ConnectionStatus == 0 || device == nullptr) {
        return state;
    }
    state.connection.Speed = speedInPlainRecord(described.speed);
    state.connection.DeviceIsHub = device->hub == nullptr ? 0 : 1;
    state.connection.CurrentConfigurationValue =
        device->configuration.value_or(device->descriptor ? std::uint8_t{1} : std::uint8_t{0});
    if (device->descriptor) {
        state.connection.DeviceDescriptor = descriptorOf(*device, described.speed);
    }
    state.connectionV2.Flags = flagsOf(*device, described.speed);
    return state;
}

} // namespace machine::simulated
