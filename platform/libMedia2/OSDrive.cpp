#include "journal/Preservation.h"
#include "kernel.h"
#include "kernel/LastError.h"
#include "kernel/RecordQuery.h"
#include "kernel/Runtime.h"
#include "libMedia2.h"
#include "machine/Pages.h"
#include "scsi/UnitStatus.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

namespace libMedia2 {

namespace {

constexpr int noMedium = 0;
constexpr int ready = 1;
constexpr int loading = 2;

// The event of a drive's transfers, made when the first one needs it.
class TransferEvent {
public:
    TransferEvent() = default;
    TransferEvent(TransferEvent const &) = delete;
    TransferEvent & operator=(TransferEvent const &) = delete;
    ~TransferEvent() {
        if (handle_ != nullptr) {
            kernel::CloseHandle(handle_);
        }
    }

    // Null when it cannot be made; the kernel's last error then tells why.
    kernel::HANDLE get() {
        if (handle_ == nullptr) {
            handle_ = kernel::CreateEventW(nullptr, true, false, nullptr);
        }
        return handle_;
    }

private:
    kernel::HANDLE handle_ = nullptr;
};

Drive::_LIBMEDIA2_ERROR_TYPES errorTypeOf(std::uint32_t error) {
    switch (error) {
    case kernel::ERROR_ACCESS_DENIED:
        return Drive::AccessDenied;
    case kernel::ERROR_WRITE_PROTECT:
        return Drive::WriteProtected;
    default:
        return Drive::Other;
    }
}

bool sendControl(kernel::HANDLE device, std::uint32_t controlCode) {
    return kernel::DeviceIoControl(device, controlCode, nullptr, 0, nullptr, 0, nullptr, nullptr);
}

// How much is read back at once: about a MB, in whole sectors of any size.
std::uint64_t pieceOf(std::uint32_t sectorSize) {
    constexpr std::uint64_t wanted = std::uint64_t{1} << 20U;
    return std::max<std::uint64_t>(wanted / sectorSize, 1) * sectorSize;
}

bool knowsNoFlush(std::uint32_t error) {
    return error == kernel::ERROR_INVALID_FUNCTION || error == kernel::ERROR_NOT_SUPPORTED;
}

bool isOpen(nuv::SharedFileHandle const & slot) {
    return slot && slot->isValid();
}

} // namespace

struct OSDrive::State {
    explicit State(nuv::SharedFileHandle & handleSlot) : slot(handleSlot) {}

    kernel::HANDLE handle() const { return slot ? slot->get() : kernel::INVALID_HANDLE_VALUE; }

    // As the disk told when it was asked last. Transfers are timed, so they ask only when nobody has asked before.
    std::uint32_t sectorSize() { return knownSectorSize != 0 ? knownSectorSize : askSize(); }

    std::uint32_t askSize() {
        knownSectorSize = kernel::askSectorSize(handle());
        return knownSectorSize;
    }

    // Carries a transfer out; start begins it on a handle. True when all of it was moved.
    template <class Start>
    bool move(std::uint64_t sector, std::uint32_t count, std::uint64_t byteCount, Start const & start) {
        std::uint32_t const size = sectorSize();
        if (size == 0) {
            return false;
        }
        constexpr std::uint64_t lastOffset = std::numeric_limits<std::int64_t>::max();
        if (std::uint64_t{count} * size != byteCount || byteCount > std::numeric_limits<std::uint32_t>::max() ||
            sector > (lastOffset - byteCount) / size) {
            return kernel::fail(kernel::ERROR_INVALID_PARAMETER);
        }
        kernel::HANDLE const ended = event.get();
        if (ended == nullptr) {
            return false;
        }
        std::uint64_t const offset = sector * size;
        kernel::OVERLAPPED overlapped{};
        overlapped.Offset = static_cast<std::uint32_t>(offset);
        overlapped.OffsetHigh = static_cast<std::uint32_t>(offset >> 32U);
        overlapped.hEvent = ended;
        kernel::HANDLE const disk = handle();
        std::uint32_t moved = 0;
        bool succeeded = start(disk, static_cast<std::uint32_t>(byteCount), &moved, &overlapped);
        if (!succeeded && kernel::GetLastError() == kernel::ERROR_IO_PENDING) {
            // Without a limit: the device may use record and buffer until the transfer has ended.
            succeeded = kernel::GetOverlappedResult(disk, &overlapped, &moved, true);
        }
        return succeeded && (moved == byteCount || kernel::fail(kernel::ERROR_HANDLE_EOF));
    }

    template <class Start>
    bool transfer(std::uint64_t sector, std::uint32_t count, std::uint64_t byteCount, Start const & start) {
        std::uint32_t const errorBefore = kernel::GetLastError();
        bool const succeeded = move(sector, count, byteCount, start);
        errorType = succeeded ? None : errorTypeOf(kernel::GetLastError());
        if (succeeded) {
            kernel::SetLastError(errorBefore); // that of a transfer which was only pending for a while is no failure
        }
        return succeeded;
    }

    std::uint64_t askSectorCount() {
        std::uint32_t const size = askSize();
        if (size == 0) {
            return 0;
        }
        knownSectorCount = kernel::askSectorCount(handle(), size);
        std::u16string disk;
        if (journal::Preservation * const keeper = preservation(disk); keeper != nullptr && knownSectorCount != 0) {
            keeper->noteSize(disk, knownSectorCount * size, size);
        }
        return knownSectorCount;
    }

    bool read(std::uint64_t sector, std::uint32_t count, void * buffer, std::uint64_t byteCount) {
        return transfer(
            sector, count, byteCount,
            [buffer](kernel::HANDLE disk, std::uint32_t bytes, std::uint32_t * moved, kernel::OVERLAPPED * overlapped) {
                return kernel::ReadFile(disk, buffer, bytes, moved, overlapped);
            });
    }

    bool write(std::uint64_t sector, std::uint32_t count, void const * buffer, std::uint64_t byteCount) {
        return transfer(
            sector, count, byteCount,
            [buffer](kernel::HANDLE disk, std::uint32_t bytes, std::uint32_t * moved, kernel::OVERLAPPED * overlapped) {
                return kernel::WriteFile(disk, buffer, bytes, moved, overlapped);
            });
    }

    // The preservation that watches the transfers of the disk, while its volumes are locked for a write pass; else
    // null.
    journal::Preservation * preservation(std::u16string & disk) const {
        journal::Preservation * const active = journal::Preservation::active();
        if (active == nullptr || !active->isAnyUnderWay()) {
            return nullptr;
        }
        disk = kernel::fileKey(handle());
        return active->isUnderWay(disk) ? active : nullptr;
    }

    // What a write pass reads is a backup, and nothing may be overwritten unless it is kept.
    bool keepBackup(journal::Range const & range, void const * buffer, std::uint64_t byteCount) {
        std::u16string disk;
        journal::Preservation * const keeper = preservation(disk);
        if (keeper == nullptr) {
            return true;
        }
        std::uint32_t const errorBefore = kernel::GetLastError();
        std::uint64_t const sectors = knownSectorCount != 0 ? knownSectorCount : askSectorCount();
        std::uint32_t const error =
            sectors == 0 ? kernel::GetLastError() // where the backup belongs could not be told later
                         : keeper->keep(disk, handle(), sectors * sectorSize(), sectorSize(), range,
                                        {static_cast<std::byte const *>(buffer), static_cast<std::size_t>(byteCount)});
        if (error != kernel::ERROR_SUCCESS) {
            errorType = Other;
            return kernel::fail(error);
        }
        kernel::SetLastError(errorBefore);
        return true;
    }

    // The end of a restore that was written: the disk is to have it for good, and to give it back as it was.
    journal::Preservation::Restore verify(journal::Range const & range, std::byte const * wanted) {
        std::uint32_t const errorBefore = kernel::GetLastError();
        std::uint64_t const byteCount = std::uint64_t{range.sectorCount} * sectorSize();
        std::uint64_t const pieceSize = pieceOf(sectorSize()); // known, since the range was written
        if (foundSize < pieceSize) {
            found = machine::takePages(pieceSize);
            foundSize = found != nullptr ? pieceSize : 0;
        }
        bool verified = found != nullptr || kernel::fail(kernel::ERROR_NOT_ENOUGH_MEMORY);
        verified = verified && (kernel::FlushFileBuffers(handle()) || knowsNoFlush(kernel::GetLastError()));
        for (std::uint64_t done = 0; verified && done < byteCount; done += pieceSize) {
            std::uint64_t const size = std::min(pieceSize, byteCount - done);
            verified = read(range.firstSector + done / sectorSize(), static_cast<std::uint32_t>(size / sectorSize()),
                            found.get(), size) &&
                       (std::memcmp(found.get(), wanted + done, static_cast<std::size_t>(size)) == 0 ||
                        kernel::fail(kernel::ERROR_CRC));
        }
        if (!verified) {
            errorType = Other;
            return journal::Preservation::Restore::Differs;
        }
        errorType = None;
        kernel::SetLastError(errorBefore);
        return journal::Preservation::Restore::Verified;
    }

    nuv::SharedFileHandle & slot;
    TransferEvent event;
    machine::Pages found; // a piece of what was read back, once something was
    std::uint64_t foundSize = 0;
    std::uint32_t knownSectorSize = 0;
    std::uint64_t knownSectorCount = 0; // as the disk told when it was asked last
    _LIBMEDIA2_ERROR_TYPES errorType = None;
};

OSDrive::OSDrive(nuv::SharedFileHandle & handleSlot, nuv::CreateFileOpenArgs const * openArgs)
    : state_(std::make_unique<State>(handleSlot)) {
    if (openArgs != nullptr && !isOpen(handleSlot)) {
        handleSlot = nuv::SharedFileHandle(new nuv::FileHandleResManager(*openArgs));
    }
}

OSDrive::~OSDrive() = default;

std::uint32_t OSDrive::getSectorSize() {
    return state_->askSize();
}

std::uint64_t OSDrive::getSectorCount() {
    return state_->askSectorCount();
}

bool OSDrive::readSector(std::uint64_t sector, std::uint32_t count, void * buffer, std::uint64_t byteCount) {
    return state_->read(sector, count, buffer, byteCount) && state_->keepBackup({sector, count}, buffer, byteCount);
}

bool OSDrive::writeSector(std::uint64_t sector, std::uint32_t count, void const * buffer, std::uint64_t byteCount) {
    std::u16string disk;
    journal::Preservation * const preservation = state_->preservation(disk);
    journal::Range const range{sector, count};
    bool const isRestore = preservation != nullptr && preservation->isRestore(disk, range, buffer);
    std::uint32_t const whyNot = preservation != nullptr ? preservation->whyNotToWrite(disk) : kernel::ERROR_SUCCESS;
    if (whyNot != kernel::ERROR_SUCCESS) {
        if (isRestore) {
            preservation->endRestore(disk, journal::Preservation::Restore::NotTried);
        }
        state_->errorType = Other; // whoever agreed to go on without a backup has not agreed to this disk
        return kernel::fail(whyNot);
    }
    if (preservation != nullptr && !isRestore) {
        preservation->beforeOverwriting(disk);
    }
    bool const written = state_->write(sector, count, buffer, byteCount);
    if (!isRestore) {
        return written;
    }
    auto const outcome = written ? state_->verify(range, static_cast<std::byte const *>(buffer))
                                 : journal::Preservation::Restore::NotWritten;
    std::uint32_t const error = kernel::GetLastError();
    preservation->endRestore(disk, outcome);
    kernel::SetLastError(error);
    return outcome == journal::Preservation::Restore::Verified;
}

int OSDrive::mediaState() {
    std::uint32_t const errorBefore = kernel::GetLastError();
    std::uint32_t error = kernel::ERROR_SUCCESS;
    // A drive tells once that its medium was changed; the next answer is about the new one.
    for (int attempt = 0; attempt < 2; ++attempt) {
        error = sendControl(state_->handle(), kernel::IOCTL_STORAGE_CHECK_VERIFY) ? kernel::ERROR_SUCCESS
                                                                                  : kernel::GetLastError();
        if (error != kernel::ERROR_MEDIA_CHANGED) {
            break;
        }
    }
    int state = error == kernel::ERROR_SUCCESS ? ready : noMedium;
    if (error == kernel::ERROR_NOT_READY) {
        // So says Windows of an empty drive, too; only the drive itself tells them apart.
        auto const sense = scsi::testUnitReady(state_->handle()).sense;
        state = sense && scsi::meansNoMedium(*sense) ? noMedium : loading;
    }
    kernel::SetLastError(errorBefore);
    return state;
}

bool OSDrive::isMediaPresent() {
    return mediaState() == ready;
}

bool OSDrive::isMediaLoading() {
    return mediaState() == loading;
}

bool OSDrive::loadDrive() {
    return sendControl(state_->handle(), kernel::IOCTL_STORAGE_LOAD_MEDIA);
}

Drive::_LIBMEDIA2_ERROR_TYPES OSDrive::lastErrorType() const {
    return state_->errorType;
}

} // namespace libMedia2
