#include "kernel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <span>
#include <thread>

namespace {

TEST(LastErrorTest, EachThreadHasItsOwn) {
    kernel::SetLastError(5);
    std::uint32_t seen = 99;
    std::thread([&seen] {
        seen = kernel::GetLastError();
        kernel::SetLastError(19);
    }).join();
    EXPECT_EQ(seen, 0U);
    EXPECT_EQ(kernel::GetLastError(), 5U);
}

TEST(GlobalAllocTest, GivesZeroFilledMemory) {
    kernel::SetLastError(7);
    void * const memory = kernel::GlobalAlloc(kernel::GPTR, 4096);
    ASSERT_NE(memory, nullptr);
    std::span<std::uint8_t const> const bytes(static_cast<std::uint8_t *>(memory), 4096);
    EXPECT_TRUE(std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; }));
    EXPECT_EQ(kernel::GlobalFree(memory), nullptr);
    EXPECT_EQ(kernel::GetLastError(), 7U);
}

TEST(GlobalAllocTest, NoBytesAreABlockToo) {
    void * const memory = kernel::GlobalAlloc(kernel::GPTR, 0);
    EXPECT_NE(memory, nullptr);
    EXPECT_EQ(kernel::GlobalFree(memory), nullptr);
    EXPECT_EQ(kernel::GlobalFree(nullptr), nullptr);
}

TEST(ErrorModeTest, SettingItReturnsTheModeBefore) {
    std::uint32_t const mode = kernel::SEM_FAILCRITICALERRORS | kernel::SEM_NOOPENFILEERRORBOX;
    std::uint32_t const before = kernel::SetErrorMode(mode);
    EXPECT_EQ(kernel::SetErrorMode(before), mode);
    EXPECT_EQ(kernel::SetErrorMode(before), before);
}

} // namespace
