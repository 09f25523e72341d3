#include "ScriptedMachine.h"
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

class GlobalAllocTest : public testing::Test {
protected:
    support::ScriptedMachine pc_;
    machine::InUse inUse_{pc_};
};

TEST_F(GlobalAllocTest, GivesZeroFilledMemory) {
    kernel::SetLastError(7);
    void * const memory = kernel::GlobalAlloc(kernel::GPTR, 4096);
    ASSERT_NE(memory, nullptr);
    std::span<std::uint8_t const> const bytes(static_cast<std::uint8_t *>(memory), 4096);
    EXPECT_TRUE(std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; }));
    EXPECT_EQ(kernel::GlobalFree(memory), nullptr);
    EXPECT_EQ(kernel::GetLastError(), 7U);
}

TEST_F(GlobalAllocTest, NoBytesAreABlockToo) {
    void * const memory = kernel::GlobalAlloc(kernel::GPTR, 0);
    EXPECT_NE(memory, nullptr);
    EXPECT_EQ(kernel::GlobalFree(memory), nullptr);
    EXPECT_EQ(kernel::GlobalFree(nullptr), nullptr);

    void * const notFilled = kernel::GlobalAlloc(kernel::GMEM_FIXED, 0);
    EXPECT_NE(notFilled, nullptr);
    EXPECT_EQ(kernel::GlobalFree(notFilled), nullptr);
}

TEST_F(GlobalAllocTest, AShortageOfMemoryIsAFailure) {
    pc_.shortage = machine::Resource::Memory;
    EXPECT_EQ(kernel::GlobalAlloc(kernel::GPTR, 16), nullptr);
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_NOT_ENOUGH_MEMORY);
    pc_.shortage = machine::Resource::Event; // which memory does not ask for
    void * const memory = kernel::GlobalAlloc(kernel::GPTR, 16);
    EXPECT_NE(memory, nullptr);
    kernel::GlobalFree(memory);
}

TEST(ErrorModeTest, SettingItReturnsTheModeBefore) {
    std::uint32_t const mode = kernel::SEM_FAILCRITICALERRORS | kernel::SEM_NOOPENFILEERRORBOX;
    std::uint32_t const before = kernel::SetErrorMode(mode);
    EXPECT_EQ(kernel::SetErrorMode(before), mode);
    EXPECT_EQ(kernel::SetErrorMode(before), before);
}

} // namespace
