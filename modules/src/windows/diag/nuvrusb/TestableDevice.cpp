#include "TestableDevice.h"

#include "ConnectionSpeed.h"

#include "libHostOS.h"

#include <array>
#include <cstddef>
#include <utility>

namespace nuvrusb {

constinit SourceUnit testableDeviceUnit{"nuvrusb.TestableDevice",
                                        "modules/src/windows/diag/nuvrusb/TestableDevice.cpp"};

namespace {

SourceUnit & unit = testableDeviceUnit;

} // namespace

TestableDevice::TestableDevice(nuv::SharedResourceManager<usbtopo::CUsbSystem> system, nuv::String deviceInstanceId,
                               nuv::String hardwareLocator)
    : system_(std::move(system)), deviceInstanceId_(std::move(deviceInstanceId)),
      hardwareLocator_(std::move(hardwareLocator)) {}

void TestableDevice::enumeratePorts() {
    TraceScope const trace(unit, "TestableDevice::enumeratePorts", 28);
    for (nuv::SharedResourceManager<usbtopo::CUsbController> const & controller : system_->controllers()) {
        if (isComplete()) {
            return;
        }
        if (!controller) {
            continue;
        }
        if (!controller->getDisplayName().empty()) {
            controllerName_ = controller->getDisplayName();
        }
        if (!controller->getDeviceInstanceID().empty()) {
            controllerInstanceId_ = controller->getDeviceInstanceID();
        }
        controllerSpeed_ = speedCodeOfVersion(controller->getUSBVersion());
        unit.log(1, 46, [this](nuv::LoggerStream & message) {
            message << "TestableDevice::enumeratePorts() working on controller: " << controllerName_;
        });
        for (Port const & port : controller->rootHub().ports()) {
            if (port && port->connectionInformation().ConnectionStatus != 0) {
                matchDevice(port);
            }
        }
    }
}

void TestableDevice::matchDevice(Port const & port) {
    TraceScope const trace(unit, "TestableDevice::matchDevice", 58);
    kernel::USB_NODE_CONNECTION_INFORMATION_EX const & connection = port->connectionInformation();
    if (isComplete() || connection.ConnectionStatus == 0) {
        return;
    }
    if (connection.DeviceIsHub == 0) {
        if (port->device() && !port->device()->ChildHasProblem()) {
            findMatchingDevice(port);
        }
        return;
    }
    if (!port->childHub()) {
        unit.log(4, 70, "USB External Hub is not initialized correctly");
        return;
    }
    for (Port const & childPort : port->childHub()->ports()) {
        if (childPort) {
            matchDevice(childPort);
        }
    }
}

void TestableDevice::findMatchingDevice(Port const & port) {
    TraceScope const trace(unit, "TestableDevice::findMatchingDevice", 93);
    for (nuv::String const * const candidate : std::array{&hardwareLocator_, &deviceInstanceId_}) {
        if (isComplete()) {
            return;
        }
        matchCandidate(*candidate, port);
    }
}

void TestableDevice::matchCandidate(nuv::String const & candidate, Port const & port) {
    libHostOS::WindowsDevice const device(candidate);
    nuv::String const instanceId = device.getDeviceInstanceId();
    if (instanceId.empty() || !instanceId.equalNoCase(candidate)) {
        return;
    }
    if (!found_) {
        findOsDevice(candidate);
    }
    if (matched_ || !port->device()) {
        return;
    }

    nuv::String const parent = device.getParentDeviceInstanceId();
    if (parent.empty()) {
        return;
    }
    unit.log(1, 136, [&](nuv::LoggerStream & message) {
        message << "TestableDevice::findMatchingDevice() deviceBeingTested instance ID: " << parent;
    });
    nuv::String const & usbId = port->device()->getDeviceInstanceID();
    if (usbId.empty()) {
        return;
    }
    unit.log(1, 142, [&](nuv::LoggerStream & message) {
        message << "TestableDevice::findMatchingDevice() deviceInstanceID from CUsbDevice: " << usbId;
    });
    if (!parent.equalNoCase(usbId)) {
        return;
    }
    port_ = port;
    matched_ = true;
    unit.log(1, 146, [&](nuv::LoggerStream & message) {
        message << "TestableDevice::findMatchingDevice() device: " << friendlyName_
                << " matched with port Speed: " << port->getUSBVersion();
    });
}

void TestableDevice::findOsDevice(nuv::String const & candidate) {
    libHostOS::WindowsDeviceSet const devices(0, libHostOS::WindowsDeviceSet::Disks);
    for (std::size_t index = 0; index < devices.size(); ++index) {
        libHostOS::WindowsDevice const device = devices[index];
        if (device.isHidden()) {
            continue;
        }
        nuv::String const instanceId = device.getDeviceInstanceId();
        if (instanceId.empty() || !instanceId.equalNoCase(candidate)) {
            continue;
        }
        osLocator_ = device.getOsLocator();
        friendlyName_ = device.getFriendlyName();
        found_ = true;
        unit.log(1, 124, [this](nuv::LoggerStream & message) {
            message << "TestableDevice::findMatchingDevice() device matched: " << friendlyName_;
        });
        return;
    }
}

bool TestableDevice::validPortSpeed() {
    TraceScope const trace(unit, "TestableDevice::validPortSpeed", 153);
    if (!port_ || !port_->device()) {
        unit.log(4, 157,
                 "TestableDevice::validPortSpeed() was not able to verify port speed due the device connected to the "
                 "port not being valid.");
        return false;
    }
    SpeedCode const running = speedCodeOfVersion(port_->getUSBVersion());
    SpeedCode const maximum = speedCodeOfVersion(port_->getMaxUSBVersion());
    portResult_ = verifyDesiredVerificationSpeed(*port_->device(), controllerName_, running, maximum);
    if (portResult_ == tkit5::TestResult::FAIL()) {
        portResult_ = tkit5::TestResult::WARN();
        return false;
    }
    return true;
}

} // namespace nuvrusb
