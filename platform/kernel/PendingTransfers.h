// The overlapped transfers that have not ended yet. They end when somebody waits for them: the thread that started one
// looks after it, as the machine's clock only moves by what is asked of the machine.
#pragma once

#include "HandleTable.h"
#include "kernel.h"
#include "machine/Machine.h"

#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>

namespace kernel {

class PendingTransfers {
public:
    // Never destroyed: a transfer that never ends belongs to its device even when the process ends.
    static PendingTransfers & instance();

    void add(OVERLAPPED * overlapped, HANDLE file, std::unique_ptr<machine::PendingTransfer> transfer);

    bool contains(OVERLAPPED const * overlapped) const;

    // The transfer whose end sets the event; null when there is none.
    OVERLAPPED * ofEvent(HANDLE event) const;

    // Waits for the end up to the limit (empty: none). True when the transfer has ended: its record then holds the
    // outcome, its event is set, and it is pending no more.
    bool wait(OVERLAPPED * overlapped, std::optional<machine::Duration> limit);

    // False when there is no such transfer of the file; a null record means all of the file's.
    bool cancel(HANDLE file, OVERLAPPED const * overlapped);

private:
    struct Pending {
        HANDLE file;
        std::shared_ptr<machine::PendingTransfer> transfer;
    };

    PendingTransfers() = default;

    mutable std::mutex lock_;
    std::unordered_map<OVERLAPPED *, Pending> transfers_;
};

// Resets the event of a transfer or an I/O control that begins.
void begin(OVERLAPPED const & overlapped);

// Writes the outcome of a transfer into its record and, if asked, sets its event.
void finish(OVERLAPPED & overlapped, machine::Transfer const & transfer, bool setsEvent);

} // namespace kernel
