#include "nuv.h"

#include <gtest/gtest.h>

#include <string>

using nuv::String;

namespace {

std::string utf8Of(char16_t const * text) {
    return String(text).getUTF8String();
}

TEST(StringTest, KeepsUtf8ThroughItsUnits) {
    std::string const text = "Stick \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x94\x8C";
    EXPECT_EQ(String(text).getUTF8String(), text);
    EXPECT_EQ(String("\xF0\x9F\x94\x8C").length(), 2U);
}

TEST(StringTest, NullPointersGiveTheEmptyString) {
    EXPECT_TRUE(String(static_cast<char const *>(nullptr)).empty());
    EXPECT_TRUE(String(static_cast<char16_t const *>(nullptr)).empty());
    EXPECT_TRUE(String::EMPTY.empty());
}

TEST(StringTest, MalformedUtf8BecomesTheReplacementCharacter) {
    EXPECT_EQ(String("a\xFFz"), String(u"a\uFFFDz"));
    EXPECT_EQ(String("\xC3"), String(u"\uFFFD"));                               // cut off
    EXPECT_EQ(String("\xC3z"), String(u"\uFFFDz"));                             // the z is kept
    EXPECT_EQ(String("\xC0\x80"), String(u"\uFFFD\uFFFD"));                     // overlong
    EXPECT_EQ(String("\xE0\x80\x80"), String(u"\uFFFD\uFFFD\uFFFD"));           // overlong
    EXPECT_EQ(String("\xED\xA0\x80"), String(u"\uFFFD\uFFFD\uFFFD"));           // a surrogate
    EXPECT_EQ(String("\xF4\x90\x80\x80"), String(u"\uFFFD\uFFFD\uFFFD\uFFFD")); // above U+10FFFF
    EXPECT_EQ(String("\xF0\x9F\x94z"), String(u"\uFFFDz")); // one for the part that could begin a character
}

TEST(StringTest, UnpairedSurrogatesAreKeptAndShownAsReplacement) {
    char16_t const broken[] = {u'a', 0xD800, u'b', 0xDC00, 0};
    String const text(broken);
    EXPECT_EQ(text.length(), 4U);
    EXPECT_EQ(text.view()[1], 0xD800);
    EXPECT_EQ(text.getUTF8String(), "a\xEF\xBF\xBD"
                                    "b\xEF\xBF\xBD");
}

TEST(StringTest, AHighSurrogateAtTheEndIsReplaced) {
    char16_t const broken[] = {0xD83D, 0};
    EXPECT_EQ(utf8Of(broken), "\xEF\xBF\xBD");
}

TEST(StringTest, LowerCasesLatinGreekAndCyrillic) {
    EXPECT_EQ(String(u"USB\\VID_05E3 \u00C4\u00DE\u0100\u0178\u017D").toLower(),
              String(u"usb\\vid_05e3 \u00E4\u00FE\u0101\u00FF\u017E"));
    EXPECT_EQ(String(u"\u0386\u0391\u03A9\u03AB\u03CF").toLower(), String(u"\u03AC\u03B1\u03C9\u03CB\u03D7"));
    EXPECT_EQ(String(u"\u0401\u0410\u042F\u0460\u04C0\u052E").toLower(),
              String(u"\u0451\u0430\u044F\u0461\u04CF\u052F"));
}

TEST(StringTest, LeavesSmallLettersAndUnitsWithoutACaseAlone) {
    String const text(u"az09_{\u00D7\u00DF\u00F7\u0101\u0138\u0149\u03C2\u0451\u0482\u05D0\u4E2D");
    EXPECT_EQ(text.toLower(), text);
}

TEST(StringTest, LettersWithoutAPartnerAreNotTakenForOthers) {
    EXPECT_FALSE(String(u"\u0130").equalNoCase(String(u"i")));
    EXPECT_FALSE(String(u"\u0131").equalNoCase(String(u"I")));
    EXPECT_FALSE(String(u"\u017F").equalNoCase(String(u"S")));
}

TEST(StringTest, ComparesWithoutRegardToCase) {
    EXPECT_EQ(String("MAX").compareNoCase("max"), 0);
    EXPECT_LT(String("maX").compareNoCase("MAXIMUM"), 0);
    EXPECT_GT(String("MAXIMUM").compareNoCase("max"), 0);
    EXPECT_LT(String("A").compareNoCase("b"), 0);
    EXPECT_GT(String("b").compareNoCase("A"), 0);
    EXPECT_EQ(String().compareNoCase(String::EMPTY), 0);
    EXPECT_TRUE(String(u"\u00C9t\u00E9").equalNoCase(String(u"\u00E9T\u00C9")));
    EXPECT_FALSE(String("USB").equalNoCase("USB2"));
}

TEST(StringTest, EqualityAndOrderRegardCase) {
    EXPECT_NE(String("a"), String("A"));
    EXPECT_LT(String("A"), String("a"));
    EXPECT_EQ(String("ab") + String("cd"), String("abcd"));
}

TEST(StringTest, KeepsEmbeddedTerminatorsOfAView) {
    EXPECT_EQ(String(std::u16string_view(u"a\0b", 3)).length(), 3U);
}

} // namespace
