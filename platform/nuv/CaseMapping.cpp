#include "CaseMapping.h"

#include <algorithm>
#include <array>
#include <span>

namespace nuv {

namespace {

// Capitals first, first + step, ... last lie at a fixed distance from their small letters.
struct Range {
    char16_t first;
    char16_t last;
    int step;
    int distance;
};

// In order, and disjoint. Where capitals and small letters alternate the step is 2.
constexpr std::array<Range, 33> ranges{{
    {u'\u00C0', u'\u00D6', 1, 32},   {u'\u00D8', u'\u00DE', 1, 32},   {u'\u0100', u'\u012E', 2, 1},
    {u'\u0132', u'\u0136', 2, 1},    {u'\u0139', u'\u0147', 2, 1},    {u'\u014A', u'\u0176', 2, 1},
    {u'\u0178', u'\u0178', 1, -121}, {u'\u0179', u'\u017D', 2, 1},    {u'\u0370', u'\u0372', 2, 1},
    {u'\u0376', u'\u0376', 1, 1},    {u'\u037F', u'\u037F', 1, 116},  {u'\u0386', u'\u0386', 1, 38},
    {u'\u0388', u'\u038A', 1, 37},   {u'\u038C', u'\u038C', 1, 64},   {u'\u038E', u'\u038F', 1, 63},
    {u'\u0391', u'\u03A1', 1, 32},   {u'\u03A3', u'\u03AB', 1, 32},   {u'\u03CF', u'\u03CF', 1, 8},
    {u'\u03D8', u'\u03EE', 2, 1},    {u'\u03F7', u'\u03F7', 1, 1},    {u'\u03F9', u'\u03F9', 1, -7},
    {u'\u03FA', u'\u03FA', 1, 1},    {u'\u03FD', u'\u03FF', 1, -130}, {u'\u0400', u'\u040F', 1, 80},
    {u'\u0410', u'\u042F', 1, 32},   {u'\u0460', u'\u0480', 2, 1},    {u'\u048A', u'\u04BE', 2, 1},
    {u'\u04C0', u'\u04C0', 1, 15},   {u'\u04C1', u'\u04CD', 2, 1},    {u'\u04D0', u'\u04FE', 2, 1},
    {u'\u0500', u'\u050E', 2, 1},    {u'\u0510', u'\u051E', 2, 1},    {u'\u0520', u'\u052E', 2, 1},
}};

} // namespace

char16_t lowerCase(char16_t unit) {
    if (unit < 0x80) {
        return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + (u'a' - u'A')) : unit;
    }
    auto const range = std::ranges::lower_bound(ranges, unit, {}, &Range::last);
    if (range == ranges.end() || unit < range->first || (unit - range->first) % range->step != 0) {
        return unit;
    }
    return static_cast<char16_t>(unit + range->distance);
}

} // namespace nuv
