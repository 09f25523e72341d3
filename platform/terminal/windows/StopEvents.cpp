#include "StopEvents.h"

#include "Handle.h"

namespace terminal {

namespace {

HANDLE theEvent() {
    static Handle const & event = *new Handle(makeEvent(true)); // outlives every thread that may set it
    return event.get();
}

} // namespace

BOOL WINAPI onControlEvent(DWORD kind) {
    SetEvent(theEvent());
    if (kind == CTRL_CLOSE_EVENT || kind == CTRL_LOGOFF_EVENT || kind == CTRL_SHUTDOWN_EVENT) {
        Sleep(INFINITE);
    }
    return TRUE;
}

LRESULT CALLBACK onSessionMessage(HWND window, UINT message, WPARAM ends, LPARAM reason) {
    if (message == WM_QUERYENDSESSION) {
        return TRUE; // as far as this program is concerned
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

HANDLE stopEvent() {
    static HANDLE const event = [] {
        HANDLE const made = theEvent();
        SetConsoleCtrlHandler(onControlEvent, TRUE);
        return made;
    }();
    return event;
}

} // namespace terminal
