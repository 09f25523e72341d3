// usbtopo: the PC's USB bus as a tree of controllers, hubs, ports and devices, read by I/O controls at construction or
// enumeration and unchanged afterwards. Reading blocks: each query of a hub up to 5 seconds, and a hub that once did
// not answer is not asked again.
//
// USB versions are exactly 1.0f, 1.1f, 2.0f, 3.0f, 3.1f, or 0.0f where they are unknown.
#pragma once

#include "kernel/UsbRecords.h"
#include "nuv/Array.h"
#include "nuv/SharedResourceManager.h"
#include "nuv/String.h"

#include <cstdint>

namespace usbtopo {

class CUsbHub;
class TopologyReader;

// A device on a port. It exists wherever the port's connection record carries a device descriptor.
class CUsbDevice {
public:
    nuv::String const & getDisplayName() const {
        return displayName_;
    } // the product's own name, else the OS's; or empty
    nuv::String const & getDeviceInstanceID() const {
        return deviceInstanceId_;
    }                                                         // empty when the OS has no node for it
    bool ChildHasProblem() const { return childHasProblem_; } // its device node, or one below it, has a problem code

private:
    friend class TopologyReader;
    nuv::String displayName_;
    nuv::String deviceInstanceId_;
    bool childHasProblem_ = false;
};

// One port of a hub.
class CUsbPort {
public:
    // The port's connection record. Its speed is the true one: 3 or 4 where the V2 record says SuperSpeed or
    // SuperSpeedPlus, which the plain record cannot.
    kernel::USB_NODE_CONNECTION_INFORMATION_EX const & connectionInformation() const { return connection_; }

    float getUSBVersion() const { return currentVersion_; }    // at which the port runs now; 0.0f when it is empty
    float getMaxUSBVersion() const { return maximumVersion_; } // of the port's connector, companion port included

    // The other port behind the same connector: its number, 0 when there is none, and the symbolic name of its hub.
    std::uint32_t getCompanionPortNumber() const { return companionPort_; }
    nuv::String const & getCompanionHubName() const { return companionHub_; }

    nuv::String const & getDriverKey() const { return driverKey_; } // of what is on the port; empty when unknown
    nuv::SharedResourceManager<CUsbDevice> const & device() const { return device_; }  // empty without a descriptor
    nuv::SharedResourceManager<CUsbHub> const & childHub() const { return childHub_; } // empty when it cannot be read

    // The speed at which the device on the port runs; at most one is true, none on an empty port.
    bool DeviceIsLowSpeed() const { return runsAt(kernel::UsbLowSpeed); }
    bool DeviceIsFullSpeed() const { return runsAt(kernel::UsbFullSpeed); }
    bool DeviceIsHighSpeed() const { return runsAt(kernel::UsbHighSpeed); }
    bool DeviceIsSuperSpeed() const { return runsAt(kernel::UsbSuperSpeed); }
    bool DeviceIsSuperPlusSpeed() const { return runsAt(kernel::UsbSuperSpeedPlus); }

private:
    friend class TopologyReader;
    bool runsAt(std::uint8_t speed) const { return connection_.ConnectionStatus != 0 && connection_.Speed == speed; }

    kernel::USB_NODE_CONNECTION_INFORMATION_EX connection_{};
    float currentVersion_ = 0.0F;
    float maximumVersion_ = 0.0F;
    std::uint32_t companionPort_ = 0;
    nuv::String companionHub_;
    nuv::String driverKey_;
    nuv::SharedResourceManager<CUsbDevice> device_;
    nuv::SharedResourceManager<CUsbHub> childHub_;
};

class CUsbHub {
public:
    using Ports = nuv::Array<nuv::SharedResourceManager<CUsbPort>>;

    // Reads the hub with that name, with or without "\\?\" in front. The type is a label ("HUB"). A hub that cannot be
    // opened has no ports.
    CUsbHub(nuv::String const * name, char const * type);

    nuv::String const & name() const { return name_; }

    // Port n at index n - 1. A slot is empty when the port could not be read.
    Ports const & ports() const { return ports_; }

private:
    friend class TopologyReader;
    CUsbHub() = default;

    nuv::String name_;
    Ports ports_;
};

class CUsbController {
public:
    nuv::String const & getDisplayName() const { return displayName_; }
    nuv::String const & getDeviceInstanceID() const { return deviceInstanceId_; } // empty when the OS does not tell
    float getUSBVersion() const { return version_; }                              // the highest of its root ports
    CUsbHub const & rootHub() const { return *rootHub_; } // without ports when the controller cannot be opened

private:
    friend class TopologyReader;
    nuv::String displayName_;
    nuv::String deviceInstanceId_;
    float version_ = 0.0F;
    nuv::SharedResourceManager<CUsbHub> rootHub_;
};

class CUsbSystem {
public:
    using Controllers = nuv::Array<nuv::SharedResourceManager<CUsbController>>;

    // Reads every host controller, its root hub and all hubs below. False when the controllers cannot be listed.
    bool EnumerateHostControllers();

    // In the order of the device tree. A slot is empty for a controller that is disabled.
    Controllers const & controllers() const { return controllers_; }

private:
    Controllers controllers_;
};

} // namespace usbtopo
