#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace journal {

// CRC-32C (Castagnoli) of bytes that come in pieces: the value of those before goes in, 0 for the first.
std::uint32_t crc32c(std::span<std::byte const> bytes, std::uint32_t before = 0);

} // namespace journal
