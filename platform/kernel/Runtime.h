// What the run loop and the tests ask of the kernel services beside the services themselves.
#pragma once

#include <cstddef>

namespace kernel {

void beginRun();               // forgets which hubs did not answer
std::size_t openHandleCount(); // of this process

} // namespace kernel
