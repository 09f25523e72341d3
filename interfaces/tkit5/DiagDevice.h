#pragma once

#include "../nuv/Array.h"
#include "../nuv/SharedResourceManager.h"
#include "Value.h"

#include <cstdint>

namespace tkit5 {

// A set of capabilities of devices.
class DeviceCapability {
public:
    static DeviceCapability USB();            // on a USB port
    static DeviceCapability USB2();           // on a USB port, at high speed or above
    static DeviceCapability USBComposite();   // a USB device with several functions
    static DeviceCapability USBController();  // a USB host controller
    static DeviceCapability USBPorts();       // the PC's USB ports as a whole; exactly one device has it
    static DeviceCapability USBMassStorage(); // a disk behind USB
    static DeviceCapability HUB();            // a USB hub, root hubs included
    static DeviceCapability ATA();            // a disk that reports ATA security

    friend DeviceCapability operator|(DeviceCapability a, DeviceCapability b) {
        return DeviceCapability(a.bits_ | b.bits_);
    }
    friend bool operator==(DeviceCapability const & a, DeviceCapability const & b) = default;

    DeviceCapability() = default; // none
    bool contains(DeviceCapability all) const { return (bits_ & all.bits_) == all.bits_; }
    bool containsAnyOf(DeviceCapability any) const { return (bits_ & any.bits_) != 0; }

private:
    explicit constexpr DeviceCapability(std::uint32_t bits) : bits_(bits) {}
    std::uint32_t bits_ = 0;
};

class DeviceProperty {
public:
    explicit DeviceProperty(Value value) : value_(std::move(value)) {}
    Value const & value() const { return value_; }

private:
    Value value_;
};

// How the framework reaches a device: its place on the bus.
class IDeviceImp {
public:
    virtual ~IDeviceImp() = default;

    virtual nuv::String connectHubIdentifier() const = 0; // of the hub that it is connected to; empty when unknown
    virtual nuv::String identifier() const = 0;           // its own; the device instance ID
    virtual nuv::String osName() const = 0;               // the path by which the device can be opened
    virtual nuv::Array<nuv::SharedResourceManager<IDeviceImp>> children() const = 0; // of a hub, in port order
};

// A device that a test runs on. Valid during the call that received it.
class DiagDevice {
public:
    DiagDevice(DiagDevice const &) = delete;
    DiagDevice & operator=(DiagDevice const &) = delete;
    virtual ~DiagDevice() = default;

    virtual nuv::String name() const = 0;
    virtual nuv::String description() const = 0;
    virtual nuv::String hwLocator() const = 0;                            // of a disk: its device instance ID
    virtual nuv::String osLocator() const = 0;                            // the path by which the device can be opened
    virtual DeviceProperty const * property(char const * name) const = 0; // null when the device has no such property
    virtual bool hasCapability(DeviceCapability all) const = 0;
    virtual IDeviceImp const & imp() const = 0;

protected:
    DiagDevice() = default;
};

} // namespace tkit5
