// USBConnectionSpeedVerificationTest: every device on every USB port of the PC, at the speed that its port allows.
#include "ConnectionSpeed.h"
#include "Catalogue.h"
#include "CollectedResults.h"
#include "Controllers.h"
#include "Reporting.h"
#include "SpeedMode.h"

namespace nuvrusb {

namespace {

// Opens the controller, as far as the operating system lists it. False when the controller is to be skipped.
bool openController(nuv::String const & instanceId, nuv::String const & name, nuv::FileHandleResManager & handle) {
    nuv::String osLocator;
    if (!getControllerOSLocator(instanceId, osLocator)) {
        return true; // judged all the same, without a handle
    }
    nuv::CreateFileOpenArgs args;
    args.fileName = osLocator;
    args.desiredAccess = kernel::GENERIC_READ | kernel::GENERIC_WRITE;
    args.shareMode = kernel::FILE_SHARE_READ | kernel::FILE_SHARE_WRITE;
    args.creationDisposition = kernel::OPEN_EXISTING;
    handle = nuv::FileHandleResManager(args);
    if (!handle.isValid()) {
        nuvrusbUnit.log(1, 793, [&](nuv::LoggerStream & message) {
            message << "Debug::USBConnectionSpeedVerificationTest() could not open handle for controller " << name;
        });
        return false;
    }
    return true;
}

void checkController(usbtopo::CUsbController const & controller) {
    nuv::String const & instanceId = controller.getDeviceInstanceID();
    if (instanceId.empty()) {
        nuvrusbUnit.log(1, 785, "Debug::getDeviceInstanceID() could not get Device Instance ID");
        return;
    }
    nuv::String const & name = controller.getDisplayName();
    nuv::FileHandleResManager handle;
    if (!openController(instanceId, name, handle)) {
        return;
    }

    usbtopo::CUsbHub::Ports const & ports = controller.rootHub().ports();
    nuvrusbUnit.log(1, 797, [&](nuv::LoggerStream & message) {
        message << "USBConnectionSpeedVerificationTest::Controller: " << name;
    });
    SpeedCode const controllerSpeed = speedCodeOfVersion(controller.getUSBVersion());
    nuvrusbUnit.log(1, 799, [&](nuv::LoggerStream & message) {
        message << "Debug::USBConnectionSpeedVerificationTest() getControllerSpeed() returned "
                << mapUsbSpeedToString(controllerSpeed);
    });
    nuvrusbUnit.log(1, 801, [&](nuv::LoggerStream & message) {
        message << "Debug::USBConnectionSpeedVerificationTest() there are " << static_cast<std::uint64_t>(ports.size())
                << " ports attached to the Controller";
    });
    nuv::String const rootHubName = getRootHubName(handle.get());
    nuvrusbUnit.log(1, 803, [&](nuv::LoggerStream & message) {
        message << "Debug::USBConnectionSpeedVerificationTest() Root Hub name " << rootHubName;
    });

    for (nuv::SharedResourceManager<usbtopo::CUsbPort> const & port : ports) {
        if (port && port->connectionInformation().ConnectionStatus != 0) {
            collectedResults.append(checkPortSpeed(port, instanceId, name, controllerSpeed));
        }
    }
}

} // namespace

tkit5::TestResult USBConnectionSpeedVerificationTest(tkit5::DiagDevice const & /*the whole bus is walked*/) {
    TraceScope const trace(nuvrusbUnit, "USBConnectionSpeedVerificationTest", 770);
    emptyCollectedResults();
    readDesiredVerificationSpeed();
    readIgnore1xDevices();

    usbtopo::CUsbSystem system;
    system.EnumerateHostControllers();
    for (nuv::SharedResourceManager<usbtopo::CUsbController> const & controller : system.controllers()) {
        if (controller) {
            checkController(*controller);
        }
    }
    return mergeCollectedResults();
}

} // namespace nuvrusb
