#pragma once

namespace libDriveChecks {

bool initialised(); // DriveChecks::init was called in this process

} // namespace libDriveChecks
