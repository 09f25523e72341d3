// The tests and parameters that the module declares, and how they belong together.
#pragma once

#include "tkit5.h"

namespace nuvrusb {

// Entries of the tests.
tkit5::TestResult StatusTest(tkit5::DiagDevice const & device);
tkit5::TestResult USBConnectionSpeedVerificationTest(tkit5::DiagDevice const & device);
tkit5::TestResult USBStoragePerformanceTest(tkit5::DiagDevice const & device);

// None of the parameters has a default: a reader asks isset() first and knows what to do without (ParameterValue.h).
namespace parameters {

extern tkit5::Parameter * const desiredVerificationSpeed;
extern tkit5::Parameter * const ignore1xdevices;
extern tkit5::Parameter * const PerformReadPerformance;
extern tkit5::Parameter * const PerformWritePerformance;
extern tkit5::Parameter * const MaxErrors;
extern tkit5::Parameter * const USB10ReadThresholdPercent;
extern tkit5::Parameter * const USB11ReadThresholdPercent;
extern tkit5::Parameter * const USB20ReadThresholdPercent;
extern tkit5::Parameter * const USB30ReadThresholdPercent;
extern tkit5::Parameter * const USB31ReadThresholdPercent;
extern tkit5::Parameter * const USB10WriteThresholdPercent;
extern tkit5::Parameter * const USB11WriteThresholdPercent;
extern tkit5::Parameter * const USB20WriteThresholdPercent;
extern tkit5::Parameter * const USB30WriteThresholdPercent;
extern tkit5::Parameter * const USB31WriteThresholdPercent;
extern tkit5::Parameter * const MaxTestRunTime;
extern tkit5::Parameter * const PreserveAndRestoreData;
extern tkit5::Parameter * const PromptEnable;
extern tkit5::Parameter * const ContinueOnConnectionSpeedFailure;
extern tkit5::Parameter * const PromptUserForMedia;
extern tkit5::Parameter * const MaxRetries;

} // namespace parameters

// The framework's call between its own start-up and the first test: attaches the parameters to the tests and prepares
// the drive checks.
void moduleInit();

} // namespace nuvrusb
