#include "PendingTransfers.h"

#include <chrono>
#include <utility>
#include <vector>

namespace kernel {

namespace {

// How long one wait without a limit lasts before the next: the end of a transfer is not missed by it.
constexpr std::chrono::minutes oneWait{1};

} // namespace

PendingTransfers & PendingTransfers::instance() {
    static auto & transfers = *new PendingTransfers;
    return transfers;
}

void PendingTransfers::add(OVERLAPPED * overlapped, HANDLE file, std::unique_ptr<machine::PendingTransfer> transfer) {
    std::lock_guard const guard(lock_);
    transfers_[overlapped] = {file, std::move(transfer)};
}

bool PendingTransfers::contains(OVERLAPPED const * overlapped) const {
    std::lock_guard const guard(lock_);
    return transfers_.contains(const_cast<OVERLAPPED *>(overlapped));
}

OVERLAPPED * PendingTransfers::ofEvent(HANDLE event) const {
    std::lock_guard const guard(lock_);
    for (auto const & [overlapped, pending] : transfers_) {
        if (overlapped->hEvent == event) {
            return overlapped;
        }
    }
    return nullptr;
}

bool PendingTransfers::wait(OVERLAPPED * overlapped, std::optional<machine::Duration> limit) {
    std::shared_ptr<machine::PendingTransfer> transfer;
    {
        std::lock_guard const guard(lock_);
        auto const found = transfers_.find(overlapped);
        if (found == transfers_.end()) {
            return true;
        }
        transfer = found->second.transfer;
    }
    std::optional<machine::Transfer> outcome;
    do {
        outcome = transfer->wait(limit.value_or(oneWait));
    } while (!outcome && !limit);
    if (!outcome) {
        return false;
    }
    {
        std::lock_guard const guard(lock_);
        transfers_.erase(overlapped);
    }
    finish(*overlapped, *outcome, true);
    return true;
}

bool PendingTransfers::cancel(HANDLE file, OVERLAPPED const * overlapped) {
    std::vector<std::shared_ptr<machine::PendingTransfer>> found;
    {
        std::lock_guard const guard(lock_);
        for (auto const & [record, pending] : transfers_) {
            if (pending.file == file && (overlapped == nullptr || record == overlapped)) {
                found.push_back(pending.transfer);
            }
        }
    }
    for (auto const & transfer : found) {
        transfer->cancel();
    }
    return !found.empty();
}

void begin(OVERLAPPED const & overlapped) {
    if (std::shared_ptr<Event> const event = HandleTable::instance().findEvent(overlapped.hEvent)) {
        event->isSet = false;
    }
}

void finish(OVERLAPPED & overlapped, machine::Transfer const & transfer, bool setsEvent) {
    overlapped.Internal = transfer.error;
    overlapped.InternalHigh = transfer.bytes;
    if (setsEvent) {
        if (std::shared_ptr<Event> const event = HandleTable::instance().findEvent(overlapped.hEvent)) {
            event->isSet = true;
        }
    }
}

} // namespace kernel
