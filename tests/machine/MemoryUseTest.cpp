// How much memory a disk in memory takes. In a program of its own, because it counts every allocation.
#include "machine/simulated/MemoryStore.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <new>
#include <optional>
#include <span>
#include <vector>

namespace {

// Bytes of blocks as large as a page of the store, or larger.
constexpr std::size_t page = 65536;
std::size_t inPages = 0;

// Each block begins with its size, within what keeps the rest aligned.
constexpr std::size_t head = alignof(std::max_align_t);

void * allocate(std::size_t size) {
    void * const block = std::malloc(size + head);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    *static_cast<std::size_t *>(block) = size;
    inPages += size >= page ? size : 0;
    return static_cast<char *>(block) + head;
}

void release(void * memory) {
    if (memory != nullptr) {
        char * const block = static_cast<char *>(memory) - head;
        std::size_t const size = *static_cast<std::size_t *>(static_cast<void *>(block));
        inPages -= size >= page ? size : 0;
        std::free(block);
    }
}

} // namespace

void * operator new(std::size_t size) {
    return allocate(size);
}
void operator delete(void * memory) noexcept {
    release(memory);
}
void operator delete(void * memory, std::size_t) noexcept {
    release(memory);
}

namespace {

class MemoryUse : public testing::TestWithParam<std::optional<std::uint64_t>> {
protected:
    std::unique_ptr<machine::DiskStore> const store_ =
        machine::simulated::makeMemoryStore(std::uint64_t{1} << 50U, GetParam());
    std::vector<std::byte> const original_ = [this] {
        std::vector<std::byte> bytes(8 * page);
        store_->read(0, bytes);
        return bytes;
    }();
    std::vector<std::byte> const other_ = std::vector(8 * page, std::byte{0x5A});
    std::size_t const before_ = inPages;
};

TEST_P(MemoryUse, ReadingTakesNone) {
    std::vector<std::byte> sector(512);
    for (std::uint64_t i = 0; i < 100; ++i) {
        store_->read(i * 1'000'000 * 512, sector);
    }
    EXPECT_EQ(inPages, before_);
}

TEST_P(MemoryUse, OnlyPagesThatWereWrittenTakeIt) {
    store_->write(3 * page, std::span(other_).first(512), false);
    EXPECT_EQ(inPages - before_, page);
    store_->write(3 * page + 512, std::span(other_).first(512), false);
    EXPECT_EQ(inPages - before_, page);
    store_->write(0, other_, false);
    EXPECT_EQ(inPages - before_, 8 * page);
}

TEST_P(MemoryUse, WhatIsAsItWasTakesNone) {
    store_->write(0, original_, false);
    EXPECT_EQ(inPages, before_);
    store_->write(0, other_, false);
    store_->write(0, original_, false);
    EXPECT_EQ(inPages, before_);
}

TEST_P(MemoryUse, APageIsGivenBackOnceItsLastBytesAreAsTheyWere) {
    store_->write(0, std::span(other_).first(1024), false);
    store_->write(0, std::span(original_).first(512), false);
    EXPECT_EQ(inPages - before_, page);
    store_->write(512, std::span(original_).subspan(512, 512), false);
    EXPECT_EQ(inPages, before_);
}

INSTANTIATE_TEST_SUITE_P(Contents, MemoryUse, testing::Values(std::nullopt, std::optional<std::uint64_t>(7)),
                         [](auto const & instance) { return instance.param ? "Seed" : "Zeros"; });

} // namespace
