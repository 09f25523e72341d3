#include "Catalogue.h"
#include "ParameterValue.h"
#include "PassMeasurement.h"
#include "PerformanceCalculator.h"
#include "Reporting.h"

#include <algorithm>
#include <array>

namespace nuvrusb {

using tkit5::TestResult;
using usbtopo::CUsbPort;

namespace {

SourceUnit & unit = performanceCalculatorUnit;

using SpeedPredicate = bool (CUsbPort::*)() const;

struct RatedSpeed {
    SpeedPredicate runs;
    double kilobytesPerSecond;
};

struct ThresholdParameter {
    SpeedPredicate runs;
    std::uint32_t operation;
    tkit5::Parameter const * percent;
};

// The signalling rate of each generation: megabits times 1024 / 8.
std::array<RatedSpeed, 5> const & ratedSpeeds() {
    static std::array<RatedSpeed, 5> const table{{{&CUsbPort::DeviceIsLowSpeed, 187.0},
                                                  {&CUsbPort::DeviceIsFullSpeed, 1536.0},
                                                  {&CUsbPort::DeviceIsHighSpeed, 61440.0},
                                                  {&CUsbPort::DeviceIsSuperSpeed, 640000.0},
                                                  {&CUsbPort::DeviceIsSuperPlusSpeed, 1280000.0}}};
    return table;
}

std::array<ThresholdParameter, 10> const & thresholdParameters() {
    using namespace parameters;
    static std::array<ThresholdParameter, 10> const table{{
        {&CUsbPort::DeviceIsSuperPlusSpeed, operation::read, USB31ReadThresholdPercent},
        {&CUsbPort::DeviceIsSuperPlusSpeed, operation::write, USB31WriteThresholdPercent},
        {&CUsbPort::DeviceIsSuperSpeed, operation::read, USB30ReadThresholdPercent},
        {&CUsbPort::DeviceIsSuperSpeed, operation::write, USB30WriteThresholdPercent},
        {&CUsbPort::DeviceIsHighSpeed, operation::read, USB20ReadThresholdPercent},
        {&CUsbPort::DeviceIsHighSpeed, operation::write, USB20WriteThresholdPercent},
        {&CUsbPort::DeviceIsFullSpeed, operation::read, USB11ReadThresholdPercent},
        {&CUsbPort::DeviceIsFullSpeed, operation::write, USB11WriteThresholdPercent},
        {&CUsbPort::DeviceIsLowSpeed, operation::read, USB10ReadThresholdPercent},
        {&CUsbPort::DeviceIsLowSpeed, operation::write, USB10WriteThresholdPercent},
    }};
    return table;
}

constexpr double lowestPercent = 1.0;
constexpr double highestPercent = 100.0;

} // namespace

double PerformanceCalculator::getPublishReadTransferSpeed() const {
    TraceScope const trace(unit, "PerformanceCalculator::getPublishReadTransferSpeed", 652);
    auto const rated =
        std::ranges::find_if(ratedSpeeds(), [this](RatedSpeed const & each) { return ((*port_).*each.runs)(); });
    if (rated == ratedSpeeds().end()) {
        raiseWarning(unit, keys::DEVICE_SPEED_NOT_CONFIGURED->setVariable("DeviceName", deviceName_), 679);
        return 0.0;
    }
    unit.log(1, 673, [&](nuv::LoggerStream & message) {
        message << "getPublishReadTransferSpeed()::Device: " << deviceName_
                << " rated speed : " << rated->kilobytesPerSecond;
    });
    return rated->kilobytesPerSecond;
}

bool PerformanceCalculator::getThresholdSpeed(std::uint32_t operation, double & threshold) {
    TraceScope const trace(unit, "PerformanceCalculator::getThresholdSpeed", 597);
    auto const match = std::ranges::find_if(thresholdParameters(), [&](ThresholdParameter const & each) {
        return each.operation == operation && ((*port_).*each.runs)();
    });
    if (match == thresholdParameters().end()) {
        raiseWarning(unit, keys::DEVICE_SPEED_NOT_CONFIGURED, 643);
        thresholdResult_ = TestResult::WARN();
        unit.log(1, 645, "getThresholdSpeed()::Unable to get device speed. Possibly due to configuration issues");
        return false;
    }

    double const percent = percentOr(match->percent, 0.0);
    if (percent < lowestPercent || percent > highestPercent) {
        thresholdResult_ = TestResult::BADPARAMS();
        raiseWarning(unit,
                     keys::PARAMETER_VALUE_INVALID->setVariable("parameterName", match->percent->key())
                         ->setVariable("currentValue", tkit5::Value(percent, tkit5::DataType::DOUBLE))
                         ->setVariable("startRange", "1.0")
                         ->setVariable("endRange", "100.0"),
                     634);
        return false;
    }
    threshold = getPublishReadTransferSpeed() * percent / 100.0;
    unit.log(1, 638, [threshold](nuv::LoggerStream & message) {
        message << "getThresholdSpeed()::Got threshold speed: " << threshold;
    });
    return true;
}

void PerformanceCalculator::getPerformanceResult(TestResult & result, std::uint32_t operation, double average) {
    TraceScope const trace(unit, "PerformanceCalculator::getPerformanceResult", 564);
    auto const logSpeed = [](int line, char const * text, double speed) {
        unit.log(1, line, [&](nuv::LoggerStream & message) { message << text << speed; });
    };
    logSpeed(566, "PerformanceCalculator::getPerformanceResult():  performanceSpeed: ", average);
    double const speedInKB = average * 1024.0;
    logSpeed(568, "PerformanceCalculator::getPerformanceResult():  performanceSpeed in KB: ", speedInKB);
    double threshold = 0.0;
    if (!getThresholdSpeed(operation, threshold)) {
        result = thresholdResult_;
        return;
    }
    logSpeed(571, "PerformanceCalculator::getPerformanceResult():getThresholdSpeed()  thresholdSpeed: ", threshold);
    unit.log(1, 575, "PerformanceCalculator::getPerformanceResult() comparing ");
    if (speedInKB >= threshold) {
        unit.log(1, 577,
                 "PerformanceCalculator::getPerformanceResult() Test returning pass result as "
                 "performanceSpeedInKB>=thresholdSpeed");
        result = TestResult::PASS();
        return;
    }

    unit.log(1, 581,
             "PerformanceCalculator::getPerformanceResult() Test did not pass as performanceSpeedInKB>=thresholdSpeed "
             "was not true");
    auto const raise = [&](tkit5::Event * event, int line) {
        raiseError(unit,
                   event->setVariable("performanceSpeed", rateText(average))
                       ->setVariable("ThresholdSpeed", rateText(threshold * perKilo)),
                   line);
    };
    if (operation == operation::read) {
        raise(keys::READ_PERFORMANCE_NOT_OPTIMAL, 587);
    } else if (operation == operation::write) {
        raise(keys::WRITE_PERFORMANCE_NOT_OPTIMAL, 591);
    }
    result = TestResult::FAIL();
}

} // namespace nuvrusb
