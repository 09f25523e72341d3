#pragma once

#include <cstdint>

namespace machine {

// The published name of an I/O control without its prefix "IOCTL_"; null for one that this program does not send.
char const * controlName(std::uint32_t code, bool toController);

} // namespace machine
