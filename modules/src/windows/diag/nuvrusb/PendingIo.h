// Overlapped I/O that may outlive the operation that started it.
#pragma once

#include "AlignedBuffer.h"

#include "kernel.h"
#include "nuv.h"

#include <cstdint>
#include <memory>

namespace nuvrusb {

// A manual-reset event, not set at first. Closed when its owner goes; null when it could not be made.
class EventHandle {
public:
    EventHandle() : event_(kernel::CreateEventW(nullptr, true, false, nullptr)) {}
    EventHandle(EventHandle const &) = delete;
    EventHandle & operator=(EventHandle const &) = delete;
    ~EventHandle();

    bool isValid() const { return event_ != nullptr; }
    kernel::HANDLE get() const { return event_; } // still owned here

private:
    kernel::HANDLE event_;
};

// One overlapped I/O together with all that the device may still write to: its buffer, its record and its event. When
// the I/O has not ended by the end of this object, they are kept for the life of the process instead of being freed
// under the device.
class PendingIo {
public:
    PendingIo(nuv::SharedFileHandle file, nuv::SharedResource<EventHandle> event, AlignedBuffer buffer = {});
    PendingIo(PendingIo const &) = delete;
    PendingIo & operator=(PendingIo const &) = delete;
    ~PendingIo();

    // Start it, once. An I/O that fails at once never sets its event.
    void startRead(std::uint32_t byteCount); // from the file's first byte into the buffer
    void startControl(std::uint32_t controlCode);

    std::uint32_t wait(std::uint32_t milliseconds); // as WaitForSingleObject on its event
    void cancel();
    void waitForEnd(std::uint32_t limit); // milliseconds; returns at once when nothing is under way

    nuv::SharedFileHandle const & file() const { return file_; }

private:
    struct Record {
        kernel::OVERLAPPED overlapped{};
        AlignedBuffer buffer;
        nuv::SharedResource<EventHandle> event;
        Record * nextKept = nullptr;
    };

    kernel::HANDLE handle() const;

    static Record * kept;

    nuv::SharedFileHandle file_;
    std::unique_ptr<Record> record_;
    bool isUnderWay_ = false;
};

} // namespace nuvrusb
