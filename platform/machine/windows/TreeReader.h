#pragma once

#include "machine/DeviceTree.h"

#include <memory>

namespace machine::windows {

class ControlThreads;

// The devices of this PC. Asks each disk what it is, so that it takes a while; a disk that does not answer takes a few
// seconds.
DeviceTree readTree(std::shared_ptr<ControlThreads> const & threads);

} // namespace machine::windows
