#include "kernel.h"
#include "libDriveChecks.h"
#include "nuv/FileHandle.h"
#include "nuv/Logging.h"
#include "scsi/UnitStatus.h"

namespace libDriveChecks {

namespace {

using scsi::UnitStatus;

constexpr int logPriority = 2;

bool isSanitizing(UnitStatus const & unit) {
    return unit.sense && scsi::meansSanitizing(*unit.sense);
}

UnitStatus askUnit(nuv::String const & osLocator) {
    nuv::CreateFileOpenArgs args;
    args.fileName = osLocator;
    args.desiredAccess = kernel::GENERIC_READ | kernel::GENERIC_WRITE; // of every command that is passed through
    args.shareMode = kernel::FILE_SHARE_READ | kernel::FILE_SHARE_WRITE;
    nuv::FileHandleResManager const drive(args);
    if (drive.isValid()) {
        return scsi::testUnitReady(drive.get());
    }
    UnitStatus unit;
    unit.error = kernel::GetLastError();
    return unit;
}

nuv::Logger * readLogger() { // null when nobody reads the log
    static nuv::Logger * slot = nullptr;
    if (nuv::LogFactory::getPriority() > logPriority) {
        return nullptr;
    }
    nuv::Logger * const logger = nuv::LogFactory::createLogger("libDriveChecks", slot);
    return logger->resolvePriority() > logPriority ? nullptr : logger;
}

void log(nuv::String const & osLocator, UnitStatus const & unit) {
    nuv::Logger * const logger = readLogger();
    if (logger == nullptr) {
        return;
    }
    nuv::LoggerStream message;
    message << osLocator << ": ";
    if (unit.error != kernel::ERROR_SUCCESS) {
        message << nuv::SprintfFormat("cannot be asked for its status, error %u", static_cast<unsigned>(unit.error));
    } else {
        message << nuv::SprintfFormat("status %02X", static_cast<unsigned>(unit.status));
        if (unit.sense) {
            message << nuv::SprintfFormat(", sense %02X/%02X/%02X", static_cast<unsigned>(unit.sense->key),
                                          static_cast<unsigned>(unit.sense->code),
                                          static_cast<unsigned>(unit.sense->qualifier));
        }
        message << (isSanitizing(unit) ? ", sanitize in progress" : ", no sanitize in progress");
    }
    logger->log(logPriority, message);
}

} // namespace

bool sanitizeInProgress(tkit5::DiagDevice const & device, bool logDetails) {
    if (!device.hasCapability(tkit5::DeviceCapability::USBMassStorage())) {
        return false;
    }
    nuv::String const osLocator = device.osLocator();
    UnitStatus const unit = askUnit(osLocator);
    if (logDetails) {
        log(osLocator, unit);
    }
    return isSanitizing(unit);
}

} // namespace libDriveChecks
