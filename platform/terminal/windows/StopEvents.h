#pragma once

#include <windows.h>

namespace terminal {

// Events that are set for good with the first request of their kind. They belong to the process.
struct StopRequests {
    HANDLE stop; // any
    HANDLE end;  // that Windows follows up by ending the process
};

// Takes Ctrl+C, Ctrl+Break, the closing of the console, logging off and shutting down as requests to stop, from the
// first call on and for the rest of the process.
StopRequests const & stopRequests();

// What Windows calls for each of them, on a thread of its own. Ctrl+C and Ctrl+Break let the process go on. After the
// others Windows ends it when this returns, so that it never does: within the seconds that Windows waits for that, the
// run puts back what it has overwritten and ends the process itself.
BOOL WINAPI onControlEvent(DWORD kind);

// The same for the messages by which windows are told that the session is about to end, and then whether it does.
LRESULT CALLBACK onSessionMessage(HWND window, UINT message, WPARAM ends, LPARAM reason);

} // namespace terminal
