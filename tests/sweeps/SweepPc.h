// A described PC for many command lines in one process: the bytes of its disk and the backups of its journal outlast
// each of them, and each can be given a fault.
#pragma once

#include "Faults.h"

#include "host/Startup.h"
#include "journal/Storage.h"
#include "machine/DiskStore.h"
#include "machine/ScriptedUser.h"
#include "module/PcBuilder.h"
#include "support/MemoryStorage.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace test {

inline constexpr char const * namedFolder = "kept"; // for the journal; every other folder is the usual one

// What a host and a person saw of one command line.
struct Outcome {
    int exitCode = -1;
    std::string result;                                             // the merged one
    std::vector<std::pair<std::string, std::string>> deviceResults; // device, result
    std::vector<std::string> events;                                // keys of warnings and errors
    std::vector<std::uint64_t> notRestored;                         // the first sector of each such event
    std::vector<std::string> recovered;                             // the outcome of each backup
    std::size_t owedElsewhere = 0;                                  // backups in folders that were not named
    std::set<std::string> told; // events, log lines and lines of the error stream; "#" for each number
    std::string errors;
    std::shared_ptr<CallRecord> calls;
};

// The only PC while it lives; disks of more than one do not share bytes.
class SweepPc {
public:
    explicit SweepPc(Json description);
    SweepPc(SweepPc const &) = delete;
    SweepPc & operator=(SweepPc const &) = delete;
    ~SweepPc();

    static SweepPc & current();

    // One call of the program. Questions are answered in this order; after the last answer nobody is there.
    Outcome call(std::vector<std::string> const & arguments, std::optional<Fault> const & fault = std::nullopt,
                 std::vector<machine::ScriptedUser::Answer> const & answers = {});

    void describe(Json description) { description_ = std::move(description); } // from now on

    // The disk's bytes and the folders for backups, as they were at first.
    void startAgain();

    // The same at another time.
    struct Saved {
        std::vector<std::byte> bytes;
        std::map<std::string, std::vector<std::byte>> journal;
        std::map<std::string, std::vector<std::byte>> usual;
    };
    Saved save() const;
    void load(Saved const & saved);

    std::vector<std::uint64_t> changedSectors() const;
    support::MemoryDisk & journalDisk() { return *journal_; }
    bool isFolderNoted() const;                  // so that later commands look into the one that was named
    std::unique_ptr<journal::Storage> journal(); // without a fault

    // For the program: its PC, the folder that was named for its journal, and the usual one.
    host::Pc boot();
    std::unique_ptr<journal::Storage> openJournal();
    std::unique_ptr<journal::Storage> openUsualFolder();

private:
    class Bytes;

    Json description_;
    std::shared_ptr<Bytes> bytes_; // of the disk on a root port
    std::shared_ptr<support::MemoryDisk> journal_;
    std::shared_ptr<support::MemoryDisk> usual_;
    std::shared_ptr<CallRecord> calls_;
    std::vector<machine::ScriptedUser::Answer> answers_;
};

} // namespace test
