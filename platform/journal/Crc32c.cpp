#include "Crc32c.h"

#include <array>

namespace journal {

namespace {

constexpr std::uint32_t polynomial = 0x82F63B78; // bits reversed

constexpr std::size_t slices = 8;
using Table = std::array<std::array<std::uint32_t, 256>, slices>;

// Table n holds what a byte makes of the sum when n more bytes follow it, so that eight bytes are taken at once.
constexpr Table makeTable() {
    Table table{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t sum = byte;
        for (int bit = 0; bit < 8; ++bit) {
            sum = (sum >> 1U) ^ ((sum & 1U) != 0 ? polynomial : 0);
        }
        table[0][byte] = sum;
    }
    for (std::size_t slice = 1; slice < slices; ++slice) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            std::uint32_t const sum = table[slice - 1][byte];
            table[slice][byte] = (sum >> 8U) ^ table[0][sum & 0xFFU];
        }
    }
    return table;
}

constexpr Table table = makeTable();

std::uint32_t wordAt(std::byte const * bytes) {
    return std::to_integer<std::uint32_t>(bytes[0]) | std::to_integer<std::uint32_t>(bytes[1]) << 8U |
           std::to_integer<std::uint32_t>(bytes[2]) << 16U | std::to_integer<std::uint32_t>(bytes[3]) << 24U;
}

} // namespace

std::uint32_t crc32c(std::span<std::byte const> bytes, std::uint32_t before) {
    std::uint32_t sum = ~before;
    std::byte const * at = bytes.data();
    std::size_t left = bytes.size();
    for (; left >= slices; at += slices, left -= slices) {
        std::uint32_t const low = sum ^ wordAt(at);
        std::uint32_t const high = wordAt(at + 4);
        sum = table[7][low & 0xFFU] ^ table[6][(low >> 8U) & 0xFFU] ^ table[5][(low >> 16U) & 0xFFU] ^
              table[4][low >> 24U] ^ table[3][high & 0xFFU] ^ table[2][(high >> 8U) & 0xFFU] ^
              table[1][(high >> 16U) & 0xFFU] ^ table[0][high >> 24U];
    }
    for (; left != 0; ++at, --left) {
        sum = (sum >> 8U) ^ table[0][(sum ^ std::to_integer<std::uint32_t>(*at)) & 0xFFU];
    }
    return ~sum;
}

} // namespace journal
