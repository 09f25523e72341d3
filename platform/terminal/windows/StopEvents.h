#pragma once

#include <windows.h>

namespace terminal {

// Takes Ctrl+C, Ctrl+Break, the closing of the console, logging off and shutting down as requests to stop, from the
// first call on and for the rest of the process. The event is set for good with the first request.
HANDLE stopEvent();

} // namespace terminal
