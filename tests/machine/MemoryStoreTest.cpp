// The bytes of disks in memory.
#include "machine/simulated/MemoryStore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <vector>

namespace {

using machine::simulated::makeMemoryStore;
using Contents = std::vector<std::byte>;

constexpr std::uint64_t size = 1ULL << 40U;
constexpr std::size_t page = 65536; // what the store keeps or does without at a time
constexpr std::size_t sector = 512;

Contents read(machine::DiskStore & store, std::uint64_t offset, std::size_t count) {
    Contents buffer(count, std::byte{0xEE});
    EXPECT_EQ(store.read(offset, buffer), 0U);
    return buffer;
}

void write(machine::DiskStore & store, std::uint64_t offset, Contents const & bytes) {
    EXPECT_EQ(store.write(offset, bytes, false), 0U);
}

Contents filled(std::size_t count, int value) {
    return Contents(count, static_cast<std::byte>(value));
}

TEST(MemoryStore, HasTheSizeThatItWasGiven) {
    EXPECT_EQ(makeMemoryStore(12345, std::nullopt)->size(), 12345U);
    EXPECT_EQ(makeMemoryStore(1ULL << 62U, 1)->size(), 1ULL << 62U);
}

TEST(MemoryStore, HoldsZerosWithoutASeed) {
    auto const store = makeMemoryStore(size, std::nullopt);
    EXPECT_EQ(read(*store, 0, 3 * page), filled(3 * page, 0));
    EXPECT_EQ(read(*store, size - sector, sector), filled(sector, 0));
}

TEST(MemoryStore, AWriteChangesItsBytesAndNoOthers) {
    auto const store = makeMemoryStore(size, 7);
    Contents before = read(*store, 0, 4 * page);
    // Within a page, over the edge of two, a whole page, and over three of them.
    for (auto const & [offset, count] : {std::pair(sector, sector), std::pair(page - sector, 2 * sector),
                                         std::pair(2 * page, page), std::pair(page - sector, 2 * page + 2 * sector)}) {
        Contents const bytes = filled(count, 0x5A);
        write(*store, offset, bytes);
        std::ranges::copy(bytes, before.begin() + static_cast<std::ptrdiff_t>(offset));
        EXPECT_EQ(read(*store, 0, 4 * page), before) << offset;
    }
}

TEST(MemoryStore, AFlushChangesNothing) {
    auto const store = makeMemoryStore(size, 1);
    write(*store, 0, filled(sector, 0x5A));
    EXPECT_EQ(store->flush(), 0U);
    EXPECT_EQ(read(*store, 0, sector), filled(sector, 0x5A));
}

TEST(MemoryStore, LaterWritesGoOverEarlierOnes) {
    auto const store = makeMemoryStore(size, std::nullopt);
    write(*store, 0, filled(4 * sector, 1));
    write(*store, sector, filled(2 * sector, 2));
    EXPECT_EQ(read(*store, 0, sector), filled(sector, 1));
    EXPECT_EQ(read(*store, sector, 2 * sector), filled(2 * sector, 2));
    EXPECT_EQ(read(*store, 3 * sector, sector), filled(sector, 1));
}

TEST(MemoryStore, DistantPlacesAreApart) {
    auto const store = makeMemoryStore(1ULL << 62U, std::nullopt);
    write(*store, 1ULL << 61U, filled(sector, 1));
    write(*store, (1ULL << 62U) - sector, filled(sector, 2));
    EXPECT_EQ(read(*store, 1ULL << 61U, sector), filled(sector, 1));
    EXPECT_EQ(read(*store, (1ULL << 62U) - sector, sector), filled(sector, 2));
    EXPECT_EQ(read(*store, 0, sector), filled(sector, 0));
}

TEST(MemoryStore, TheSameSeedGivesTheSameBytes) {
    auto const first = makeMemoryStore(size, 1);
    auto const second = makeMemoryStore(size, 1);
    auto const other = makeMemoryStore(size, 2);
    EXPECT_EQ(read(*first, 5 * sector, page), read(*second, 5 * sector, page));
    EXPECT_NE(read(*first, 5 * sector, page), read(*other, 5 * sector, page));
}

TEST(MemoryStore, BytesOfASeedDoNotDependOnHowTheyAreRead) {
    auto const store = makeMemoryStore(size, 1);
    Contents const whole = read(*store, 0, 2 * page);
    for (std::size_t at = 0; at < whole.size(); at += sector) {
        auto const begin = whole.begin() + static_cast<std::ptrdiff_t>(at);
        ASSERT_EQ(read(*store, at, sector), Contents(begin, begin + sector)) << at;
    }
}

TEST(MemoryStore, NoTwoSectorsOfASeedAreAlike) {
    auto const store = makeMemoryStore(size, 0);
    std::set<Contents> seen;
    for (std::uint64_t i = 0; i < 1000; ++i) {
        EXPECT_TRUE(seen.insert(read(*store, i * sector, sector)).second) << i;
    }
    EXPECT_TRUE(seen.insert(read(*store, size - sector, sector)).second);
}

TEST(MemoryStore, SeedsThatFollowEachOtherShareNoSectors) {
    auto const first = makeMemoryStore(size, 1);
    auto const second = makeMemoryStore(size, 2);
    std::set<Contents> seen;
    for (std::uint64_t i = 0; i < 200; ++i) {
        seen.insert(read(*first, i * sector, sector));
        seen.insert(read(*second, i * sector, sector));
    }
    EXPECT_EQ(seen.size(), 400U);
}

TEST(MemoryStore, WhatIsWrittenBackIsAsItWas) {
    auto const store = makeMemoryStore(size, 1);
    Contents const before = read(*store, 0, 2 * page);
    write(*store, sector, filled(page, 0x5A));
    write(*store, 0, before);
    EXPECT_EQ(read(*store, 0, 2 * page), before);
    write(*store, sector, filled(sector, 0x77)); // and can be changed again
    EXPECT_EQ(read(*store, sector, sector), filled(sector, 0x77));
}

} // namespace
