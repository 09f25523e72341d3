// libDriveChecks: checks of a drive's own maintenance before it is tested.
#pragma once

#include "tkit5/DiagDevice.h"

namespace libDriveChecks {

class DriveChecks {
public:
    static void init(); // prepares the library; once, before any other call
};

// True while the drive behind the device carries out a sanitize operation. With logDetails the drive's status goes to
// the log. False when the drive cannot be asked. Blocks for one I/O control.
bool sanitizeInProgress(tkit5::DiagDevice const & device, bool logDetails);

} // namespace libDriveChecks
