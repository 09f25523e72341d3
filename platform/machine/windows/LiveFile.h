#pragma once

#include "machine/Machine.h"

#include <memory>

namespace machine::windows {

class ControlThreads;

// Opens a file or device of this PC. Blocks for about a second where it is wanted alone while somebody else has it.
Opened openLive(OpenRequest const & request, std::shared_ptr<ControlThreads> const & threads);

} // namespace machine::windows
