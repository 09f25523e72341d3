#include "StopEvents.h"

#include "Handle.h"

namespace terminal {

namespace {

StopRequests const & events() {
    static auto const & stop = *new Handle(makeEvent(true)); // outlives every thread that may set it
    static auto const & end = *new Handle(makeEvent(true));
    static StopRequests const both{stop.get(), end.get()};
    return both;
}

} // namespace

BOOL WINAPI onControlEvent(DWORD kind) {
    bool const isTheEnd = kind == CTRL_CLOSE_EVENT || kind == CTRL_LOGOFF_EVENT || kind == CTRL_SHUTDOWN_EVENT;
    if (isTheEnd) {
        SetEvent(events().end);
    }
    SetEvent(events().stop);
    if (isTheEnd) {
        Sleep(INFINITE);
    }
    return TRUE;
}

LRESULT CALLBACK onSessionMessage(HWND window, UINT message, WPARAM ends, LPARAM reason) {
    if (message == WM_QUERYENDSESSION) {
        return TRUE; // as far as this program is concerned
    }
    if (message == WM_CLOSE) { // which would take the window away otherwise, and with it the word of the session's end
        onControlEvent(CTRL_C_EVENT);
        return 0;
    }
    if (message != WM_ENDSESSION) {
        return DefWindowProcW(window, message, ends, reason);
    }
    if (ends != FALSE) {
        onControlEvent((reason & static_cast<LPARAM>(ENDSESSION_LOGOFF)) != 0 ? CTRL_LOGOFF_EVENT
                                                                              : CTRL_SHUTDOWN_EVENT);
    }
    return 0;
}

StopRequests const & stopRequests() {
    static bool const isWatched = SetConsoleCtrlHandler(onControlEvent, TRUE) != FALSE;
    static_cast<void>(isWatched);
    return events();
}

} // namespace terminal
