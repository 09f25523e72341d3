// What Windows and its drivers return, as plain values. Pure functions over bytes, the same on every system; lengths
// are not believed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace machine::windows {

using Bytes = std::span<std::byte const>;

// A text of the registry: up to its terminator, or to the end where there is none.
std::u16string registryText(Bytes value);

// A list of texts of the registry. An empty text ends it.
std::vector<std::u16string> registryTexts(Bytes value);

// A number of the registry; 0 when the value is too short for one.
std::uint32_t registryNumber(Bytes value);

// The numbers of the disks in a VOLUME_DISK_EXTENTS record, as far as the record goes.
std::vector<std::uint32_t> parseDiskNumbers(Bytes record);

} // namespace machine::windows
