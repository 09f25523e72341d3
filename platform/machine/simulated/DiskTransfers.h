// Reading and writing a described disk.
#pragma once

#include "DiskState.h"
#include "machine/Clock.h"
#include "machine/Machine.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace machine::simulated {

// How the file through which a transfer goes was opened.
struct OpenedFor {
    bool reading = false;
    bool writing = false;
    bool overlapped = false;
    bool unbuffered = false;
    bool writeThrough = false;
};

// The clock is since the machine's start. A pending transfer shares the disk.
Started startRead(std::shared_ptr<DiskState> const & disk, Clock & clock, Duration start, OpenedFor const & opened,
                  std::uint64_t offset, std::span<std::byte> buffer);
Started startWrite(std::shared_ptr<DiskState> const & disk, Clock & clock, Duration start, OpenedFor const & opened,
                   std::uint64_t offset, std::span<std::byte const> bytes);

// A hang without a limit would never end. It ends after a time that no caller can take for an answer.
inline constexpr Duration endOfPatience = std::chrono::hours(1);

} // namespace machine::simulated
