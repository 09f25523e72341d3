#pragma once

#include <cstddef>

namespace test {

// The open handles of this process, from the system's list of all: not every system fills in the count that a process
// can ask for.
std::size_t handleCount();

} // namespace test
