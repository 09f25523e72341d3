#include "MemoryStore.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <unordered_map>

namespace machine::simulated {

namespace {

constexpr std::size_t pageSize = 65536;
using Page = std::array<std::byte, pageSize>;

// Words of a Weyl sequence, lightly mixed: no two of a disk are alike, and a compiler can make many at once.
constexpr std::uint64_t weylStep = 0x9E3779B97F4A7C15U;

class MemoryStore final : public DiskStore {
public:
    MemoryStore(std::uint64_t size, std::optional<std::uint64_t> seed) : size_(size), seed_(seed) {}

    std::uint64_t size() const override { return size_; }

    std::uint32_t read(std::uint64_t offset, std::span<std::byte> buffer) override {
        forEachPage(offset, buffer.size(),
                    [&](std::uint64_t number, std::size_t inPage, std::size_t at, std::size_t count) {
                        std::span<std::byte> const part = buffer.subspan(at, count);
                        auto const found = pages_.find(number);
                        if (found == pages_.end()) {
                            fillWithOriginal(number * pageSize + inPage, part);
                        } else {
                            std::memcpy(part.data(), found->second->data() + inPage, count);
                        }
                    });
        return 0;
    }

    std::uint32_t write(std::uint64_t offset, std::span<std::byte const> bytes, bool) override {
        forEachPage(offset, bytes.size(),
                    [&](std::uint64_t number, std::size_t inPage, std::size_t at, std::size_t count) {
                        auto & page = pages_[number];
                        if (page == nullptr) {
                            page = std::make_unique<Page>();
                            fillWithOriginal(number * pageSize, *page);
                        }
                        std::memcpy(page->data() + inPage, bytes.data() + at, count);
                        fillWithOriginal(number * pageSize, original_);
                        if (std::memcmp(page->data(), original_.data(), pageSize) == 0) {
                            pages_.erase(number);
                        }
                    });
        return 0;
    }

    std::uint32_t flush() override { return 0; }

private:
    // Calls with the page's number, where in it, where in the transfer, and how many bytes.
    template <class Visit> static void forEachPage(std::uint64_t offset, std::size_t size, Visit visit) {
        for (std::size_t at = 0; at < size;) {
            auto const inPage = static_cast<std::size_t>((offset + at) % pageSize);
            std::size_t const count = std::min(pageSize - inPage, size - at);
            visit((offset + at) / pageSize, inPage, at, count);
            at += count;
        }
    }

    // Whole words: transfers are of whole sectors.
    void fillWithOriginal(std::uint64_t offset, std::span<std::byte> target) const {
        if (!seed_) {
            std::memset(target.data(), 0, target.size());
            return;
        }
        std::uint64_t weyl = *seed_ + offset / 8 * weylStep;
        for (std::size_t at = 0; at < target.size(); at += sizeof weyl) {
            std::uint64_t const word = weyl ^ weyl >> 29U;
            std::memcpy(target.data() + at, &word, sizeof word);
            weyl += weylStep;
        }
    }

    std::uint64_t const size_;
    std::optional<std::uint64_t> const seed_;
    std::unordered_map<std::uint64_t, std::unique_ptr<Page>> pages_;
    Page original_{};
};

} // namespace

std::unique_ptr<DiskStore> makeMemoryStore(std::uint64_t size, std::optional<std::uint64_t> seed) {
    return std::make_unique<MemoryStore>(size, seed);
}

} // namespace machine::simulated
