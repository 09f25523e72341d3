#include "SenseData.h"
#include "kernel.h"
#include "libDriveChecks.h"
#include "nuv/FileHandle.h"
#include "nuv/Logging.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

namespace libDriveChecks {

namespace {

constexpr int logPriority = 2;
constexpr std::uint32_t secondsToAnswer = 10;

// What a drive says to TEST UNIT READY.
struct UnitStatus {
    std::uint32_t error = kernel::ERROR_SUCCESS; // Windows error: it could not be asked
    std::uint8_t status = 0;                     // of the command
    std::optional<SenseCode> sense;              // why it was refused

    bool isSanitizing() const { return sense && meansSanitizing(*sense); }
};

struct PassThrough {
    kernel::SCSI_PASS_THROUGH command;
    std::array<std::byte, 32> sense;
};

UnitStatus failed(std::uint32_t error) {
    UnitStatus unit;
    unit.error = error;
    return unit;
}

UnitStatus askUnit(nuv::String const & osLocator) {
    nuv::CreateFileOpenArgs args;
    args.fileName = osLocator;
    args.desiredAccess = kernel::GENERIC_READ | kernel::GENERIC_WRITE; // of every command that is passed through
    args.shareMode = kernel::FILE_SHARE_READ | kernel::FILE_SHARE_WRITE;
    nuv::FileHandleResManager const drive(args);
    if (!drive.isValid()) {
        return failed(kernel::GetLastError());
    }
    PassThrough record{};
    record.command.Length = sizeof record.command;
    record.command.CdbLength = 6;
    record.command.SenseInfoLength = sizeof record.sense;
    record.command.DataIn = kernel::SCSI_IOCTL_DATA_UNSPECIFIED; // there are none
    record.command.TimeOutValue = secondsToAnswer;
    record.command.SenseInfoOffset = offsetof(PassThrough, sense);
    record.command.Cdb[0] = kernel::SCSI_TEST_UNIT_READY;
    std::uint32_t returned = 0;
    if (!kernel::DeviceIoControl(drive.get(), kernel::IOCTL_SCSI_PASS_THROUGH, &record, sizeof record, &record,
                                 sizeof record, &returned, nullptr)) {
        return failed(kernel::GetLastError());
    }
    if (returned < sizeof record.command) {
        return failed(kernel::ERROR_GEN_FAILURE);
    }
    UnitStatus unit;
    unit.status = record.command.ScsiStatus;
    if (unit.status == kernel::SCSI_CHECK_CONDITION) {
        // What did not come back is still zero, as it was sent.
        std::size_t const told = record.command.SenseInfoLength;
        unit.sense = parseSense(std::span(record.sense).first(std::min(told, record.sense.size())));
    }
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
        message << (unit.isSanitizing() ? ", sanitize in progress" : ", no sanitize in progress");
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
    return unit.isSanitizing();
}

} // namespace libDriveChecks
