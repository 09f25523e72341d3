// What the run loop and the tests ask of the kernel services beside the services themselves.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace kernel {

void beginRun(); // forgets which hubs did not answer
// The hubs and host controllers that did not answer a query since then, by their names in upper case, in order.
std::vector<std::u16string> silentHubs();

std::size_t openHandleCount(); // of this process

} // namespace kernel
