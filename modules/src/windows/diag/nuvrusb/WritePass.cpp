#include "Catalogue.h"
#include "Confirmation.h"
#include "ParameterValue.h"
#include "PassMeasurement.h"
#include "PerformanceCalculator.h"
#include "Reporting.h"
#include "RestoreGuard.h"

#include "libVolumes.h"

#include <cstddef>
#include <cstdlib>

namespace nuvrusb {

using tkit5::DiagModule;
using tkit5::TestResult;

namespace {

SourceUnit & unit = performanceCalculatorUnit;

constexpr PassSites sites{.operation = operation::write,
                          .verb = "write",
                          .mediaTooSmall = 460,
                          .mediaTooSmallLog = 461,
                          .wrapLog = 465,
                          .maxErrors = 532,
                          .peak = 551,
                          .average = 556};

// How Windows refuses to write to a volume that BitLocker has locked.
constexpr std::uint32_t bitLockerLockedVolume = 0x80310000;
constexpr std::uint32_t bitLockerWrongVolume = 0x80310017;

// What is written: the low bytes of the runtime's sequence, from wherever the process has left it.
bool makePattern(AlignedBuffer & pattern, std::uint64_t size) {
    if (!pattern.resize(size)) {
        return false;
    }
    for (std::size_t index = 0; index < pattern.size(); ++index) {
        pattern.data()[index] = static_cast<std::byte>(std::rand() & 0xFF);
    }
    return true;
}

} // namespace

void PerformanceCalculator::writePerformance(TestResult & result) {
    TraceScope const trace(unit, "PerformanceCalculator::writePerformance", 391);
    unit.log(1, 394, [this](nuv::LoggerStream & message) {
        message << "Starting Write Performance Test for the device: " << deviceName_;
    });
    DiagModule::progress(keys::PERFORMANCE_WRITE_PROGRESS);
    if (hardwareLocator_.empty()) {
        raiseWarning(unit, keys::INVALID_HW_LOCATOR, 398);
        result = TestResult::CANNOTRUN();
        return;
    }

    // A read pass leaves an exclusive handle behind, which would keep the checks of the volumes from reading the disk.
    handle_.release();
    libVolumes::DeviceLockingManager locker(hardwareLocator_);
    if (locker.isBitLockerEnabledOnVolumes()) {
        raiseWarning(unit, keys::EncryptedDriveDetected, 403);
        result = TestResult::CANNOTRUN();
        return;
    }
    if (!locker.lockVolumes()) {
        raiseWarning(unit, keys::DEVICE_IS_BUSY, 407);
        result = TestResult::DEVICEBUSY();
        return;
    }
    if (isLocked()) {
        result = TestResult::CANNOTRUN();
        return;
    }

    AlignedBuffer pattern;
    if (!openHandle() || !initDrive() || !makePattern(pattern, transferSize())) {
        copyFailureResult(result);
        return;
    }
    kernel::SetErrorMode(kernel::SEM_FAILCRITICALERRORS | kernel::SEM_NOOPENFILEERRORBOX);
    std::uint32_t const maxErrors = uint32Or(parameters::MaxErrors, 0);
    std::uint32_t runTime = 0;
    if (!getTestRunTime(runTime)) {
        result = TestResult::BADPARAMS();
        return;
    }
    bool const preserve = boolOr(parameters::PreserveAndRestoreData, false);
    if (preserve && boolOr(parameters::PromptEnable, false) && !userConfirmedOperation(deviceName_, confirmDataLoss)) {
        result = TestResult::USERABORTED();
        return;
    }
    unit.log(1, 444, [this](nuv::LoggerStream & message) {
        message << "writePerformance is writing " << (transferSize() >> 20) << " MB of data";
    });

    backupDone_ = false;
    PassMeasurement measurement(runTime, maxErrors);
    if (writeTransfers(pattern, preserve, measurement, result)) {
        summarize(measurement, sites, result);
    }
}

// Contiguous transfers from the start of the medium, round and round, until their time is up. What each has overwritten
// is restored before the next.
bool PerformanceCalculator::writeTransfers(AlignedBuffer const & pattern, bool preserve, PassMeasurement & measurement,
                                           TestResult & result) {
    bool askedAboutBackup = false;
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
        if (!prepareBackup(sector, preserve, askedAboutBackup, result)) {
            return false;
        }
        RestoreGuard restoreGuard(*this, sector);
        if (!reopenAtStart(sector, result) || !timedWrite(sector, pattern, measurement, result)) {
            restoreGuard.run();
            return false;
        }
        updatePercent(measurement.totalTime(), measurement.runTime(), sites.operation);
        sector += writeSectorsPerTransfer;
        restoreGuard.run();
    }
    return true;
}

// Backs up the range that is about to be overwritten, where data are to be preserved and the user can be asked about a
// failure. Once the user has accepted the loss of data, nothing more is backed up.
bool PerformanceCalculator::prepareBackup(std::uint64_t sector, bool preserve, bool & askedAboutBackup,
                                          TestResult & result) {
    backupDone_ = false; // an older backup belongs to another range
    if (!preserve || !boolOr(parameters::PromptEnable, false) || askedAboutBackup) {
        return true;
    }
    if (!reopenAtStart(sector, result)) {
        return false;
    }
    backupDone_ = backupSectors(sector);
    if (backupDone_) {
        return true;
    }
    raiseWarning(unit, keys::FAILED_BACKUP, 480);
    unit.log(4, 481, "Backup was not successful");
    if (!userConfirmedOperation(deviceName_, confirmFailedBackup)) {
        result = TestResult::USERABORTED();
        return false;
    }
    askedAboutBackup = true;
    return true;
}

bool PerformanceCalculator::timedWrite(std::uint64_t sector, AlignedBuffer const & pattern,
                                       PassMeasurement & measurement, TestResult & result) {
    nuv::Stopwatch stopwatch;
    if (drive_->writeSector(sector, writeSectorsPerTransfer, pattern.data(), transferSize())) {
        publishCurrentPerformance(sites.operation, measurement.addTransfer(transferSize(), stopwatch));
        return true;
    }
    double const failedTime = stopwatch.getElapsed();
    if (!goesOnAfterFailedWrite(sector, measurement, result)) {
        return false;
    }
    measurement.addFailedTime(failedTime);
    return true;
}

bool PerformanceCalculator::goesOnAfterFailedWrite(std::uint64_t sector, PassMeasurement & measurement,
                                                   TestResult & result) {
    if (drive_->mediaState() != media_state::ready) {
        result = TestResult::NOMEDIA();
        return false;
    }
    std::uint32_t const code = nuv::System::getSystemError();
    unit.log(1, 512, [code](nuv::LoggerStream & message) {
        message << "writeSector() failed: " << nuv::System::getSystemErrorMsg(code);
    });
    if (code == bitLockerLockedVolume || code == bitLockerWrongVolume) {
        raiseWarning(unit, keys::BIT_LOCKER_DRIVE_ENCRYPTION_ERROR, 515);
        result = TestResult::CANNOTRUN();
        return false;
    }
    raiseWarning(unit, keys::WRITE_SECTOR_ERROR->setVariable("WriteSector", sector), 520);
    auto const errorType = drive_->lastErrorType();
    if (errorType == libMedia2::Drive::AccessDenied || errorType == libMedia2::Drive::WriteProtected) {
        raiseWarning(unit, keys::CANNOT_OPEN_ACCESS_DENIED, 524);
        result = TestResult::CANNOTRUN();
        return false;
    }
    unit.log(1, 527, [this](nuv::LoggerStream & message) { message << "Write failed for device: " << deviceName_; });
    return withinErrorLimit(measurement, sites, result);
}

} // namespace nuvrusb
