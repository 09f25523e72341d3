// Texts in the name records of USB hubs and controllers.
#pragma once

#include "nuv.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace nuvrusb {

// No name on a USB bus comes near this many bytes; a record that claims more is not believed, so that a faulty hub
// cannot make the program ask for gigabytes.
inline constexpr std::uint32_t longestNameRecord = 65536;

// The 32-bit number at an offset; the record is at least that long.
std::uint32_t numberAt(std::span<std::byte const> record, std::size_t offset);

// The text that begins at an offset of what was returned: up to its terminator, or to the end where it has none.
nuv::String textAt(std::span<std::byte const> returned, std::size_t offset);

} // namespace nuvrusb
