#include "Suggest.h"

#include <algorithm>
#include <cstddef>
#include <fmt/format.h>
#include <utility>
#include <vector>

namespace tkit5 {

namespace {

std::string lowered(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return lower;
}

// Edits from a to b, one letter or one swap of neighbours each; anything above the limit is given as limit + 1.
std::size_t editDistance(std::string_view a, std::string_view b, std::size_t limit) {
    if (std::max(a.size(), b.size()) - std::min(a.size(), b.size()) > limit) {
        return limit + 1;
    }
    std::vector<std::size_t> beforeLast(b.size() + 1);
    std::vector<std::size_t> last(b.size() + 1);
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) {
        row[j] = j;
    }
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::swap(beforeLast, last);
        std::swap(last, row);
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            std::size_t const substituted = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            row[j] = std::min({substituted, last[j] + 1, row[j - 1] + 1});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
            }
        }
        if (std::ranges::min(row) > limit) {
            return limit + 1;
        }
    }
    return std::min(row.back(), limit + 1);
}

} // namespace

std::optional<std::string> nearestName(std::string_view name, std::span<std::string const> candidates) {
    std::string const wanted = lowered(name);
    std::size_t best = wanted.size() / 3 + 2; // every third letter wrong is still the same word
    std::optional<std::string> nearest;
    for (std::string const & candidate : candidates) {
        std::size_t const allowed = std::min(best - 1, std::max<std::size_t>(candidate.size(), 2) - 1);
        std::size_t const distance = editDistance(wanted, lowered(candidate), allowed);
        if (distance <= allowed) {
            nearest = candidate;
            best = distance;
            if (best == 0) {
                break;
            }
        }
    }
    // The beginning of a name stands for it when no other begins so.
    if (!nearest && !wanted.empty()) {
        auto const begins = [&](std::string const & candidate) { return lowered(candidate).starts_with(wanted); };
        if (std::ranges::count_if(candidates, begins) == 1) {
            nearest = *std::ranges::find_if(candidates, begins);
        }
    }
    return nearest;
}

std::string didYouMean(std::string_view name, std::span<std::string const> candidates) {
    auto const nearest = nearestName(name, candidates);
    return nearest ? fmt::format(" Did you mean '{}'?", *nearest) : "";
}

} // namespace tkit5
