#pragma once

#include "machine/DiskStore.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace machine::simulated {

// Memory that takes room only where it differs from what it held at first: pseudo-random bytes of the seed, or zeros.
std::unique_ptr<DiskStore> makeMemoryStore(std::uint64_t size, std::optional<std::uint64_t> seed);

} // namespace machine::simulated
