#include "Catalogue.h"

#include "SourceUnit.h"

#include "libDriveChecks.h"

namespace nuvrusb {

namespace {

using tkit5::DataType;
using tkit5::DeviceCapability;
using tkit5::DiagModule;

tkit5::Parameter * parameter(char const * name, DataType type) {
    return DiagModule::createParameter(name, type, "", false, true);
}

void declareStatusTest() {
    DiagModule::createTest("StatusTest", DeviceCapability::USB(), StatusTest)
        ->addDevicePropertyRequirement("ParentPort", "")
        ->addDevicePropertyExclusion("DeviceVendorID", "2034")
        ->addOptionalDeviceCapabilities(DeviceCapability::USB() | DeviceCapability::USB2() |
                                        DeviceCapability::USBComposite() | DeviceCapability::USBController());
}

tkit5::Test * declareConnectionSpeedTest() {
    return DiagModule::createTest("USBConnectionSpeedVerificationTest", DeviceCapability::USBPorts(),
                                  USBConnectionSpeedVerificationTest);
}

tkit5::Test * declareStoragePerformanceTest() {
    return DiagModule::createTest("USBStoragePerformanceTest", DeviceCapability::USBMassStorage(),
                                  USBStoragePerformanceTest)
        ->addDevicePropertyExclusion("IsApplicationDrive", "")
        ->addDevicePropertyExclusion("IsSystemDrive", "")
        ->addDevicePropertyExclusion("IsNUVMUD", "")
        ->setSupportsParallelTesting(false)
        ->setDestructive(true);
}

// The order of creation is part of the declaration: hosts list tests and parameters in it.
bool const statusTestDeclared = (declareStatusTest(), true);
tkit5::Test * const connectionSpeedTest = declareConnectionSpeedTest();
tkit5::Test * const storagePerformanceTest = declareStoragePerformanceTest();

} // namespace

namespace parameters {

tkit5::Parameter * const desiredVerificationSpeed = parameter("desiredVerificationSpeed", DataType::STRING);
tkit5::Parameter * const ignore1xdevices = parameter("ignore1xdevices", DataType::UINT32);
tkit5::Parameter * const PerformReadPerformance = parameter("PerformReadPerformance", DataType::BOOLEAN);
tkit5::Parameter * const PerformWritePerformance = parameter("PerformWritePerformance", DataType::BOOLEAN);
tkit5::Parameter * const MaxErrors = parameter("MaxErrors", DataType::UINT32);
tkit5::Parameter * const USB10ReadThresholdPercent = parameter("USB10ReadThresholdPercent", DataType::PERCENT);
tkit5::Parameter * const USB11ReadThresholdPercent = parameter("USB11ReadThresholdPercent", DataType::PERCENT);
tkit5::Parameter * const USB20ReadThresholdPercent = parameter("USB20ReadThresholdPercent", DataType::PERCENT);
tkit5::Parameter * const USB30ReadThresholdPercent = parameter("USB30ReadThresholdPercent", DataType::PERCENT);
tkit5::Parameter * const USB31ReadThresholdPercent = parameter("USB31ReadThresholdPercent", DataType::PERCENT);
tkit5::Parameter * const USB10WriteThresholdPercent = parameter("USB10WriteThresholdPercent", DataType::PERCENT);
tkit5::Parameter * const USB11WriteThresholdPercent = parameter("USB11WriteThresholdPercent", DataType::PERCENT);
tkit5::Parameter * const USB20WriteThresholdPercent = parameter("USB20WriteThresholdPercent", DataType::PERCENT);
tkit5::Parameter * const USB30WriteThresholdPercent = parameter("USB30WriteThresholdPercent", DataType::PERCENT);
tkit5::Parameter * const USB31WriteThresholdPercent = parameter("USB31WriteThresholdPercent", DataType::PERCENT);
tkit5::Parameter * const MaxTestRunTime = parameter("MaxTestRunTime", DataType::UINT32);
tkit5::Parameter * const PreserveAndRestoreData = parameter("PreserveAndRestoreData", DataType::BOOLEAN);
tkit5::Parameter * const PromptEnable = parameter("PromptEnable", DataType::BOOLEAN);
tkit5::Parameter * const ContinueOnConnectionSpeedFailure =
    parameter("ContinueOnConnectionSpeedFailure", DataType::BOOLEAN);
tkit5::Parameter * const PromptUserForMedia = parameter("PromptUserForMedia", DataType::BOOLEAN);
tkit5::Parameter * const MaxRetries = parameter("MaxRetries", DataType::UINT32);

} // namespace parameters

void moduleInit() {
    TraceScope const trace(nuvrusbUnit, "moduleInit", 1594);

    connectionSpeedTest->addParameter(parameters::desiredVerificationSpeed)->addParameter(parameters::ignore1xdevices);

    storagePerformanceTest->addParameter(parameters::desiredVerificationSpeed)
        ->addParameter(parameters::PerformWritePerformance)
        ->addParameter(parameters::PerformReadPerformance)
        ->addParameter(parameters::MaxErrors)
        ->addParameter(parameters::USB10ReadThresholdPercent)
        ->addParameter(parameters::USB11ReadThresholdPercent)
        ->addParameter(parameters::USB20ReadThresholdPercent)
        ->addParameter(parameters::USB30ReadThresholdPercent)
        ->addParameter(parameters::USB31ReadThresholdPercent)
        ->addParameter(parameters::USB10WriteThresholdPercent)
        ->addParameter(parameters::USB11WriteThresholdPercent)
        ->addParameter(parameters::USB20WriteThresholdPercent)
        ->addParameter(parameters::USB30WriteThresholdPercent)
        ->addParameter(parameters::USB31WriteThresholdPercent)
        ->addParameter(parameters::PreserveAndRestoreData)
        ->addParameter(parameters::ContinueOnConnectionSpeedFailure)
        ->addParameter(parameters::PromptEnable)
        ->addParameter(parameters::MaxTestRunTime)
        ->addParameter(parameters::PromptUserForMedia)
        ->addParameter(parameters::MaxRetries);

    libDriveChecks::DriveChecks::init();
}

} // namespace nuvrusb
