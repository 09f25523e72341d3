// Backups of what is about to be overwritten, kept until it is back: one file for each.
//
// A file has its proper name from when its bytes are safe to when they are back, so whatever bears another name owes
// nothing, and whatever bears it is owed to its disk.
#pragma once

#include "Entry.h"
#include "Storage.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace journal {

// A backup that this process has made and not yet put back.
struct OpenEntry {
    Entry entry;
    std::string name;                 // of its file
    std::unique_ptr<StoredFile> file; // stays open, so that no other process takes the entry for an abandoned one
};

class Journal {
public:
    explicit Journal(Storage & storage) : storage_(storage) {} // which outlives it

    struct Closed {
        std::uint32_t error = 0; // of the removal, or of making it last
        bool isOwed = false;     // the entry is in force still, or may be again after a loss of power
        std::string file;        // that is left over; empty: none
    };

    // Keeps a backup. When it returns without an error, a loss of power leaves the backup where it is. The error is the
    // storage's. Blocks for its writes.
    struct Kept {
        std::optional<OpenEntry> entry;
        std::uint32_t error = 0;
        std::string failed = {}; // the file of a backup that failed when it had got its proper name
        Closed left = {};        // what became of giving that one up
    };
    Kept keep(DiskIdentity const & disk, Range const & range, Bytes backup);

    // Gives up an entry whose bytes are back, or that nobody wants back: removes its file. An open one is closed only
    // once it is gone, so that nobody takes the entry for an abandoned one. A file that cannot be removed gets a name
    // under which it owes nothing.
    Closed close(OpenEntry entry);
    Closed close(std::string const & name);

    // Makes the place of the storage, and tries out what keeping a backup takes: 0, or the error of the first step that
    // fails.
    std::uint32_t tryOut();

private:
    Kept keepAs(std::string_view ending, DiskIdentity const & disk, Range const & range, Bytes backup);
    Result<StoredFile> createNext(std::uint64_t & sequence);
    Closed giveUp(std::string const & name, std::unique_ptr<StoredFile> open);

    Storage & storage_;
    std::uint64_t lastSequence_ = 0;
};

// No backup can be kept any more: there is a file with the highest number that a name can have. No storage fails with
// it.
inline constexpr std::uint32_t noNumberLeft = 534;

struct FoundEntry {
    enum class State {
        Owed,    // left behind by a process that is gone
        InUse,   // of a process that runs
        Damaged, // no entry can be read from it
    };
    std::string name;
    State state = State::Damaged;
    std::uint32_t error = 0;     // the storage cannot read it; it may be whole all the same
    Entry entry;                 // of an owed one
    std::uint64_t size = 0;      // of the file
    std::uint32_t headerSum = 0; // CRC-32C of its header, or of what there is of one

    bool operator==(FoundEntry const &) const = default;
};

// What lies in a storage.
struct Survey {
    std::vector<FoundEntry> entries;     // in the order in which they were made
    std::vector<std::string> unfinished; // files that owe nothing: never completed, so that nothing was overwritten, or
                                         // given up and not removed
    std::uint32_t error = 0;             // the storage cannot be read
};
Survey survey(Storage & storage);

// A second look at a file that was found, before anything is done to it: another process may have given it up since,
// and a run have taken its name.
struct Refound {
    enum class State { Same, Gone, InUse, Replaced, Unreadable };
    State state = State::Gone;
    std::unique_ptr<StoredBytes> file; // of the same one; null when that cannot be read either time
    std::uint32_t error = 0;           // of one that cannot be read now
};
Refound findAgain(Storage & storage, FoundEntry const & found);

// True when the backup of an entry is what was kept. Reads all of it.
struct BackupCheck {
    bool intact = false;
    std::uint32_t error = 0;
};
BackupCheck checkBackup(StoredBytes & file, Entry const & entry);

// Reads a part of the backup.
std::uint32_t readBackup(StoredBytes & file, std::uint64_t offset, std::span<std::byte> buffer);

} // namespace journal
