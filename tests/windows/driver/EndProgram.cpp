// Ends a program as Windows does when its console is closed or its user logs off: EndProgram PROGRAM console|session.
// Tells it so, and once more a little later; ends it when it comes back from either, or after five seconds. Says which
// it was, or after how many milliseconds the program has ended by itself and with what code.
#include "machine/windows/Handle.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

namespace {

constexpr DWORD patience = 5000; // milliseconds
constexpr DWORD untilToldAgain = 200;

bool runs(HANDLE process, std::wstring_view program) {
    std::array<wchar_t, 1024> path{};
    auto size = static_cast<DWORD>(path.size());
    return QueryFullProcessImageNameW(process, 0, path.data(), &size) != FALSE &&
           std::wstring_view(path.data(), size).ends_with(L'\\' + std::wstring(program));
}

// The process that runs a program of that name; null when there is none.
HANDLE findProcess(std::wstring_view program) {
    constexpr DWORD most = 0x10000;
    for (DWORD id = 4; id < most; id += 4) {
        HANDLE const process = OpenProcess(PROCESS_ALL_ACCESS, FALSE, id);
        if (process != nullptr && runs(process, program)) {
            return process;
        }
        if (process != nullptr) {
            CloseHandle(process);
        }
    }
    return nullptr;
}

// A thread that runs until the program has dealt with what it was told, or has ended; null when it cannot be told.
using Tell = HANDLE(HANDLE process);

// A thread of the program itself calls the handlers of console events. The library lies at the same place everywhere.
HANDLE closeConsole(HANDLE process) {
    auto const found = GetProcAddress(GetModuleHandleW(L"kernelbase.dll"), "CtrlRoutine");
    LPTHREAD_START_ROUTINE dispatch = nullptr;
    std::memcpy(&dispatch, &found, sizeof dispatch);
    void * event = nullptr;
    DWORD const kind = CTRL_CLOSE_EVENT;
    std::memcpy(&event, &kind, sizeof kind);
    return dispatch == nullptr ? nullptr : CreateRemoteThread(process, nullptr, 0, dispatch, event, 0, nullptr);
}

struct WindowOf {
    DWORD process;
    HWND found;
};

BOOL CALLBACK lookAt(HWND window, LPARAM wanted) {
    WindowOf * search = nullptr;
    std::memcpy(&search, &wanted, sizeof search);
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    if (process == search->process) {
        search->found = window;
    }
    return search->found == nullptr ? TRUE : FALSE;
}

DWORD WINAPI logOff(void * window) {
    auto const reason = static_cast<LPARAM>(ENDSESSION_LOGOFF);
    return SendMessageW(static_cast<HWND>(window), WM_QUERYENDSESSION, 0, reason) != FALSE &&
                   SendMessageW(static_cast<HWND>(window), WM_ENDSESSION, TRUE, reason) == 0
               ? 0
               : 1;
}

HANDLE endSession(HANDLE process) {
    WindowOf search{GetProcessId(process), nullptr};
    WindowOf * const wanted = &search;
    LPARAM address = 0;
    std::memcpy(&address, &wanted, sizeof wanted);
    EnumWindows(lookAt, address);
    return search.found == nullptr ? nullptr : CreateThread(nullptr, 0, logOff, search.found, 0, nullptr);
}

int endBySystem(HANDLE process, char const * reason) {
    TerminateProcess(process, 1);
    std::printf("ended by the system: %s\n", reason);
    return 1;
}

int end(HANDLE process, Tell & tell) {
    DWORD const begun = GetTickCount();
    std::array<HANDLE, 3> awaited{process, tell(process), nullptr};
    if (awaited[1] == nullptr) {
        return endBySystem(process, "it cannot be told");
    }
    DWORD ended = WaitForMultipleObjects(2, awaited.data(), FALSE, untilToldAgain);
    if (ended == WAIT_TIMEOUT) {
        awaited[2] = tell(process);
        ended = WaitForMultipleObjects(3, awaited.data(), FALSE, patience);
    }
    if (ended == WAIT_TIMEOUT) {
        return endBySystem(process, "time is up");
    }
    // What waits for a process that ends may come back just before it has.
    constexpr DWORD aMoment = 200;
    DWORD code = 0;
    if (WaitForSingleObject(process, aMoment) != WAIT_OBJECT_0 || GetExitCodeProcess(process, &code) == FALSE) {
        return endBySystem(process, "it has come back");
    }
    std::printf("ended after %lu ms with %lu\n", GetTickCount() - begun, code);
    return 0;
}

} // namespace

int wmain(int count, wchar_t ** arguments) {
    HANDLE const process = count == 3 ? findProcess(arguments[1]) : nullptr;
    if (process == nullptr) {
        std::fputs("usage: EndProgram PROGRAM console|session, where the program runs\n", stderr);
        return 2;
    }
    return end(process, arguments[2] == std::wstring_view(L"session") ? endSession : closeConsole);
}
