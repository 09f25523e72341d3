#include "ControlNames.h"

#include "kernel/StorageRecords.h"
#include "kernel/UsbRecords.h"

#include <algorithm>
#include <array>
#include <span>

namespace machine {

namespace {

struct ControlName {
    std::uint32_t code;
    char const * name;
};

constexpr std::array<ControlName, 7> hubControls{{
    {kernel::IOCTL_USB_GET_NODE_INFORMATION, "USB_GET_NODE_INFORMATION"},
    {kernel::IOCTL_USB_GET_NODE_CONNECTION_NAME, "USB_GET_NODE_CONNECTION_NAME"},
    {kernel::IOCTL_USB_GET_NODE_CONNECTION_DRIVERKEY_NAME, "USB_GET_NODE_CONNECTION_DRIVERKEY_NAME"},
    {kernel::IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX, "USB_GET_NODE_CONNECTION_INFORMATION_EX"},
    {kernel::IOCTL_USB_GET_HUB_INFORMATION_EX, "USB_GET_HUB_INFORMATION_EX"},
    {kernel::IOCTL_USB_GET_PORT_CONNECTOR_PROPERTIES, "USB_GET_PORT_CONNECTOR_PROPERTIES"},
    {kernel::IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX_V2, "USB_GET_NODE_CONNECTION_INFORMATION_EX_V2"},
}};

// Some codes mean one thing to a hub and another to a host controller.
constexpr std::array<ControlName, 2> controllerControls{{
    {kernel::IOCTL_USB_GET_ROOT_HUB_NAME, "USB_GET_ROOT_HUB_NAME"},
    {kernel::IOCTL_GET_HCD_DRIVERKEY_NAME, "GET_HCD_DRIVERKEY_NAME"},
}};

constexpr std::array<ControlName, 13> storageControls{{
    {kernel::IOCTL_DISK_GET_LENGTH_INFO, "DISK_GET_LENGTH_INFO"},
    {kernel::IOCTL_DISK_IS_WRITABLE, "DISK_IS_WRITABLE"},
    {kernel::IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, "DISK_GET_DRIVE_GEOMETRY_EX"},
    {kernel::IOCTL_STORAGE_CHECK_VERIFY, "STORAGE_CHECK_VERIFY"},
    {kernel::IOCTL_STORAGE_EJECT_MEDIA, "STORAGE_EJECT_MEDIA"},
    {kernel::IOCTL_STORAGE_LOAD_MEDIA, "STORAGE_LOAD_MEDIA"},
    {kernel::IOCTL_STORAGE_GET_DEVICE_NUMBER, "STORAGE_GET_DEVICE_NUMBER"},
    {kernel::IOCTL_STORAGE_QUERY_PROPERTY, "STORAGE_QUERY_PROPERTY"},
    {kernel::IOCTL_SCSI_PASS_THROUGH, "SCSI_PASS_THROUGH"},
    {kernel::IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, "VOLUME_GET_VOLUME_DISK_EXTENTS"},
    {kernel::FSCTL_LOCK_VOLUME, "FSCTL_LOCK_VOLUME"},
    {kernel::FSCTL_UNLOCK_VOLUME, "FSCTL_UNLOCK_VOLUME"},
    {kernel::FSCTL_DISMOUNT_VOLUME, "FSCTL_DISMOUNT_VOLUME"},
}};

char const * nameIn(std::span<ControlName const> controls, std::uint32_t code) {
    auto const found = std::ranges::find(controls, code, &ControlName::code);
    return found == controls.end() ? nullptr : found->name;
}

} // namespace

char const * controlName(std::uint32_t code, bool toController) {
    char const * const name = toController ? nameIn(controllerControls, code) : nameIn(hubControls, code);
    return name == nullptr ? nameIn(storageControls, code) : name;
}

} // namespace machine
