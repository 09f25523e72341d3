#include "UnitStatus.h"

#include "kernel.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

namespace scsi {

namespace {

constexpr std::uint32_t secondsToAnswer = 10;

struct PassThrough {
    kernel::SCSI_PASS_THROUGH command;
    std::array<std::byte, 32> sense;
};

} // namespace

UnitStatus testUnitReady(kernel::HANDLE drive) {
    PassThrough record{};
    record.command.Length = sizeof record.command;
    record.command.CdbLength = 6;
    record.command.SenseInfoLength = sizeof record.sense;
    record.command.DataIn = kernel::SCSI_IOCTL_DATA_UNSPECIFIED; // there are none
    record.command.TimeOutValue = secondsToAnswer;
    record.command.SenseInfoOffset = offsetof(PassThrough, sense);
    record.command.Cdb[0] = kernel::SCSI_TEST_UNIT_READY;
    std::uint32_t returned = 0;
    UnitStatus unit;
    if (!kernel::DeviceIoControl(drive, kernel::IOCTL_SCSI_PASS_THROUGH, &record, sizeof record, &record, sizeof record,
                                 &returned, nullptr)) {
        unit.error = kernel::GetLastError();
        return unit;
    }
    if (returned < sizeof record.command) {
        unit.error = kernel::ERROR_GEN_FAILURE;
        return unit;
    }
    unit.status = record.command.ScsiStatus;
    if (unit.status == kernel::SCSI_CHECK_CONDITION) {
        // What did not come back is still zero, as it was sent.
        std::size_t const told = record.command.SenseInfoLength;
        unit.sense = parseSense(std::span(record.sense).first(std::min(told, record.sense.size())));
    }
    return unit;
}

} // namespace scsi
