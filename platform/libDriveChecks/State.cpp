#include "State.h"

#include "libDriveChecks.h"

namespace libDriveChecks {

namespace {
bool isInitialised = false;
}

void DriveChecks::init() {
    isInitialised = true;
}

bool initialised() {
    return isInitialised;
}

} // namespace libDriveChecks
