#pragma once

#include "machine/Clock.h"

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace machine::windows {

// A limit as Windows' waits take it: rounded up, and never so long that it means no limit.
inline std::uint32_t waitMilliseconds(Duration limit) {
    constexpr std::chrono::milliseconds longest = std::chrono::hours(24);
    auto const rounded = std::chrono::ceil<std::chrono::milliseconds>(std::min<Duration>(limit, longest));
    return static_cast<std::uint32_t>(std::max(rounded, std::chrono::milliseconds::zero()).count());
}

} // namespace machine::windows
