#include "machine/Text.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace {

TEST(TextTest, CodePointsSurviveTheWayThereAndBack) {
    for (char32_t point = 1; point <= 0x10FFFF; point += point < 0x10000 ? 1 : 51) {
        if (point >= 0xD800 && point <= 0xDFFF) {
            continue;
        }
        std::u16string text;
        if (point >= 0x10000) {
            text.push_back(static_cast<char16_t>(0xD7C0 + (point >> 10)));
        }
        text.push_back(static_cast<char16_t>(point < 0x10000 ? point : 0xDC00 + (point & 0x3FF)));
        ASSERT_EQ(machine::toUtf16(machine::toUtf8(text)), text) << std::hex << static_cast<std::uint32_t>(point);
    }
}

TEST(TextTest, AnyBytesGiveTextThatIsValid) {
    std::minstd_rand random(1);
    for (int turn = 0; turn < 20000; ++turn) {
        std::string bytes(random() % 8, '\0');
        for (char & byte : bytes) {
            byte = static_cast<char>(random() % 4 == 0 ? random() % 0x80 : 0x80 + random() % 0x80);
        }
        std::u16string const once = machine::toUtf16(bytes);
        ASSERT_EQ(machine::toUtf16(machine::toUtf8(once)), once);
        ASSERT_LE(once.size(), bytes.size());
    }
}

TEST(TextTest, FoldsTheLettersOfPathsOnly) {
    EXPECT_EQ(machine::foldedCase(u"Usb#vid_05e3{az}`\u00E9"), u"USB#VID_05E3{AZ}`\u00E9");
}

TEST(TextTest, TakesEitherPrefixOfADevicePathAway) {
    EXPECT_EQ(machine::withoutDevicePrefix(u"\\\\?\\USB#1"), u"USB#1");
    EXPECT_EQ(machine::withoutDevicePrefix(u"\\\\.\\USB#1"), u"USB#1");
    EXPECT_EQ(machine::withoutDevicePrefix(u"USB#1"), u"USB#1");
    EXPECT_EQ(machine::withoutDevicePrefix(u"\\\\"), u"\\\\");
}

} // namespace
