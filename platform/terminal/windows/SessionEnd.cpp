#include "SessionEnd.h"

#include "Handle.h"
#include "StopEvents.h"

#include <memory>
#include <system_error>
#include <thread>

namespace terminal {

namespace {

constexpr DWORD patienceWithWindow = 2000; // milliseconds; it takes a few

HWND makeWindow() {
    WNDCLASSW look{};
    look.lpfnWndProc = onSessionMessage;
    look.hInstance = GetModuleHandleW(nullptr);
    look.lpszClassName = L"nuvrusb session";
    if (RegisterClassW(&look) == 0) {
        return nullptr;
    }
    return CreateWindowExW(0, look.lpszClassName, L"nuvrusb", 0, 0, 0, 0, 0, nullptr, nullptr, look.hInstance, nullptr);
}

// Messages come to the thread that has made the window.
void watch(std::shared_ptr<Handle const> ready) {
    HWND const window = makeWindow();
    SetEvent(ready->get());
    ready.reset();
    MSG message;
    while (window != nullptr && GetMessageW(&message, nullptr, 0, 0) > 0) {
        DispatchMessageW(&message);
    }
}

void startWatching() {
    auto const ready = std::make_shared<Handle const>(makeEvent(true));
    try {
        std::thread(watch, ready).detach();
    } catch (std::system_error const &) {
        return; // as where no window can be made
    }
    WaitForSingleObject(ready->get(), patienceWithWindow);
}

} // namespace

void watchSessionEnd() {
    static bool const isWatched = (startWatching(), true);
    static_cast<void>(isWatched);
}

} // namespace terminal
