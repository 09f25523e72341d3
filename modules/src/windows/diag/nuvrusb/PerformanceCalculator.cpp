#include "PerformanceCalculator.h"

#include "Catalogue.h"
#include "ParameterValue.h"
#include "Reporting.h"

#include <utility>

namespace nuvrusb {

using tkit5::TestResult;

constinit SourceUnit performanceCalculatorUnit{"nuvrusb.PerformanceCalculator",
                                               "modules/src/windows/diag/nuvrusb/PerformanceCalculator.cpp"};

namespace {

SourceUnit & unit = performanceCalculatorUnit;

constexpr std::uint32_t shortestRunTime = 30; // seconds
constexpr std::uint32_t longestRunTime = 60;

} // namespace

PerformanceCalculator::PerformanceCalculator(nuv::SharedResourceManager<usbtopo::CUsbPort> port,
                                             nuv::String hardwareLocator, nuv::String deviceName)
    : port_(std::move(port)), usbDevice_(port_->device()), hardwareLocator_(std::move(hardwareLocator)),
      deviceName_(std::move(deviceName)) {
    setPerformanceOptions();
}

void PerformanceCalculator::setPerformanceOptions() {
    TraceScope const trace(unit, "PerformanceCalculator::setPerformanceOptions", 219);
    performRead_ = boolOr(parameters::PerformReadPerformance, performRead_);
    performWrite_ = boolOr(parameters::PerformWritePerformance, performWrite_);
}

void PerformanceCalculator::calculate(TestResult & result, std::uint32_t operation) {
    TraceScope const trace(unit, "PerformanceCalculator::calculate", 234);
    if (operation == operation::read) {
        readPerformance(result);
    } else if (operation == operation::write) {
        if (mediaReady_) {
            writePerformance(result);
        } else {
            result = TestResult::CANNOTRUN();
        }
    } else {
        unit.log(4, 250,
                 "PerformanceCalculator::Invalid performance operation option is being passed. Code should be fixed to "
                 "pass in correct option!");
        result = TestResult::INTERNALERROR();
    }
}

bool PerformanceCalculator::getTestRunTime(std::uint32_t & seconds) const {
    TraceScope const trace(unit, "PerformanceCalculator::getTestRunTime", 256);
    seconds = uint32Or(parameters::MaxTestRunTime, 0);
    if (seconds < shortestRunTime || seconds > longestRunTime) {
        raiseWarning(unit,
                     keys::INVALID_PARAMETER_RANGE->setVariable("minRange", shortestRunTime)
                         ->setVariable("maxRange", longestRunTime),
                     261);
        return false;
    }
    return true;
}

void PerformanceCalculator::copyFailureResult(TestResult & result) const {
    TraceScope const trace(unit, "PerformanceCalculator::copyFailureResult", 832);
    result = failureResult_;
}

} // namespace nuvrusb
