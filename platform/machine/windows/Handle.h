// Owners of what Windows lends by handle.
#pragma once

#include <windows.h>

#include <utility>

namespace machine::windows {

// What CreateFileW gives.
class FileHandle {
public:
    explicit FileHandle(HANDLE owned) : handle_(owned) {}
    FileHandle(FileHandle && other) noexcept : handle_(std::exchange(other.handle_, INVALID_HANDLE_VALUE)) {}
    FileHandle(FileHandle const &) = delete;
    FileHandle & operator=(FileHandle const &) = delete;
    FileHandle & operator=(FileHandle &&) = delete;
    ~FileHandle() {
        if (isValid()) {
            CloseHandle(handle_);
        }
    }
    bool isValid() const { return handle_ != INVALID_HANDLE_VALUE; }
    HANDLE get() const { return handle_; }

private:
    HANDLE handle_;
};

// An event that stays set until it is reset. Null when there is none to be had.
class EventHandle {
public:
    EventHandle() : handle_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}
    EventHandle(EventHandle const &) = delete;
    EventHandle & operator=(EventHandle const &) = delete;
    ~EventHandle() {
        if (handle_ != nullptr) {
            CloseHandle(handle_);
        }
    }
    HANDLE get() const { return handle_; }

private:
    HANDLE handle_;
};

} // namespace machine::windows
