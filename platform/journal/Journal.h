// Backups of what is about to be overwritten, kept until it is back: one file for each.
//
// A file gets its final name once its bytes are safe, so whatever bears another name was never relied on, and whatever
// bears it is owed to its disk.
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

    // Keeps a backup. When it returns without an error, a loss of power leaves the backup where it is. The error is the
    // storage's. Blocks for its writes.
    struct Kept {
        std::optional<OpenEntry> entry;
        std::uint32_t error = 0;
    };
    Kept keep(DiskIdentity const & disk, Range const & range, Bytes backup);

    // Gives up an entry whose bytes are back. The error tells that the entry may still be there.
    std::uint32_t close(OpenEntry entry);
    std::uint32_t close(std::string const & name);

    // Tries out what keeping a backup takes: 0, or the error of the first step that fails.
    std::uint32_t tryOut();

private:
    Kept keepAs(std::string_view ending, DiskIdentity const & disk, Range const & range, Bytes backup);
    Result<StoredFile> createNext(std::uint64_t & sequence);

    Storage & storage_;
    std::uint64_t lastSequence_ = 0;
};

struct FoundEntry {
    enum class State {
        Owed,    // left behind by a process that is gone
        InUse,   // of a process that runs
        Damaged, // no entry can be read from it
    };
    std::string name;
    State state = State::Damaged;
    std::uint32_t error = 0; // the storage cannot read it; it may be whole all the same
    Entry entry;             // of an owed one
};

// What lies in a storage.
struct Survey {
    std::vector<FoundEntry> entries;     // in the order in which they were made
    std::vector<std::string> unfinished; // files of backups that were never completed, so that nothing was overwritten
    std::uint32_t error = 0;             // the storage cannot be read
};
Survey survey(Storage & storage);

// True when the backup of an entry is what was kept. Reads all of it.
struct BackupCheck {
    bool intact = false;
    std::uint32_t error = 0;
};
BackupCheck checkBackup(StoredBytes & file, Entry const & entry);

// Reads a part of the backup.
std::uint32_t readBackup(StoredBytes & file, std::uint64_t offset, std::span<std::byte> buffer);

} // namespace journal
