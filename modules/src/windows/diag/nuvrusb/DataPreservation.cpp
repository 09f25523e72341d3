// The range of one transfer before and after it is overwritten.
#include "PerformanceCalculator.h"
#include "Reporting.h"

namespace nuvrusb {

namespace {

SourceUnit & unit = performanceCalculatorUnit;

nuv::String lastErrorMessage() {
    return nuv::System::getSystemErrorMsg(nuv::System::getSystemError());
}

} // namespace

bool PerformanceCalculator::backupSectors(std::uint64_t sector) {
    TraceScope const trace(unit, "PerformanceCalculator::backupSectors", 854);
    unit.log(1, 858, [sector](nuv::LoggerStream & message) {
        message << nuv::SprintfFormat("Backing up sector %I64u (count: %i)", sector, writeSectorsPerTransfer);
    });
    if (drive_->readSector(sector, writeSectorsPerTransfer, transferBuffer_.data(), transferSize())) {
        return true;
    }
    unit.log(1, 860, [sector](nuv::LoggerStream & message) {
        message << "PerformanceCalculator::backupSectors() failed to read starting sector: " << sector;
    });
    unit.log(1, 862, [](nuv::LoggerStream & message) { message << "backupSectors() failed: " << lastErrorMessage(); });
    return false;
}

bool PerformanceCalculator::restoreSectors(std::uint64_t sector) {
    TraceScope const trace(unit, "PerformanceCalculator::restoreSectors", 868);
    if (!backupDone_) {
        return false;
    }
    unit.log(1, 874, [sector](nuv::LoggerStream & message) {
        message << nuv::SprintfFormat("Restoring sector %I64u (count: %i)", sector, writeSectorsPerTransfer);
    });
    if (drive_->writeSector(sector, writeSectorsPerTransfer, transferBuffer_.data(), transferSize())) {
        return true;
    }
    unit.log(1, 877, [](nuv::LoggerStream & message) { message << "restoreSectors() failed: " << lastErrorMessage(); });
    raiseWarning(unit,
                 keys::CANNOT_RESTORE_DATA->setVariable("TestSector", sector)->setVariable("EndSector", totalSectors_),
                 880);
    return false;
}

} // namespace nuvrusb
