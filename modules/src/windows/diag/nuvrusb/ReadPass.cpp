#include "Catalogue.h"
#include "ParameterValue.h"
#include "PassMeasurement.h"
#include "PerformanceCalculator.h"
#include "Reporting.h"

namespace nuvrusb {

using tkit5::DiagModule;
using tkit5::TestResult;

namespace {

SourceUnit & unit = performanceCalculatorUnit;

constexpr PassSites sites{.operation = operation::read,
                          .verb = "read",
                          .mediaTooSmall = 330,
                          .mediaTooSmallLog = 331,
                          .wrapLog = 335,
                          .maxErrors = 364,
                          .peak = 382,
                          .average = 387};

} // namespace

void PerformanceCalculator::readPerformance(TestResult & result) {
    TraceScope const trace(unit, "PerformanceCalculator::readPerformance", 299);
    unit.log(1, 302, [this](nuv::LoggerStream & message) {
        message << "Starting Read Performance Test for the device: " << deviceName_;
    });
    DiagModule::progress(keys::PERFORMANCE_READ_PROGRESS);
    if (!openHandle() || !initDrive()) {
        copyFailureResult(result);
        return;
    }
    std::uint32_t const maxErrors = uint32Or(parameters::MaxErrors, 0);
    std::uint32_t runTime = 0;
    if (!getTestRunTime(runTime)) {
        result = TestResult::BADPARAMS();
        return;
    }
    unit.log(1, 317, [this](nuv::LoggerStream & message) {
        message << "readPerformance is reading " << (transferSize() >> 20) << " MB of data";
    });

    PassMeasurement measurement(runTime, maxErrors);
    if (readTransfers(measurement, result)) {
        summarize(measurement, sites, result);
    }
}

// Contiguous transfers from the start of the medium, round and round, until their time is up.
bool PerformanceCalculator::readTransfers(PassMeasurement & measurement, TestResult & result) {
    std::uint64_t sector = 0;
    while (sector < totalSectors_ && !measurement.isBudgetSpent()) {
        if (DiagModule::checkForStop()) {
            result = TestResult::USERABORTED();
            return false;
        }
        if (!enoughSectors(sector)) {
            if (!wrap(sector, sites, result)) {
                return false;
            }
            continue;
        }
        if (!reopenAtStart(sector, result) || !timedRead(sector, measurement, result)) {
            return false;
        }
        updatePercent(measurement.totalTime(), measurement.runTime(), sites.operation);
        sector += readSectorsPerTransfer;
    }
    return true;
}

bool PerformanceCalculator::timedRead(std::uint64_t sector, PassMeasurement & measurement, TestResult & result) {
    nuv::Stopwatch stopwatch;
    if (drive_->readSector(sector, readSectorsPerTransfer, transferBuffer_.data(), transferSize())) {
        publishCurrentPerformance(sites.operation, measurement.addTransfer(transferSize(), stopwatch));
        return true;
    }

    double const failedTime = stopwatch.getElapsed();
    if (drive_->mediaState() != media_state::ready) {
        result = TestResult::NOMEDIA();
        return false;
    }
    unit.log(1, 353, [&](nuv::LoggerStream & message) {
        message << "PerformanceCalculator::readPerformance() failed to read starting sector: " << sector;
    });
    unit.log(1, 356, [](nuv::LoggerStream & message) {
        message << "readSector() failed: " << nuv::System::getSystemErrorMsg(nuv::System::getSystemError());
    });
    raiseWarning(unit, keys::READ_SECTOR_ERROR->setVariable("ReadSector", sector), 359);
    if (!withinErrorLimit(measurement, sites, result)) {
        return false;
    }
    measurement.addFailedTime(failedTime);
    return true;
}

} // namespace nuvrusb
