#include "LastError.h"
#include "PendingTransfers.h"

#include <chrono>
#include <memory>

namespace kernel {

namespace {

// Takes the event as a wait does: one that resets itself is set for one wait only.
bool taken(Event & event) {
    return event.manualReset ? event.isSet.load() : event.isSet.exchange(false);
}

std::uint32_t failedWait(std::uint32_t error) {
    SetLastError(error);
    return WAIT_FAILED;
}

} // namespace

HANDLE CreateEventW(void *, bool manualReset, bool initiallySet, char16_t const *) {
    if (std::uint32_t const error = machine::current().take(machine::Resource::Event); error != ERROR_SUCCESS) {
        SetLastError(error);
        return nullptr;
    }
    auto event = std::make_shared<Event>();
    event->manualReset = manualReset;
    event->isSet = initiallySet;
    HANDLE const handle = HandleTable::instance().add(std::move(event));
    if (handle == INVALID_HANDLE_VALUE) {
        SetLastError(tooManyOpenFiles);
        return nullptr;
    }
    return handle;
}

bool SetEvent(HANDLE event) {
    std::shared_ptr<Event> const found = HandleTable::instance().findEvent(event);
    if (!found) {
        return fail(ERROR_INVALID_HANDLE);
    }
    found->isSet = true;
    return true;
}

bool ResetEvent(HANDLE event) {
    std::shared_ptr<Event> const found = HandleTable::instance().findEvent(event);
    if (!found) {
        return fail(ERROR_INVALID_HANDLE);
    }
    found->isSet = false;
    return true;
}

std::uint32_t WaitForSingleObject(HANDLE event, std::uint32_t milliseconds) {
    std::shared_ptr<Event> const found = HandleTable::instance().findEvent(event);
    if (!found) {
        return failedWait(ERROR_INVALID_HANDLE);
    }
    if (taken(*found)) {
        return WAIT_OBJECT_0;
    }
    std::optional<machine::Duration> limit;
    if (milliseconds != INFINITE) {
        limit = std::chrono::milliseconds(milliseconds);
    }
    if (OVERLAPPED * const overlapped = PendingTransfers::instance().ofEvent(event)) {
        PendingTransfers::instance().wait(overlapped, limit);
        return taken(*found) ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
    }
    if (!limit) {
        return failedWait(ERROR_INVALID_PARAMETER); // nobody is left who could set it
    }
    machine::current().clock().sleep(*limit);
    return taken(*found) ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
}

} // namespace kernel
