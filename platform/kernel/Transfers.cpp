// Reads, writes and their ends.
#include "LastError.h"
#include "PendingTransfers.h"

#include <span>

namespace kernel {

namespace {

constexpr std::uintptr_t statusPending = 0x103;

std::uint64_t offsetOf(OVERLAPPED const & overlapped) {
    return std::uint64_t{overlapped.OffsetHigh} << 32U | overlapped.Offset;
}

// What ReadFile and WriteFile have in common; start begins the transfer on the machine's file.
template <class Start>
bool transfer(HANDLE handle, bool hasBuffer, std::uint32_t byteCount, std::uint32_t * bytesMoved,
              OVERLAPPED * overlapped, Start start) {
    if (bytesMoved != nullptr) {
        *bytesMoved = 0;
    }
    std::shared_ptr<OpenFile> const file = HandleTable::instance().findFile(handle);
    if (!file) {
        return fail(ERROR_INVALID_HANDLE);
    }
    if (overlapped == nullptr || (!hasBuffer && byteCount != 0) || PendingTransfers::instance().contains(overlapped)) {
        return fail(ERROR_INVALID_PARAMETER);
    }
    begin(*overlapped);
    machine::Started started = start(*file->file, offsetOf(*overlapped));
    if (started.pending) {
        overlapped->Internal = statusPending;
        overlapped->InternalHigh = 0;
        PendingTransfers::instance().add(overlapped, handle, std::move(started.pending));
        return fail(ERROR_IO_PENDING);
    }
    bool const succeeded = started.transfer.error == ERROR_SUCCESS;
    finish(*overlapped, started.transfer, succeeded);
    if (!succeeded) {
        return fail(started.transfer.error);
    }
    if (bytesMoved != nullptr) {
        *bytesMoved = started.transfer.bytes;
    }
    return true;
}

} // namespace

bool ReadFile(HANDLE file, void * buffer, std::uint32_t byteCount, std::uint32_t * bytesRead, OVERLAPPED * overlapped) {
    return transfer(file, buffer != nullptr, byteCount, bytesRead, overlapped,
                    [&](machine::File & opened, std::uint64_t offset) {
                        return opened.read(offset, {static_cast<std::byte *>(buffer), byteCount});
                    });
}

bool WriteFile(HANDLE file, void const * buffer, std::uint32_t byteCount, std::uint32_t * bytesWritten,
               OVERLAPPED * overlapped) {
    return transfer(file, buffer != nullptr, byteCount, bytesWritten, overlapped,
                    [&](machine::File & opened, std::uint64_t offset) {
                        return opened.write(offset, {static_cast<std::byte const *>(buffer), byteCount});
                    });
}

bool FlushFileBuffers(HANDLE handle) {
    std::shared_ptr<OpenFile> const file = HandleTable::instance().findFile(handle);
    if (!file) {
        return fail(ERROR_INVALID_HANDLE);
    }
    std::uint32_t const error = file->file->flush();
    return error == ERROR_SUCCESS || fail(error);
}

bool GetOverlappedResult(HANDLE, OVERLAPPED * overlapped, std::uint32_t * bytesTransferred, bool wait) {
    if (overlapped == nullptr) {
        return fail(ERROR_INVALID_PARAMETER);
    }
    std::optional<machine::Duration> const limit = wait ? std::nullopt : std::optional(machine::Duration::zero());
    if (!PendingTransfers::instance().wait(overlapped, limit)) {
        return fail(ERROR_IO_INCOMPLETE);
    }
    if (bytesTransferred != nullptr) {
        *bytesTransferred = static_cast<std::uint32_t>(overlapped->InternalHigh);
    }
    return overlapped->Internal == ERROR_SUCCESS || fail(static_cast<std::uint32_t>(overlapped->Internal));
}

bool CancelIoEx(HANDLE file, OVERLAPPED * overlapped) {
    return PendingTransfers::instance().cancel(file, overlapped) || fail(ERROR_NOT_FOUND);
}

} // namespace kernel
