// What the run loop and the tests ask of the kernel services beside the services themselves.
#pragma once

#include "kernel/Files.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kernel {

void beginRun(); // forgets which hubs did not answer
// The hubs and host controllers that did not answer a query since then, by their names in upper case, in order.
std::vector<std::u16string> silentHubs();

std::size_t openHandleCount(); // of this process

// Which device a path leads to, or an open handle belongs to: the same text for every form of its path. Empty for a
// handle that is not open, or is none of a file.
std::u16string fileKey(std::u16string_view path);
std::u16string fileKey(HANDLE handle);

} // namespace kernel
