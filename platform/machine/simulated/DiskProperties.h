// What disks tell of themselves.
#pragma once

#include "DiskState.h"

#include <cstddef>
#include <span>

namespace machine::simulated {

// The outcome of IOCTL_STORAGE_QUERY_PROPERTY, which needs no medium.
Transfer answerOfProperty(DiskState const & disk, std::span<std::byte const> input, std::span<std::byte> output);

} // namespace machine::simulated
