// Descriptions of PCs that are made wrong in one place, each in a way that no description may be.
#pragma once

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace mutations {

using Json = nlohmann::ordered_json;
using Random = std::mt19937_64;

struct Mutated {
    std::string what; // was done, for people
    std::string text; // of the description
    // The place that an error has to name: a pointer, or for a text that cannot be read at all the line, if it is
    // known.
    std::optional<std::string> pointer;
    std::optional<std::size_t> line;
    std::string message; // a part of what it has to say
};

// For every seed one mutation of each kind that is possible somewhere in the description.
std::vector<Mutated> ofEachKind(Json const & description, std::uint64_t seeds);

// One value replaced by another that may be right or wrong there.
std::string anythingElse(Json const & description, Random & random);

} // namespace mutations
