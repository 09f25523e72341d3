// USBStoragePerformanceTest: a disk behind USB moves data at the rate that its port promises.
#include "StoragePerformanceTest.h"

#include "Catalogue.h"
#include "CollectedResults.h"
#include "ParameterValue.h"
#include "Reporting.h"
#include "SpeedMode.h"
#include "TestableDevice.h"

#include "libDriveChecks.h"

namespace nuvrusb {

using tkit5::DeviceProperty;
using tkit5::DiagDevice;
using tkit5::TestResult;

namespace {

// A bad configuration ends a pass before it begins; the result is then left alone.
void measure(TestResult & result, PerformanceCalculator & calculator, std::uint32_t operation) {
    double threshold = 0.0;
    if (calculator.getThresholdSpeed(operation, threshold)) {
        calculator.calculate(result, operation);
    }
}

void measureWriting(TestResult & result, PerformanceCalculator & calculator, DiagDevice const & device) {
    DeviceProperty const * const hasReadOnlyVolume = device.property("HasReadOnlyVolume");
    if (hasReadOnlyVolume == nullptr) {
        // Where there is no threshold, the result of the read pass is collected once more.
        measure(result, calculator, operation::write);
        collectedResults.append(result);
        return;
    }
    nuvrusbUnit.log(2, 1518, "The media is write protected and could not perform write performance test.");
    if (!hasReadOnlyVolume->value().valueBool()) {
        return;
    }
    raiseWarning(nuvrusbUnit, keys::CANNOT_OPEN_ACCESS_DENIED, 1520);
    collectedResults.append(result == TestResult::PASS() ? TestResult::PASS() : TestResult::CANNOTRUN());
}

nuv::String displayName(TestableDevice const & testable, DiagDevice const & device) {
    if (!testable.friendlyName().empty()) {
        return testable.friendlyName();
    }
    nuv::String const name = device.name();
    return name.empty() ? device.description() : name;
}

} // namespace

bool isHarddrivePasswordProtected(DiagDevice const & device) {
    TraceScope const trace(nuvrusbUnit, "isHarddrivePasswordProtected", 683);
    if (!device.hasCapability(tkit5::DeviceCapability::ATA())) {
        return false;
    }
    DeviceProperty const * const supported = device.property("SecurityPasswordSupported");
    if (supported == nullptr || !supported->value().valueBool()) {
        return false;
    }
    DeviceProperty const * const isSet = device.property("SecurityPasswordSet");
    DeviceProperty const * const isLocked = device.property("ATASecurityLocked");
    if (isSet == nullptr || isLocked == nullptr || !isSet->value().valueBool() || !isLocked->value().valueBool()) {
        return false;
    }
    raiseWarning(nuvrusbUnit, keys::harddrivePasswordProtected, 699);
    return true;
}

void readPerformance(TestResult & result, nuv::SharedResourceManager<PerformanceCalculator> const & calculator,
                     DiagDevice const & device) {
    TraceScope const trace(nuvrusbUnit, "readPerformance", 1495);
    emptyCollectedResults();
    result = TestResult::BADPARAMS();
    if (boolOr(parameters::PerformReadPerformance, false)) {
        measure(result, *calculator, operation::read);
        collectedResults.append(result);
    }
    if (boolOr(parameters::PerformWritePerformance, false)) {
        measureWriting(result, *calculator, device);
    }
    if (collectedResults.empty()) {
        raiseWarning(nuvrusbUnit, keys::OPERATIONS_TURNED_OFF, 1542);
        return;
    }
    result = mergeCollectedResults();
}

TestResult USBStoragePerformanceTest(DiagDevice const & device) {
    TraceScope const trace(nuvrusbUnit, "USBStoragePerformanceTest", 709);
    if (libDriveChecks::sanitizeInProgress(device, true)) {
        return TestResult::DEVICEBUSY();
    }
    if (isHarddrivePasswordProtected(device)) {
        return TestResult::CANNOTRUN();
    }
    readDesiredVerificationSpeed();

    DeviceProperty const * const instanceId = device.property("DeviceInstanceId");
    nuv::SharedResourceManager<usbtopo::CUsbSystem> const system(new usbtopo::CUsbSystem);
    TestableDevice testable(system,
                            instanceId == nullptr ? nuv::String() : instanceId->value().valueString().nuvString(),
                            device.hwLocator());
    if (!system->EnumerateHostControllers()) {
        raiseWarning(nuvrusbUnit, keys::TESTING_COULD_NOT_BE_PERFORMED, 756);
        return TestResult::NODEVICE();
    }
    testable.enumeratePorts();
    nuv::String const name = displayName(testable, device);
    if (!testable.port()) {
        raiseWarning(nuvrusbUnit, keys::TESTING_COULD_NOT_BE_PERFORMED, 740);
        return TestResult::NODEVICE();
    }
    if (!testable.validPortSpeed() && !boolOr(parameters::ContinueOnConnectionSpeedFailure, true)) {
        return testable.portResult();
    }

    nuv::SharedResourceManager<PerformanceCalculator> const calculator(
        new PerformanceCalculator(testable.port(), testable.osLocator(), name));
    TestResult result;
    readPerformance(result, calculator, device);
    return result;
}

} // namespace nuvrusb
