#include "journal/Crc32c.h"

#include <gtest/gtest.h>

#include <string_view>
#include <vector>

namespace {

std::uint32_t sumOf(std::string_view text) {
    return journal::crc32c(std::as_bytes(std::span(text)));
}

// Published values: the check value of the polynomial, and those of the appendix of RFC 3720.
TEST(Crc32cTest, AgreesWithPublishedValues) {
    EXPECT_EQ(sumOf(""), 0U);
    EXPECT_EQ(sumOf("123456789"), 0xE3069283U);

    std::vector<std::byte> bytes(32);
    EXPECT_EQ(journal::crc32c(bytes), 0x8A9136AAU);
    bytes.assign(32, std::byte{0xFF});
    EXPECT_EQ(journal::crc32c(bytes), 0x62A8AB43U);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::byte>(i);
    }
    EXPECT_EQ(journal::crc32c(bytes), 0x46DD794EU);
}

TEST(Crc32cTest, PiecesOfAnyLengthGiveTheSumOfTheWhole) {
    std::vector<std::byte> bytes(100);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::byte>(i * 37);
    }
    std::uint32_t const whole = journal::crc32c(bytes);
    for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
        std::span<std::byte const> const all(bytes);
        EXPECT_EQ(journal::crc32c(all.subspan(cut), journal::crc32c(all.first(cut))), whole) << cut;
    }
}

} // namespace
