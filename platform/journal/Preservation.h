// Keeps the promise that a write pass which preserves data gives everything back, also when the process or the power
// goes in the middle of it.
//
// The locking of a disk's volumes begins a pass. From then on a read of the disk is a backup, which is kept in the
// journal, and a write of the buffer with the backup to its place is the restore, after which the entry is closed. The
// test that does all this need not know.
#pragma once

#include "Disks.h"
#include "Journal.h"
#include "Storage.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace journal {

// A range whose bytes were not put back, as far as this process knows.
struct Debt {
    enum class Reason {
        NotWritten, // the restore failed, or was never tried
        Differs,    // something else was read back, or nothing could be
        NotClosed,  // the file with the backup could not be removed, though the bytes are back or the backup had failed
    };
    DiskIdentity disk;
    Range range;
    Reason reason = Reason::NotWritten;
    std::string file; // with the backup; empty when there is none
};

// One at a time; used by one thread.
class Preservation {
public:
    // Without a storage nothing is kept, but restores are verified all the same.
    explicit Preservation(std::unique_ptr<Storage> storage); // becomes the active one
    Preservation(Preservation const &) = delete;
    Preservation & operator=(Preservation const &) = delete;
    ~Preservation();

    static Preservation * active(); // null when data are not to be preserved

    // A disk by the path that it is opened by. A disk in memory is gone after the run whatever happens, so no pass
    // begins on it.
    void beginPass(std::u16string_view path);
    void endPass(std::u16string_view path);
    bool isAnyUnderWay() const { return !passes_.empty(); }
    bool isUnderWay(std::u16string const & disk) const { return passes_.contains(disk); } // by kernel::fileKey()

    // For the disk of a pass that is under way.

    // Whoever was told the size of the disk says so; never 0. A disk that tells another one later is another one.
    void noteSize(std::u16string const & disk, std::uint64_t diskSize, std::uint32_t sectorSize);
    // Whoever has opened the disk anew says so, before anything is timed: a path may lead to another disk by then.
    void noteOpened(std::u16string const & disk, kernel::HANDLE open);
    // Keeps a backup that was read by an open handle: when it returns 0, the range may be overwritten. Else the error
    // of the journal's storage, or 1110 when the handle is of another disk than the device tree tells of, or of one of
    // another size than was told before.
    std::uint32_t keep(std::u16string const & disk, kernel::HANDLE open, std::uint64_t diskSize,
                       std::uint32_t sectorSize, Range const & range, Bytes backup);
    // Cheap: these are asked before every write, some of which are timed.
    bool isRestore(std::u16string const & disk, Range const & range, void const * buffer) const;
    // 0 when the open disk may be written to. 1110 when it has turned out to be another one than the pass began on;
    // while there is a backup to put back, also the error for which nobody can tell.
    std::uint32_t whyNotToWrite(std::u16string const & disk) const;
    void beforeOverwriting(std::u16string const & disk);
    enum class Restore { Verified, NotTried, NotWritten, Differs };
    void endRestore(std::u16string const & disk, Restore outcome);

    std::vector<Debt> const & debts() const { return debts_; }

private:
    struct Backup {
        Entry entry;
        void const * buffer = nullptr;
        std::optional<OpenEntry> kept; // empty without a storage
        bool mayBeOverwritten = false;
    };
    struct Pass {
        KnownDisk known;
        DiskIdentity disk;
        std::optional<Backup> backup;
        std::uint32_t whyNotToWrite = 0; // what is open now
    };

    static std::uint32_t checkIsTheDisk(Pass const & pass, kernel::HANDLE open);
    void settle(Pass & pass);
    void closeEntry(Backup backup);
    void owe(Backup backup, Debt::Reason reason);

    std::unique_ptr<Storage> storage_;
    std::optional<Journal> journal_;
    std::map<std::u16string, Pass> passes_; // by the disk's key
    std::vector<Debt> debts_;
    Preservation * previous_;
};

// A pass as long as this lives, if data are to be preserved.
class PassGuard {
public:
    explicit PassGuard(std::u16string_view path);
    PassGuard(PassGuard const &) = delete;
    PassGuard & operator=(PassGuard const &) = delete;
    ~PassGuard();

private:
    std::u16string path_;
};

} // namespace journal
