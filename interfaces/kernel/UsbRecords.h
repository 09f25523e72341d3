// Records and codes of USB host controller and hub I/O controls, as published in usbioctl.h, usbiodef.h and usbspec.h:
// little-endian, byte-packed. Fields keep their published names. A record whose last member is an array of one
// character carries the rest of its text behind it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kernel {

// Host controllers. The first code means something else to a hub (see below).
inline constexpr std::uint32_t IOCTL_USB_GET_ROOT_HUB_NAME = 0x00220408;
inline constexpr std::uint32_t IOCTL_GET_HCD_DRIVERKEY_NAME = 0x00220424;

// Hubs.
inline constexpr std::uint32_t IOCTL_USB_GET_NODE_INFORMATION = 0x00220408;
inline constexpr std::uint32_t IOCTL_USB_GET_NODE_CONNECTION_NAME = 0x00220414;
inline constexpr std::uint32_t IOCTL_USB_GET_NODE_CONNECTION_DRIVERKEY_NAME = 0x00220420;
inline constexpr std::uint32_t IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX = 0x00220448;
inline constexpr std::uint32_t IOCTL_USB_GET_HUB_INFORMATION_EX = 0x00220454;
inline constexpr std::uint32_t IOCTL_USB_GET_PORT_CONNECTOR_PROPERTIES = 0x00220458;
inline constexpr std::uint32_t IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX_V2 = 0x0022045C;

// USB_CONNECTION_STATUS: what a hub says of one of its ports.
enum class USB_CONNECTION_STATUS : std::uint32_t {
    NoDeviceConnected = 0,
    DeviceConnected = 1,
    DeviceFailedEnumeration = 2,
    DeviceGeneralFailure = 3,
    DeviceCausedOvercurrent = 4,
    DeviceNotEnoughPower = 5,
    DeviceNotEnoughBandwidth = 6,
    DeviceHubNestedTooDeeply = 7,
    DeviceInLegacyHub = 8,
    DeviceEnumerating = 9,
    DeviceReset = 10,
};

// USB_DEVICE_SPEED: the speed byte of a connection. The plain connection record ends at high speed; the values above
// it come from the V2 record.
inline constexpr std::uint8_t UsbLowSpeed = 0;
inline constexpr std::uint8_t UsbFullSpeed = 1;
inline constexpr std::uint8_t UsbHighSpeed = 2;
inline constexpr std::uint8_t UsbSuperSpeed = 3;
inline constexpr std::uint8_t UsbSuperSpeedPlus = 4;

#pragma pack(push, 1)

struct USB_DEVICE_DESCRIPTOR {
    std::uint8_t bLength; // 18 in a real descriptor; 0 where the hub has none to give
    std::uint8_t bDescriptorType;
    std::uint16_t bcdUSB;
    std::uint8_t bDeviceClass;
    std::uint8_t bDeviceSubClass;
    std::uint8_t bDeviceProtocol;
    std::uint8_t bMaxPacketSize0;
    std::uint16_t idVendor;
    std::uint16_t idProduct;
    std::uint16_t bcdDevice;
    std::uint8_t iManufacturer;
    std::uint8_t iProduct;
    std::uint8_t iSerialNumber;
    std::uint8_t bNumConfigurations;
};
static_assert(sizeof(USB_DEVICE_DESCRIPTOR) == 18);
static_assert(offsetof(USB_DEVICE_DESCRIPTOR, idVendor) == 8);
static_assert(offsetof(USB_DEVICE_DESCRIPTOR, bNumConfigurations) == 17);

struct USB_ENDPOINT_DESCRIPTOR {
    std::uint8_t bLength;
    std::uint8_t bDescriptorType;
    std::uint8_t bEndpointAddress;
    std::uint8_t bmAttributes;
    std::uint16_t wMaxPacketSize;
    std::uint8_t bInterval;
};
static_assert(sizeof(USB_ENDPOINT_DESCRIPTOR) == 7);

struct USB_PIPE_INFO {
    USB_ENDPOINT_DESCRIPTOR EndpointDescriptor;
    std::uint32_t ScheduleOffset;
};
static_assert(sizeof(USB_PIPE_INFO) == 11);
static_assert(offsetof(USB_PIPE_INFO, ScheduleOffset) == 7);

// IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX, input (ConnectionIndex, 1-based) and output. NumberOfOpenPipes
// USB_PIPE_INFO records follow.
struct USB_NODE_CONNECTION_INFORMATION_EX {
    std::uint32_t ConnectionIndex;
    USB_DEVICE_DESCRIPTOR DeviceDescriptor;
    std::uint8_t CurrentConfigurationValue; // 0: not configured
    std::uint8_t Speed;                     // USB_DEVICE_SPEED
    std::uint8_t DeviceIsHub;               // BOOLEAN
    std::uint16_t DeviceAddress;
    std::uint32_t NumberOfOpenPipes;
    std::uint32_t ConnectionStatus; // USB_CONNECTION_STATUS, or a value that this program does not know
};
static_assert(sizeof(USB_NODE_CONNECTION_INFORMATION_EX) == 35);
static_assert(offsetof(USB_NODE_CONNECTION_INFORMATION_EX, DeviceDescriptor) == 4);
static_assert(offsetof(USB_NODE_CONNECTION_INFORMATION_EX, CurrentConfigurationValue) == 22);
static_assert(offsetof(USB_NODE_CONNECTION_INFORMATION_EX, Speed) == 23);
static_assert(offsetof(USB_NODE_CONNECTION_INFORMATION_EX, DeviceIsHub) == 24);
static_assert(offsetof(USB_NODE_CONNECTION_INFORMATION_EX, DeviceAddress) == 25);
static_assert(offsetof(USB_NODE_CONNECTION_INFORMATION_EX, NumberOfOpenPipes) == 27);
static_assert(offsetof(USB_NODE_CONNECTION_INFORMATION_EX, ConnectionStatus) == 31);

// Bits of USB_PROTOCOLS.
inline constexpr std::uint32_t Usb110 = 1U << 0;
inline constexpr std::uint32_t Usb200 = 1U << 1;
inline constexpr std::uint32_t Usb300 = 1U << 2;

// Bits of USB_NODE_CONNECTION_INFORMATION_EX_V2_FLAGS.
inline constexpr std::uint32_t DeviceIsOperatingAtSuperSpeedOrHigher = 1U << 0;
inline constexpr std::uint32_t DeviceIsSuperSpeedCapableOrHigher = 1U << 1;
inline constexpr std::uint32_t DeviceIsOperatingAtSuperSpeedPlusOrHigher = 1U << 2;
inline constexpr std::uint32_t DeviceIsSuperSpeedPlusCapableOrHigher = 1U << 3;

// IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX_V2. Input: ConnectionIndex, Length (16), SupportedUsbProtocols with
// Usb300 set, else the hub answers ERROR_INVALID_PARAMETER. Output: what the port speaks and what the device can do.
struct USB_NODE_CONNECTION_INFORMATION_EX_V2 {
    std::uint32_t ConnectionIndex;
    std::uint32_t Length;
    std::uint32_t SupportedUsbProtocols;
    std::uint32_t Flags;
};
static_assert(sizeof(USB_NODE_CONNECTION_INFORMATION_EX_V2) == 16);
static_assert(offsetof(USB_NODE_CONNECTION_INFORMATION_EX_V2, Flags) == 12);

// IOCTL_USB_GET_NODE_CONNECTION_NAME: the symbolic name of the hub on a port, without the "\\?\" in front. ActualLength
// is the size of the whole record in bytes.
struct USB_NODE_CONNECTION_NAME {
    std::uint32_t ConnectionIndex;
    std::uint32_t ActualLength;
    char16_t NodeName[1];
};
static_assert(sizeof(USB_NODE_CONNECTION_NAME) == 10);
static_assert(offsetof(USB_NODE_CONNECTION_NAME, NodeName) == 8);

// IOCTL_USB_GET_NODE_CONNECTION_DRIVERKEY_NAME: the driver key of the device on a port.
struct USB_NODE_CONNECTION_DRIVERKEY_NAME {
    std::uint32_t ConnectionIndex;
    std::uint32_t ActualLength;
    char16_t DriverKeyName[1];
};
static_assert(sizeof(USB_NODE_CONNECTION_DRIVERKEY_NAME) == 10);
static_assert(offsetof(USB_NODE_CONNECTION_DRIVERKEY_NAME, DriverKeyName) == 8);

// IOCTL_USB_GET_ROOT_HUB_NAME of a host controller: the symbolic name of its root hub, without the "\\?\" in front.
struct USB_ROOT_HUB_NAME {
    std::uint32_t ActualLength;
    char16_t RootHubName[1];
};
static_assert(sizeof(USB_ROOT_HUB_NAME) == 6);
static_assert(offsetof(USB_ROOT_HUB_NAME, RootHubName) == 4);

// IOCTL_GET_HCD_DRIVERKEY_NAME of a host controller.
struct USB_HCD_DRIVERKEY_NAME {
    std::uint32_t ActualLength;
    char16_t DriverKeyName[1];
};
static_assert(sizeof(USB_HCD_DRIVERKEY_NAME) == 6);

struct USB_HUB_DESCRIPTOR {
    std::uint8_t bDescriptorLength;
    std::uint8_t bDescriptorType;
    std::uint8_t bNumberOfPorts;
    std::uint16_t wHubCharacteristics;
    std::uint8_t bPowerOnToPowerGood;
    std::uint8_t bHubControlCurrent;
    std::uint8_t bRemoveAndPowerMask[64];
};
static_assert(sizeof(USB_HUB_DESCRIPTOR) == 71);
static_assert(offsetof(USB_HUB_DESCRIPTOR, bNumberOfPorts) == 2);

struct USB_HUB_INFORMATION {
    USB_HUB_DESCRIPTOR HubDescriptor;
    std::uint8_t HubIsBusPowered; // BOOLEAN
};
static_assert(sizeof(USB_HUB_INFORMATION) == 72);

// IOCTL_USB_GET_NODE_INFORMATION of a hub; NodeType 0 says that it is one.
struct USB_NODE_INFORMATION {
    std::uint32_t NodeType;
    USB_HUB_INFORMATION HubInformation;
};
static_assert(sizeof(USB_NODE_INFORMATION) == 76);
static_assert(offsetof(USB_NODE_INFORMATION, HubInformation) == 4);

// Bits of USB_PORT_PROPERTIES.
inline constexpr std::uint32_t PortIsUserConnectable = 1U << 0;
inline constexpr std::uint32_t PortIsDebugCapable = 1U << 1;
inline constexpr std::uint32_t PortHasMultipleCompanions = 1U << 2;
inline constexpr std::uint32_t PortConnectorIsTypeC = 1U << 3;

// IOCTL_USB_GET_PORT_CONNECTOR_PROPERTIES: the other port behind the same connector. CompanionPortNumber 0: none;
// CompanionHubSymbolicLinkName names the hub that it is on, empty where there is no companion.
struct USB_PORT_CONNECTOR_PROPERTIES {
    std::uint32_t ConnectionIndex;
    std::uint32_t ActualLength;
    std::uint32_t UsbPortProperties;
    std::uint16_t CompanionIndex; // which companion is asked for, from 0
    std::uint16_t CompanionPortNumber;
    char16_t CompanionHubSymbolicLinkName[1];
};
static_assert(sizeof(USB_PORT_CONNECTOR_PROPERTIES) == 18);
static_assert(offsetof(USB_PORT_CONNECTOR_PROPERTIES, CompanionPortNumber) == 14);

#pragma pack(pop)

} // namespace kernel
