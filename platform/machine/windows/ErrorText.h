#pragma once

#include <cstdint>
#include <string>

namespace machine::windows {

// What Windows says about one of its error codes, UTF-8, without a full stop.
std::string errorText(std::uint32_t error);

} // namespace machine::windows
