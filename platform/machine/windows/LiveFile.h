#pragma once

#include "machine/Machine.h"

#include <memory>

namespace machine::windows {

class ControlThreads;

// Opens a file or device of this PC.
Opened openLive(OpenRequest const & request, std::shared_ptr<ControlThreads> const & threads);

} // namespace machine::windows
