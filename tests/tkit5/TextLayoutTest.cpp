#include "tkit5/TextLayout.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace tkit5;

using Lines = std::vector<std::string>;

TEST(TextLayoutTest, PlainTextIsLeftAlone) {
    EXPECT_EQ(printable("Stick \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x94\x8C"),
              "Stick \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x94\x8C");
}

TEST(TextLayoutTest, NameCannotSteerTheTerminal) {
    EXPECT_EQ(printable("a\x1b[2Jb"), "a\xEF\xBF\xBD[2Jb");
    EXPECT_EQ(printable("a\r\nb\tc"), "a\xEF\xBF\xBD b c");
    EXPECT_EQ(printable("\xC2\x9B"
                        "31m"),
              "\xEF\xBF\xBD"
              "31m"); // the one-character form of ESC [
    EXPECT_EQ(printable("\xE2\x80\xAE"
                        "evil"),
              "\xEF\xBF\xBD"
              "evil"); // right-to-left override
    EXPECT_EQ(printable(std::string("\0x", 2)), "\xEF\xBF\xBDx");
}

TEST(TextLayoutTest, MalformedBytesAreReplaced) {
    EXPECT_EQ(printable("a\xFF"
                        "b")
                  .substr(0, 4),
              "a\xEF\xBF\xBD");
    EXPECT_EQ(printable("a\xFF"
                        "b")
                  .back(),
              'b');
}

TEST(TextLayoutTest, TextIsBrokenAtBlanks) {
    EXPECT_EQ(wrapped("one two three four", 9), (Lines{"one two", "three", "four"}));
    EXPECT_EQ(wrapped("one two", 7), (Lines{"one two"}));
    EXPECT_EQ(wrapped("", 9), (Lines{""}));
}

TEST(TextLayoutTest, WordLongerThanTheLineStaysWhole) {
    EXPECT_EQ(wrapped("a verylongword b", 5), (Lines{"a", "verylongword", "b"}));
}

TEST(TextLayoutTest, WidthOfZeroKeepsOneLine) {
    EXPECT_EQ(wrapped("one two three", 0), (Lines{"one two three"}));
}

TEST(TextLayoutTest, CharactersCountByTheirColumns) {
    EXPECT_EQ(columns("caf\xC3\xA9"), 4U);
    EXPECT_EQ(columns("\xE6\xBC\xA2\xE5\xAD\x97"), 4U);
    EXPECT_EQ(columns("\xF0\x9F\x94\x8C"), 2U);
}

TEST(TextLayoutTest, LongTextIsCutBetweenCharacters) {
    EXPECT_EQ(cut("caf\xC3\xA9 au lait", 7), "caf\xC3\xA9...");
    EXPECT_EQ(cut("\xE6\xBC\xA2\xE5\xAD\x97\xE6\xBC\xA2\xE5\xAD\x97", 6), "\xE6\xBC\xA2...");
    EXPECT_EQ(cut("short", 5), "short");
    EXPECT_EQ(cut("short", 2), "..");
    EXPECT_EQ(cut("short", 0), "");
}

} // namespace
