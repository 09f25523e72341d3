#include "journal/Entry.h"
#include "journal/Crc32c.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

namespace {

using journal::decode;
using journal::encode;
using journal::Entry;
using journal::Header;

Entry usual() {
    return {.sequence = 0x0102030405060708,
            .id = 0x1112131415161718,
            .disk = {.serialNumber = "4C530001", .model = "Stick \xC3\xA4", .size = 16'012'804'096, .sectorSize = 512},
            .range = {.firstSector = 20480, .sectorCount = 20480},
            .checksum = 0xA1B2C3D4};
}

// Gives the header the checksum that its bytes demand.
Header summed(Header header) {
    std::uint32_t const sum = journal::crc32c(journal::Bytes(header).first(journal::headerSize - 4));
    for (std::size_t i = 0; i < 4; ++i) {
        header[journal::headerSize - 4 + i] = static_cast<std::byte>(sum >> (8 * i));
    }
    return header;
}

void set(Header & header, std::size_t at, std::initializer_list<unsigned char> bytes) {
    for (unsigned char const byte : bytes) {
        header[at++] = std::byte{byte};
    }
}

TEST(EntryTest, WhatIsEncodedIsDecoded) {
    EXPECT_EQ(decode(encode(usual())), usual());
    Entry bare{.sequence = 1, .id = 0, .disk = {{}, {}, 512, 512}, .range = {0, 1}, .checksum = 0};
    EXPECT_EQ(decode(encode(bare)), bare);
}

// The layout is published: files of earlier versions have to stay readable.
TEST(EntryTest, HasItsPlacesInTheHeader) {
    Header expected{};
    set(expected, 0, {'N', 'U', 'V', 'U', 'N', 'D', 'O', 0});
    set(expected, 8, {1, 0, 0, 0});                 // version
    set(expected, 12, {0x00, 0x10, 0, 0});          // bytes of the header
    set(expected, 16, {8, 7, 6, 5, 4, 3, 2, 1});    // sequence
    set(expected, 24, {0x00, 0x50, 0, 0});          // first sector
    set(expected, 32, {0x00, 0x50, 0, 0});          // sectors
    set(expected, 36, {0x00, 0x02, 0, 0});          // bytes of a sector
    set(expected, 40, {0x00, 0x00, 0x70, 0xBA, 3}); // bytes of the disk
    set(expected, 48, {0xD4, 0xC3, 0xB2, 0xA1});    // sum of the backup
    set(expected, 52, {8, 0, '4', 'C', '5', '3', '0', '0', '0', '1'});
    set(expected, 310, {8, 0, 'S', 't', 'i', 'c', 'k', ' ', 0xC3, 0xA4});
    set(expected, 568, {0x18, 0x17, 0x16, 0x15, 0x14, 0x13, 0x12, 0x11}); // id
    EXPECT_TRUE(std::ranges::equal(encode(usual()), summed(expected)));
}

TEST(EntryTest, ABitThatFlipsAnywhereIsNoticed) {
    Header const good = encode(usual());
    for (std::size_t at = 0; at < good.size(); ++at) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            Header spoiled = good;
            spoiled[at] ^= static_cast<std::byte>(1U << bit);
            ASSERT_EQ(decode(spoiled), std::nullopt) << at << " bit " << bit;
        }
    }
}

TEST(EntryTest, AHeaderOfAnotherLengthIsNone) {
    Header const good = encode(usual());
    for (std::size_t size : {std::size_t{0}, std::size_t{8}, std::size_t{512}, good.size() - 1}) {
        EXPECT_EQ(decode(journal::Bytes(good).first(size)), std::nullopt) << size;
    }
    std::vector<std::byte> longer(good.begin(), good.end());
    longer.push_back({});
    EXPECT_EQ(decode(longer), std::nullopt);
    EXPECT_EQ(decode(std::vector<std::byte>(journal::headerSize)), std::nullopt);
}

// Sums that are right protect against accidents only.
TEST(EntryTest, FieldsThatMakeNoSenseAreRefused) {
    struct Lie {
        char const * what;
        std::size_t at;
        std::initializer_list<unsigned char> bytes;
    };
    Lie const lies[]{
        {"another file", 0, {'n'}},
        {"a later version", 8, {2}},
        {"a shorter header", 12, {0x00, 0x02}},
        {"no sectors", 32, {0, 0, 0, 0}},
        {"sectors of no bytes", 36, {0, 0, 0, 0}},
        {"huge sectors", 36, {1, 0, 1, 0}},
        {"a range behind the end", 24, {0, 0, 0, 0, 1}},
        {"a range at the end of all numbers", 24, {255, 255, 255, 255, 255, 255, 255, 255}},
        {"a range over the end", 32, {255, 255, 255, 255}},
        {"an endless disk", 40, {255, 255, 255, 255, 255, 255, 255, 255}},
        {"an empty disk", 40, {0, 0, 0, 0, 0}},
        {"a long serial number", 52, {1, 1}},
        {"a long model", 310, {255, 255}},
    };
    for (Lie const & lie : lies) {
        Header header = encode(usual());
        set(header, lie.at, lie.bytes);
        EXPECT_EQ(decode(summed(header)), std::nullopt) << lie.what;
    }
    EXPECT_EQ(decode(summed(encode(usual()))), usual());
}

TEST(EntryTest, TheLastSectorsOfADiskAreInIt) {
    Entry entry = usual();
    std::uint64_t const sectors = entry.disk.size / 512;
    entry.range = {.firstSector = sectors - 1, .sectorCount = 1};
    EXPECT_EQ(decode(encode(entry)), entry);
    entry.range = {.firstSector = sectors - 1, .sectorCount = 2};
    EXPECT_EQ(decode(encode(entry)), std::nullopt);
    entry.range = {.firstSector = sectors, .sectorCount = 1};
    EXPECT_EQ(decode(encode(entry)), std::nullopt);
}

TEST(EntryTest, LongTextsAreCutBetweenCharacters) {
    EXPECT_EQ(journal::clipped("short"), "short");
    std::string const exact(journal::longestText, 'a');
    EXPECT_EQ(journal::clipped(exact), exact);
    EXPECT_EQ(journal::clipped(exact + "b"), exact);
    std::string const before(journal::longestText - 1, 'a');
    EXPECT_EQ(journal::clipped(before + "\xC3\xA4"), before);

    Entry entry = usual();
    entry.disk.serialNumber = journal::clipped(std::string(1000, 's'));
    entry.disk.model = journal::clipped(std::string(1000, 'm'));
    EXPECT_EQ(decode(encode(entry)), entry);
}

} // namespace
