// What a drive says to TEST UNIT READY.
#pragma once

#include "SenseData.h"
#include "kernel/Files.h"

#include <cstdint>
#include <optional>

namespace scsi {

struct UnitStatus {
    std::uint32_t error = 0;        // Windows error: the drive could not be asked
    std::uint8_t status = 0;        // of the command
    std::optional<SenseCode> sense; // why it was refused
};

// Asks a drive that is open for reading and writing. Blocks until it answers, or for ten seconds. Changes the last
// error when the drive cannot be asked.
UnitStatus testUnitReady(kernel::HANDLE drive);

} // namespace scsi
