#include "ConnectionSpeed.h"

#include "CollectedResults.h"
#include "Reporting.h"
#include "SpeedMode.h"

#include <cstddef>

namespace nuvrusb {

using kernel::USB_CONNECTION_STATUS;
using tkit5::TestResult;

namespace {

bool sparing1xDevices() {
    return speedMode.desiredSpeedIsMax && speedMode.ignore1x;
}

bool hasStatus(usbtopo::CUsbPort const & port, USB_CONNECTION_STATUS status) {
    return port.connectionInformation().ConnectionStatus == static_cast<std::uint32_t>(status);
}

bool isOccupied(nuv::SharedResourceManager<usbtopo::CUsbPort> const & port) {
    return port && !hasStatus(*port, USB_CONNECTION_STATUS::NoDeviceConnected);
}

TestResult checkHubPorts(usbtopo::CUsbHub const & hub, nuv::String const & controllerInstanceId,
                         nuv::String const & controllerName, SpeedCode hubSpeed) {
    TestResult result = TestResult::PASS();
    usbtopo::CUsbHub::Ports const & ports = hub.ports();
    for (std::size_t index = 0; index < ports.size(); ++index) {
        if (!isOccupied(ports[index])) {
            continue;
        }
        result = checkPortSpeed(ports[index], controllerInstanceId, controllerName, hubSpeed);
        if (index < ports.size() - 1) {
            collectedResults.append(result);
        }
    }
    return result;
}

} // namespace

TestResult checkPortSpeed(nuv::SharedResourceManager<usbtopo::CUsbPort> const & port,
                          nuv::String const & controllerInstanceId, nuv::String const & controllerName,
                          SpeedCode inheritedSpeed) {
    TraceScope const trace(nuvrusbUnit, "checkPortSpeed", 840);
    TestResult const power = deviceOperationalStatus(*port, controllerName);
    if (power != TestResult::PASS()) {
        collectedResults.append(power);
    }

    kernel::USB_NODE_CONNECTION_INFORMATION_EX const & connection = port->connectionInformation();
    if (connection.DeviceIsHub != 0) {
        if (!port->childHub()) {
            return TestResult::PASS();
        }
        SpeedCode const hubSpeed =
            connection.Speed > highestSpeedByte ? inheritedSpeed : speedCodeOfByte(connection.Speed);
        return checkHubPorts(*port->childHub(), controllerInstanceId, controllerName, hubSpeed);
    }

    if (!port->device() || port->device()->ChildHasProblem()) {
        return TestResult::PASS();
    }

    usbtopo::CUsbDevice const & device = *port->device();
    SpeedCode const running = speedCodeOfByte(connection.Speed);
    SpeedCode const maximum = speedCodeOfVersion(port->getMaxUSBVersion());
    auto const logDevice = [&device](int line, char const * head, char const * link, SpeedCode speed) {
        nuvrusbUnit.log(1, line, [&](nuv::LoggerStream & message) {
            message << head << device.getDisplayName() << link << mapUsbSpeedToString(speed);
        });
    };
    logDevice(874, "Debug::checkPortSpeed() device: ", " running at speed ", running);
    if (sparing1xDevices() && running < speedUsb20) {
        logDevice(878, "Debug::checkPortSpeed() ignoring device: ", " running at speed ", running);
        return TestResult::PASS();
    }
    logDevice(883, "Debug::checkPortSpeed() device: ", " max speed ", maximum);
    return verifyDesiredVerificationSpeed(device, controllerName, running, maximum);
}

TestResult deviceOperationalStatus(usbtopo::CUsbPort const & port, nuv::String const & controllerName) {
    TraceScope const trace(nuvrusbUnit, "deviceOperationalStatus", 1436);
    if (sparing1xDevices() && port.connectionInformation().Speed <= kernel::UsbFullSpeed) {
        nuvrusbUnit.log(1, 1441, [&](nuv::LoggerStream & message) {
            message << "Debug::deviceOperationalStatus() ignoring device attached to controller " << controllerName;
        });
        return TestResult::PASS();
    }
    if (hasStatus(port, USB_CONNECTION_STATUS::DeviceNotEnoughPower)) {
        raiseWarning(nuvrusbUnit, keys::NewDeviceNotEnoughPower->setVariable("ControllerName", controllerName), 1449);
        return TestResult::WARN();
    }
    if (hasStatus(port, USB_CONNECTION_STATUS::DeviceCausedOvercurrent)) {
        raiseWarning(nuvrusbUnit, keys::NewDeviceCausedOvercurrent->setVariable("ControllerName", controllerName),
                     1456);
        return TestResult::WARN();
    }
    return TestResult::PASS();
}

TestResult verifyDesiredVerificationSpeed(usbtopo::CUsbDevice const & device, nuv::String const & controllerName,
                                          SpeedCode running, SpeedCode maximum) {
    TraceScope const trace(nuvrusbUnit, "verifyDesiredVerificationSpeed", 1464);
    // Only "MAX" is a demand: every other value of the parameter, and none at all, is content with any speed.
    if (!speedMode.desiredSpeedIsMax || running >= maximum) {
        return TestResult::PASS();
    }
    nuv::String const deviceName =
        device.getDisplayName().empty() ? keys::UnknownDevice->localizedString().nuvString() : device.getDisplayName();
    raiseError(nuvrusbUnit,
               keys::CAPABLE_OF_RUNNING_AT_HIGHER_SPEED->setVariable("DeviceName", deviceName)
                   ->setVariable("ControllerName", controllerName)
                   ->setVariable("OperatingSpeed", mapUsbSpeedToString(running))
                   ->setVariable("HigherSpeed", mapUsbSpeedToString(maximum)),
               1484);
    return TestResult::FAIL();
}

} // namespace nuvrusb
