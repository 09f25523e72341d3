// StatusTest: a device is properly connected, or a hub delivers power properly.
#include "Catalogue.h"
#include "DeviceStatus.h"
#include "Reporting.h"

#include "nuv.h"

#include <algorithm>
#include <cstddef>

namespace nuvrusb {

using tkit5::DiagDevice;
using tkit5::DiagModule;
using tkit5::TestResult;

namespace {

// The first of the run's optional devices with that identifier, null when there is none.
DiagDevice const * findParentHub(nuv::String const & connectHubIdentifier) {
    for (std::size_t index = 0; index < DiagModule::optionalDeviceCount(); ++index) {
        DiagDevice const & candidate = DiagModule::optionalDevice(index);
        nuv::String const identifier = candidate.imp().identifier();
        nuvrusbUnit.log(1, 928, [&](nuv::LoggerStream & message) {
            message << "StatusTest::looking parentHub guid = " << identifier;
        });
        if (identifier == connectHubIdentifier) {
            return &candidate;
        }
    }
    return nullptr;
}

bool isChildOfHub(DiagDevice const & device, DiagDevice const & parentHub) {
    auto const children = parentHub.imp().children();
    nuvrusbUnit.log(1, 935, [&](nuv::LoggerStream & message) {
        message << "StatusTest::FOUND parentHub guid = " << parentHub.imp().identifier()
                << " children = " << static_cast<std::uint64_t>(children.size());
    });
    nuv::String const identifier = device.imp().identifier();
    nuv::String const osLocator = device.osLocator();
    return std::ranges::any_of(children, [&](nuv::SharedResourceManager<tkit5::IDeviceImp> const & child) {
        return child->identifier() == identifier && child->osName() == osLocator;
    });
}

nuv::FileHandleResManager openHub(nuv::String const & name) {
    nuv::CreateFileOpenArgs args;
    args.fileName = name;
    args.desiredAccess = kernel::GENERIC_READ | kernel::GENERIC_WRITE;
    args.shareMode = kernel::FILE_SHARE_READ | kernel::FILE_SHARE_WRITE;
    args.creationDisposition = kernel::OPEN_EXISTING;
    return nuv::FileHandleResManager(args);
}

} // namespace

TestResult resultOfStatusCode(std::int32_t code) {
    switch (code) {
    case status_code::healthy:
        return TestResult::PASS();
    case 1: // never produced
    case status_code::childDisabled:
        return TestResult::CANNOTRUN();
    case status_code::misconfigured:
        return TestResult::MISCONFIGURED();
    case status_code::secondQueryFailed:
        return TestResult::INTERNALERROR();
    case status_code::notConnected:
        return TestResult::NODEVICE();
    case status_code::failedEnumeration:
        raiseWarning(nuvrusbUnit, keys::DeviceFailedEnumeration, 1005);
        return TestResult::CANNOTRUN();
    case status_code::generalFailureOrQueryFailed:
        raiseWarning(nuvrusbUnit, keys::DeviceGeneralFailure, 1010);
        return TestResult::CANNOTRUN();
    case status_code::causedOvercurrent:
        raiseWarning(nuvrusbUnit, keys::DeviceCausedOvercurrent, 1015);
        return TestResult::WARN();
    case status_code::notEnoughPower:
        raiseWarning(nuvrusbUnit, keys::DeviceNotEnoughPower, 1020);
        return TestResult::CANNOTRUN();
    case status_code::enumerating:
        raiseWarning(nuvrusbUnit, keys::DeviceEnumerating, 1025);
        return TestResult::CANNOTRUN();
    case status_code::resetting:
        raiseWarning(nuvrusbUnit, keys::DeviceResetting, 1030);
        return TestResult::CANNOTRUN();
    default:
        nuvrusbUnit.log(3, 1041, "Unknown status");
        return TestResult::INTERNALERROR();
    }
}

TestResult StatusTest(DiagDevice const & device) {
    TraceScope const trace(nuvrusbUnit, "StatusTest", 893);
    tkit5::DeviceProperty const * const parentPort = device.property("ParentPort");
    if (parentPort == nullptr) {
        nuvrusbUnit.log(2, 899, "StatusTest::Can't get property for parent port");
        raiseWarning(nuvrusbUnit, keys::CannotGetDeviceProperty, 900);
        return TestResult::CANNOTRUN();
    }
    std::uint32_t const port = parentPort->value().valueUint32();

    nuv::String const connectHubIdentifier = device.imp().connectHubIdentifier();
    if (connectHubIdentifier.empty()) {
        raiseWarning(nuvrusbUnit, keys::InvalidDeviceGuid, 913);
        nuvrusbUnit.log(4, 914, "StatusTest::connectHubGuid is empty");
        return TestResult::CANNOTRUN();
    }
    nuvrusbUnit.log(1, 923, [](nuv::LoggerStream & message) {
        message << "StatusTest::Optional Devices = " << static_cast<std::uint64_t>(DiagModule::optionalDeviceCount());
    });
    nuvrusbUnit.log(1, 924, [&](nuv::LoggerStream & message) {
        message << "StatusTest::looking for guid = " << connectHubIdentifier;
    });

    DiagDevice const * const parentHub = findParentHub(connectHubIdentifier);
    if (parentHub == nullptr || !isChildOfHub(device, *parentHub)) {
        raiseWarning(nuvrusbUnit, keys::DeviceNotConnected, 952);
        return TestResult::NODEVICE();
    }

    nuv::String const hubName = parentHub->imp().osName();
    if (hubName.empty()) {
        raiseWarning(nuvrusbUnit, keys::InvalidDeviceName, 959);
        return TestResult::CANNOTRUN();
    }
    nuv::FileHandleResManager const hub = openHub(hubName);
    if (!hub.isValid()) {
        raiseWarning(nuvrusbUnit, keys::InvalidDeviceHandle, 967);
        return TestResult::CANNOTRUN();
    }
    return device.hasCapability(tkit5::DeviceCapability::HUB())
               ? getPowerConsumptionStatus(hub.get(), port)
               : resultOfStatusCode(CheckDeviceStatus(hub.get(), port));
}

} // namespace nuvrusb
