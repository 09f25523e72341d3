#include "PendingIo.h"

#include <utility>

namespace nuvrusb {

namespace {

constexpr std::uint32_t waitStep = 50; // milliseconds

// Whether an I/O that was started goes on after the call.
bool isPending(bool startedAndEnded) {
    return !startedAndEnded && kernel::GetLastError() == kernel::ERROR_IO_PENDING;
}

} // namespace

EventHandle::~EventHandle() {
    if (isValid()) {
        kernel::CloseHandle(event_);
    }
}

// A list through the records themselves: keeping one must not fail.
constinit PendingIo::Record * PendingIo::kept = nullptr;

PendingIo::PendingIo(nuv::SharedFileHandle file, nuv::SharedResource<EventHandle> event, AlignedBuffer buffer)
    : file_(std::move(file)), record_(std::make_unique<Record>()) {
    record_->buffer = std::move(buffer);
    record_->event = std::move(event);
    record_->overlapped.hEvent = record_->event->get();
}

PendingIo::~PendingIo() {
    if (isUnderWay_) {
        record_->nextKept = kept;
        kept = record_.release();
    }
}

void PendingIo::startRead(std::uint32_t byteCount) {
    isUnderWay_ =
        isPending(kernel::ReadFile(handle(), record_->buffer.data(), byteCount, nullptr, &record_->overlapped));
}

void PendingIo::startControl(std::uint32_t controlCode) {
    isUnderWay_ = isPending(
        kernel::DeviceIoControl(handle(), controlCode, nullptr, 0, nullptr, 0, nullptr, &record_->overlapped));
}

std::uint32_t PendingIo::wait(std::uint32_t milliseconds) {
    std::uint32_t const outcome = kernel::WaitForSingleObject(record_->overlapped.hEvent, milliseconds);
    if (outcome == kernel::WAIT_OBJECT_0) {
        isUnderWay_ = false;
    }
    return outcome;
}

void PendingIo::cancel() {
    kernel::CancelIoEx(handle(), &record_->overlapped);
}

void PendingIo::waitForEnd(std::uint32_t limit) {
    for (std::uint32_t waited = 0; isUnderWay_ && waited < limit; waited += waitStep) {
        if (wait(waitStep) == kernel::WAIT_FAILED) {
            return;
        }
    }
}

kernel::HANDLE PendingIo::handle() const {
    return file_ ? file_->get() : kernel::INVALID_HANDLE_VALUE;
}

} // namespace nuvrusb
