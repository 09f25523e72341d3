// libMedia2: raw disks by sector.
#pragma once

#include "nuv/FileHandle.h"

#include <cstdint>
#include <memory>

namespace libMedia2 {

// A disk. Sector numbers and counts are in sectors of getSectorSize() bytes.
class Drive {
public:
    // Kinds of the last failure of a transfer. The two that callers tell apart are named.
    enum _LIBMEDIA2_ERROR_TYPES { None = 0, Other = 1, AccessDenied = 6, WriteProtected = 7 };

    Drive(Drive const &) = delete;
    Drive & operator=(Drive const &) = delete;
    virtual ~Drive() = default;

    // Bytes; 0 when the drive does not tell. Asks the drive; transfers then use what it said last.
    virtual std::uint32_t getSectorSize() = 0;
    virtual std::uint64_t getSectorCount() = 0; // 0 when the drive does not tell

    // Blocking transfers, positional, past every cache of the OS. False when the drive fails, or when count times the
    // sector size differs from byteCount; the kernel's last error and lastErrorType() then tell why. The buffer is
    // page-aligned.
    virtual bool readSector(std::uint64_t sector, std::uint32_t count, void * buffer, std::uint64_t byteCount) = 0;
    virtual bool writeSector(std::uint64_t sector, std::uint32_t count, void const * buffer,
                             std::uint64_t byteCount) = 0;

    // 0 no medium, 1 ready, 2 loading. Leaves the kernel's last error as it was.
    virtual int mediaState() = 0;
    virtual bool isMediaPresent() = 0;
    virtual bool isMediaLoading() = 0;
    virtual bool loadDrive() = 0; // asks the drive to load its medium; false when it refuses

    virtual _LIBMEDIA2_ERROR_TYPES lastErrorType() const = 0; // of the last failed transfer

protected:
    Drive() = default;
};

// A disk behind a file handle. Uses whatever handle is in the slot at each call and never closes it; the slot must
// outlive the drive. When openArgs is not null and the slot is empty, it is opened by them first.
class OSDrive : public Drive {
public:
    OSDrive(nuv::SharedFileHandle & handleSlot, nuv::CreateFileOpenArgs const * openArgs);
    ~OSDrive() override;

    std::uint32_t getSectorSize() override;
    std::uint64_t getSectorCount() override;
    bool readSector(std::uint64_t sector, std::uint32_t count, void * buffer, std::uint64_t byteCount) override;
    bool writeSector(std::uint64_t sector, std::uint32_t count, void const * buffer, std::uint64_t byteCount) override;
    int mediaState() override;
    bool isMediaPresent() override;
    bool isMediaLoading() override;
    bool loadDrive() override;
    _LIBMEDIA2_ERROR_TYPES lastErrorType() const override;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace libMedia2
