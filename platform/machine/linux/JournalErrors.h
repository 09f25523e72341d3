// The errors of a journal's files.
#pragma once

#include <cstdint>
#include <system_error>

namespace journal {

// The Windows error that says the same as an error of the standard library.
std::uint32_t windowsError(std::error_code const & error);

} // namespace journal
