// A short fuzzing run without a fuzzer: every seed of every target, and many copies of it with bytes changed, cut off
// or repeated, in an order that is the same each time. Under the sanitizers a read or write out of bounds ends the
// test.
//   NUVRUSB_SPOILED=1000000   so many inputs for each target
#include "Targets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <random>
#include <string>
#include <vector>

namespace fuzz {

// For the names of tests.
void PrintTo(Target const & target, std::ostream * stream);
void PrintTo(Target const & target, std::ostream * stream) {
    *stream << target.name;
}

} // namespace fuzz

namespace {

using Bytes = std::vector<std::uint8_t>;

std::vector<Bytes> seedsOf(std::string const & target) {
    std::vector<std::filesystem::path> files;
    for (auto const & entry : std::filesystem::directory_iterator(std::string(CORPUS_FOLDER) + "/" + target)) {
        files.push_back(entry.path());
    }
    std::ranges::sort(files);
    std::vector<Bytes> seeds;
    for (auto const & path : files) {
        std::ifstream file(path, std::ios::binary);
        seeds.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return seeds;
}

Bytes spoiled(Bytes bytes, std::mt19937 & random) {
    auto const below = [&random](std::size_t limit) { return limit == 0 ? 0 : random() % limit; };
    for (std::size_t changes = 1 + below(6); changes > 0; --changes) {
        switch (below(4)) {
        case 0:
            bytes.resize(below(bytes.size() + 1));
            break;
        case 1:
            bytes.insert(bytes.end(), bytes.begin(),
                         bytes.begin() + static_cast<std::ptrdiff_t>(below(bytes.size() + 1)));
            break;
        case 2:
            std::ranges::fill(bytes, static_cast<std::uint8_t>(random()));
            break;
        default:
            if (!bytes.empty()) {
                bytes[below(bytes.size())] = static_cast<std::uint8_t>(random());
            }
        }
    }
    return bytes;
}

// Of each seed, so that there are as many inputs as wanted.
std::size_t copies(std::size_t seeds) {
    constexpr std::size_t usual = 400;
    char const * const wanted = std::getenv("NUVRUSB_SPOILED");
    return wanted == nullptr ? usual : (std::strtoull(wanted, nullptr, 10) + seeds - 1) / seeds;
}

class SpoiledSeeds : public testing::TestWithParam<fuzz::Target> {};

TEST_P(SpoiledSeeds, NeverReadOrWriteOutOfBounds) {
    std::vector<Bytes> const seeds = seedsOf(GetParam().name);
    ASSERT_FALSE(seeds.empty());
    std::size_t const copiesOfASeed = copies(seeds.size());
    std::mt19937 random(1); // NOLINT: the same sequence each time, so that a finding can be run again
    for (Bytes const & seed : seeds) {
        GetParam().run(seed.data(), seed.size());
        for (std::size_t copy = 0; copy < copiesOfASeed; ++copy) {
            Bytes const bytes = spoiled(seed, random);
            GetParam().run(bytes.data(), bytes.size());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Of, SpoiledSeeds, testing::ValuesIn(fuzz::targets()),
                         [](auto const & target) { return std::string(target.param.name); });

} // namespace
