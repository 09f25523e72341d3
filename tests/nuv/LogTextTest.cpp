#include "nuv.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

namespace {

TEST(SprintfFormatTest, UnderstandsTheSixtyFourBitModifier) {
    std::uint64_t const sector = 18446744073709551615U;
    EXPECT_EQ(nuv::SprintfFormat("Backing up sector %I64u (count: %i)", sector, 2048).text(),
              "Backing up sector 18446744073709551615 (count: 2048)");
    EXPECT_EQ(
        nuv::SprintfFormat("%I64d %-6I64x|%08I64u", std::int64_t{-5}, std::uint64_t{255}, std::uint64_t{7}).text(),
        "-5 ff    |00000007");
    EXPECT_EQ(nuv::SprintfFormat("%*I64d|", 4, std::int64_t{-5}).text(), "  -5|");
}

TEST(SprintfFormatTest, LeavesEverythingElseToTheStandardLibrary) {
    EXPECT_EQ(nuv::SprintfFormat("0x%x %.2f 100%% %s", 0x16U, 12.345, "I64u").text(), "0x16 12.35 100% I64u");
    EXPECT_EQ(nuv::SprintfFormat("%%I64u").text(), "%I64u");
    EXPECT_EQ(nuv::SprintfFormat("I64 %d", 3).text(), "I64 3");
    EXPECT_EQ(nuv::SprintfFormat("").text(), "");
    EXPECT_EQ(nuv::SprintfFormat(nullptr).text(), "");
}

TEST(SprintfFormatTest, TheResultMayBeOfAnyLength) {
    std::string const text(100000, 'x');
    EXPECT_EQ(nuv::SprintfFormat("<%s>", text.c_str()).text(), '<' + text + '>');
}

TEST(LoggerStreamTest, PutsAMessageTogether) {
    nuv::LoggerStream stream;
    stream << std::int32_t{1518};
    stream + " size ";
    stream << nuv::String(u"\u00E9") << " " << std::uint32_t{4294967295U} << " " << std::int64_t{-9} << " "
           << std::uint64_t{9} << " " << nuv::SprintfFormat("0x%x", 10U) << static_cast<char const *>(nullptr);
    EXPECT_EQ(stream.text(), "1518 size \xC3\xA9 4294967295 -9 9 0xa");
}

TEST(LoggerStreamTest, FloatsAppearInShortForm) {
    nuv::LoggerStream stream;
    stream << 2.0F << " " << 3.1F << " " << 0.1 << " " << 1e10 << " " << 123456789.0 << " "
           << std::numeric_limits<double>::infinity() << " " << -std::numeric_limits<double>::max();
    EXPECT_EQ(stream.text(), "2 3.1 0.1 1e+10 1.23457e+08 inf -1.79769e+308");
}

} // namespace
