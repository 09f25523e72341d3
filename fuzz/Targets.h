// What can be fuzzed: each target reads an input as the answers of the hardware, or as what is read from somewhere else
// (ParserTargets.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace fuzz {

struct Target {
    char const * name; // also of the folder of its seeds
    void (*run)(std::uint8_t const * data, std::size_t size);
};

std::span<Target const> targets();

} // namespace fuzz
