#include "StopEvents.h"

#include "Handle.h"

namespace terminal {

namespace {

HANDLE theEvent() {
    static Handle const & event = *new Handle(makeEvent(true)); // outlives every thread that may set it
    return event.get();
}

BOOL WINAPI onControlEvent(DWORD kind) {
    SetEvent(theEvent());
    if (kind == CTRL_CLOSE_EVENT || kind == CTRL_LOGOFF_EVENT || kind == CTRL_SHUTDOWN_EVENT) {
        // The process is ended as soon as this returns. Windows waits a few seconds for that, in which the run puts
        // back what it has overwritten and ends the process itself.
        Sleep(INFINITE);
    }
    return TRUE;
}

} // namespace

HANDLE stopEvent() {
    static HANDLE const event = [] {
        HANDLE const made = theEvent();
        SetConsoleCtrlHandler(onControlEvent, TRUE);
        return made;
    }();
    return event;
}

} // namespace terminal
