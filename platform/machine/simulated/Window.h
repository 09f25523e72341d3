#pragma once

#include <cstdint>
#include <optional>

namespace machine::simulated {

// When a fault strikes: the first "after" occasions pass, the next "times" are struck, later ones pass again.
struct Window {
    std::uint32_t after = 0;
    std::optional<std::uint32_t> times; // empty: for ever
};

// A window and how far it is.
class CountedWindow {
public:
    explicit CountedWindow(Window window) : window_(window) {}

    // Counts one more occasion; true when it is struck.
    bool strikes() {
        std::uint64_t const earlier = seen_++;
        return earlier >= window_.after && (!window_.times || earlier - window_.after < *window_.times);
    }

private:
    Window window_;
    std::uint64_t seen_ = 0;
};

} // namespace machine::simulated
