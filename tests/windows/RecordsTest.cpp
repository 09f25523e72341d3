// What Windows returns, read as values.
#include "machine/windows/Records.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string_view>

namespace {

using machine::windows::Bytes;
using machine::windows::parseDiskNumbers;
using machine::windows::registryNumber;
using machine::windows::registryText;
using machine::windows::registryTexts;

using namespace std::string_view_literals;

Bytes bytesOf(std::u16string_view text) {
    return std::as_bytes(std::span(text));
}

void put(std::vector<std::byte> & record, std::size_t offset, std::uint32_t value) {
    std::memcpy(record.data() + offset, &value, sizeof value);
}

TEST(WindowsRecords, TextEndsAtItsTerminator) {
    EXPECT_EQ(registryText(bytesOf(u"USB Root Hub\0rest"sv)), u"USB Root Hub");
    EXPECT_EQ(registryText(bytesOf(u"no end"sv)), u"no end");
    EXPECT_EQ(registryText({}), u"");
}

TEST(WindowsRecords, HalfAUnitIsDropped) {
    EXPECT_EQ(registryText(bytesOf(u"ab"sv).first(3)), u"a");
}

TEST(WindowsRecords, TextKeepsUnitsThatAreNotWellFormed) {
    std::u16string const text{u'a', char16_t{0xD800}, u'b'};
    EXPECT_EQ(registryText(bytesOf(text)), text);
}

TEST(WindowsRecords, ListEndsAtTheEmptyText) {
    std::vector<std::u16string> const expected{u"USB\\VID_0781", u"USB\\COMPOSITE"};
    EXPECT_EQ(registryTexts(bytesOf(u"USB\\VID_0781\0USB\\COMPOSITE\0\0behind"sv)), expected);
    EXPECT_EQ(registryTexts(bytesOf(u"USB\\VID_0781\0USB\\COMPOSITE"sv)), expected);
    EXPECT_TRUE(registryTexts(bytesOf(u"\0\0"sv)).empty());
    EXPECT_TRUE(registryTexts({}).empty());
}

TEST(WindowsRecords, NumberNeedsFourBytes) {
    std::vector<std::byte> value(4);
    put(value, 0, 0x01020304);
    EXPECT_EQ(registryNumber(value), 0x01020304U);
    value.push_back(std::byte{0xFF});
    EXPECT_EQ(registryNumber(value), 0x01020304U);
    EXPECT_EQ(registryNumber(Bytes(value).first(3)), 0U);
    EXPECT_EQ(registryNumber({}), 0U);
}

std::vector<std::byte> extents(std::uint32_t count, std::vector<std::uint32_t> const & disks) {
    std::vector<std::byte> record(8 + 24 * disks.size());
    put(record, 0, count);
    for (std::size_t i = 0; i < disks.size(); ++i) {
        put(record, 8 + 24 * i, disks[i]);
    }
    return record;
}

TEST(WindowsRecords, EveryExtentNamesItsDisk) {
    EXPECT_EQ(parseDiskNumbers(extents(2, {3, 5})), (std::vector<std::uint32_t>{3, 5}));
}

TEST(WindowsRecords, ExtentsBeyondTheRecordAreNotRead) {
    EXPECT_EQ(parseDiskNumbers(extents(0xFFFFFFFF, {7})), std::vector<std::uint32_t>{7});
    EXPECT_TRUE(parseDiskNumbers(extents(0, {7})).empty());
    EXPECT_TRUE(parseDiskNumbers({}).empty());
}

} // namespace
