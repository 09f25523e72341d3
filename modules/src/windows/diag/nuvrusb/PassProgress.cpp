// What both passes of the engine do around their transfers.
#include "PassMeasurement.h"
#include "PerformanceCalculator.h"
#include "Reporting.h"

namespace nuvrusb {

using tkit5::DiagModule;
using tkit5::TestResult;

namespace {

SourceUnit & unit = performanceCalculatorUnit;

} // namespace

bool PerformanceCalculator::enoughSectors(std::uint64_t sector) const {
    TraceScope const trace(unit, "PerformanceCalculator::enoughSectors", 268);
    return totalSectors_ > transferSize() / sectorSize_ + sector;
}

void PerformanceCalculator::updatePercent(double totalTime, std::uint32_t runTime, std::uint32_t operation) const {
    TraceScope const trace(unit, "PerformanceCalculator::updatePercent", 274);
    std::uint32_t const passes = (performWrite_ ? 1U : 0U) + (performRead_ ? 1U : 0U);
    if (passes == 0 || runTime == 0) {
        return;
    }
    std::uint32_t percent = static_cast<std::uint32_t>(totalTime) * 100 / runTime / passes;
    if (operation == operation::write && performRead_) {
        percent += 50;
    }
    DiagModule::percentDone(static_cast<int>(percent));
}

void PerformanceCalculator::publishCurrentPerformance(std::uint32_t operation, double rate) {
    TraceScope const trace(unit, "PerformanceCalculator::publishCurrentPerformance", 286);
    if (operation == operation::read) {
        DiagModule::progress(keys::CURRENT_READ_PERFORMANCE->setVariable("CurrentReadPerformance", rateText(rate)));
    } else if (operation == operation::write) {
        DiagModule::progress(keys::CURRENT_WRITE_PERFORMANCE->setVariable("CurrentWritePerformance", rateText(rate)));
    }
}

// Probes the medium before the first transfer of each round, and opens the disk again for it.
bool PerformanceCalculator::reopenAtStart(std::uint64_t sector, TestResult & result) {
    if (sector != 0) {
        return true;
    }
    if (!reopenForMediaCheck(sector)) {
        result = TestResult::CANNOTRUN();
        return false;
    }
    if (!openHandle()) {
        copyFailureResult(result);
        return false;
    }
    return true;
}

// Back to the start of the medium, where the sectors left do not make a transfer. False when that is where it began.
bool PerformanceCalculator::wrap(std::uint64_t & sector, PassSites const & sites, TestResult & result) const {
    if (sector != 0) {
        unit.log(1, sites.wrapLog, [&](nuv::LoggerStream & message) {
            message << "Don't have enough sectors left to " << sites.verb << " " << transferSize() << " bytes of data.";
        });
        sector = 0;
        return true;
    }
    std::uint64_t const megabytes = transferSize() >> 20;
    raiseWarning(unit, keys::MEDIA_SIZE_TOO_SMALL->setVariable("mediaSize", megabytes), sites.mediaTooSmall);
    unit.log(1, sites.mediaTooSmallLog, [&](nuv::LoggerStream & message) {
        message << "The inserted media is not big enough to " << sites.verb << " " << megabytes << "MB of data.";
    });
    result = TestResult::CANNOTRUN();
    return false;
}

// Counts a failed transfer.
bool PerformanceCalculator::withinErrorLimit(PassMeasurement & measurement, PassSites const & sites,
                                             TestResult & result) {
    if (!measurement.countError()) {
        return true;
    }
    raiseError(unit, keys::MAX_ERROR_REACHED->setVariable("MaxError", measurement.maxErrors()), sites.maxErrors);
    result = TestResult::FAIL();
    return false;
}

void PerformanceCalculator::summarize(PassMeasurement & measurement, PassSites const & sites, TestResult & result) {
    nuv::String const peak = rateText(measurement.peak());
    double const average = measurement.average();
    if (sites.operation == operation::read) {
        raiseInformative(unit, keys::PEAK_READ_PERFORMANCE->setVariable("PeakReadPerformance", peak), sites.peak);
        raiseInformative(unit, keys::AVERAGE_READ_PERFORMANCE->setVariable("AverageReadPerformance", rateText(average)),
                         sites.average);
    } else {
        raiseInformative(unit, keys::PEAK_WRITE_PERFORMANCE->setVariable("PeakWritePerformance", peak), sites.peak);
        raiseInformative(unit,
                         keys::AVERAGE_WRITE_PERFORMANCE->setVariable("AverageWritePerformance", rateText(average)),
                         sites.average);
    }
    getPerformanceResult(result, sites.operation, average);
}

} // namespace nuvrusb
