// From the device under test to the USB port that it is on.
#pragma once

#include "SourceUnit.h"
#include "UsbSpeed.h"

#include "nuv.h"
#include "tkit5.h"
#include "usbtopo.h"

namespace nuvrusb {

extern SourceUnit testableDeviceUnit;

class TestableDevice {
public:
    using Port = nuv::SharedResourceManager<usbtopo::CUsbPort>;

    // The host controllers of the system are enumerated already. The two strings identify the device under test, either
    // of them by a device instance ID; one or both may be empty.
    TestableDevice(nuv::SharedResourceManager<usbtopo::CUsbSystem> system, nuv::String deviceInstanceId,
                   nuv::String hardwareLocator);

    // Looks at every port of every controller until the device is found. The port is the one whose USB device is the
    // parent of the device under test in the operating system's device tree.
    void enumeratePorts();
    void matchDevice(Port const & port);        // this port and, for a hub, everything behind it
    void findMatchingDevice(Port const & port); // this port's own device

    // Judges the speed of the matched port. A device below its port's speed gives false and WARN, never FAIL: the
    // storage test judges the rate by itself. Without a device to judge, false, and the result stays as it was.
    bool validPortSpeed();

    Port const & port() const { return port_; } // empty when there is no match
    nuv::String const & controllerInstanceId() const { return controllerInstanceId_; }
    nuv::String const & osLocator() const { return osLocator_; }
    nuv::String const & controllerName() const { return controllerName_; }
    SpeedCode controllerSpeed() const { return controllerSpeed_; }
    nuv::String const & friendlyName() const { return friendlyName_; }
    tkit5::TestResult const & portResult() const { return portResult_; }

private:
    bool isComplete() const { return found_ && matched_; }
    void matchCandidate(nuv::String const & candidate, Port const & port);
    void findOsDevice(nuv::String const & candidate);

    nuv::SharedResourceManager<usbtopo::CUsbSystem> system_;
    Port port_;
    nuv::String controllerInstanceId_; // this and the name: of the last controller that was looked at
    nuv::String deviceInstanceId_;
    nuv::String hardwareLocator_;
    nuv::String osLocator_;
    nuv::String controllerName_;
    SpeedCode controllerSpeed_ = speedUnknown;
    nuv::String friendlyName_;
    bool found_ = false;   // among the operating system's devices
    bool matched_ = false; // with a USB port
    tkit5::TestResult portResult_;
};

} // namespace nuvrusb
