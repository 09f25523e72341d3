#pragma once

#include <windows.h>

#include <utility>

namespace terminal {

// Owns a handle whose invalid value is null.
class Handle {
public:
    explicit Handle(HANDLE owned) : handle_(owned) {}
    Handle(Handle && other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    Handle(Handle const &) = delete;
    Handle & operator=(Handle const &) = delete;
    Handle & operator=(Handle &&) = delete;
    ~Handle() {
        if (handle_ != nullptr) {
            CloseHandle(handle_);
        }
    }

    HANDLE get() const { return handle_; }

private:
    HANDLE handle_;
};

inline Handle makeEvent(bool manualReset) {
    return Handle(CreateEventW(nullptr, manualReset ? TRUE : FALSE, FALSE, nullptr));
}

} // namespace terminal
