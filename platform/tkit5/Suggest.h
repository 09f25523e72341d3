// What somebody may have meant by a name that does not exist.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tkit5 {

// The candidate that is the fewest typing mistakes away from the name, whatever the letter case: a letter too many, too
// few, wrong, or swapped with its neighbour. The first of those equally near; none when all are too far away.
std::optional<std::string> nearestName(std::string_view name, std::span<std::string const> candidates);

// " Did you mean 'X'?" with the nearest name, or nothing.
std::string didYouMean(std::string_view name, std::span<std::string const> candidates);

} // namespace tkit5
