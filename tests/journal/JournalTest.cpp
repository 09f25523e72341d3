#include "journal/Journal.h"
#include "support/MemoryStorage.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using journal::FoundEntry;
using journal::Journal;
using support::MemoryDisk;
using support::MemoryStorage;
using Lines = std::vector<std::string>;

constexpr std::uint32_t sectorSize = 512;

class JournalTest : public testing::Test {
protected:
    static std::vector<std::byte> bytes(std::size_t sectors, unsigned char value = 7) {
        return std::vector<std::byte>(sectors * sectorSize, std::byte{value});
    }

    Journal::Kept keep(std::uint64_t firstSector, unsigned char value = 7) {
        return journal_.keep(stick_, {firstSector, 4}, bytes(4, value));
    }

    // As after the end of the process.
    void abandon(Journal::Kept & kept) { kept.entry.reset(); }

    FoundEntry onlyEntry() {
        journal::Survey const found = journal::survey(storage_);
        EXPECT_EQ(found.entries.size(), 1U);
        return found.entries.empty() ? FoundEntry{} : found.entries.front();
    }

    journal::DiskIdentity const stick_{"4C530001", "Stick", 1'000'000, sectorSize};
    std::shared_ptr<MemoryDisk> disk_ = std::make_shared<MemoryDisk>();
    MemoryStorage storage_{disk_};
    Journal journal_{storage_};
};

TEST_F(JournalTest, AnAbandonedBackupIsFoundWithAllThatIsKnownOfIt) {
    Journal::Kept kept = keep(40);
    ASSERT_TRUE(kept.entry);
    abandon(kept);

    FoundEntry const found = onlyEntry();
    EXPECT_EQ(found.state, FoundEntry::State::Owed);
    EXPECT_EQ(found.entry.disk, stick_);
    EXPECT_EQ(found.entry.range, (journal::Range{40, 4}));
    auto const opened = storage_.open(found.name);
    ASSERT_TRUE(opened.file);
    EXPECT_TRUE(journal::checkBackup(*opened.file, found.entry).intact);
    auto read = bytes(1, 0);
    EXPECT_EQ(journal::readBackup(*opened.file, 3 * sectorSize, read), 0U);
    EXPECT_EQ(read, bytes(1));
    EXPECT_NE(journal::readBackup(*opened.file, 4 * sectorSize, read), 0U);
}

TEST_F(JournalTest, ABackupIsInForceOnlyOnceItIsSafe) {
    Journal::Kept const kept = keep(0);
    ASSERT_TRUE(kept.entry);
    EXPECT_EQ(disk_->done,
              (Lines{"list", "create backup-000001.new", "list", "write backup-000001.new", "write backup-000001.new",
                     "sync backup-000001.new", "rename backup-000001.new backup-000001.undo", "syncNames"}));
}

TEST_F(JournalTest, ClosingRemovesTheEntryForGood) {
    Journal::Kept kept = keep(0);
    disk_->done.clear();
    EXPECT_EQ(journal_.close(std::move(*kept.entry)).error, 0U);
    EXPECT_EQ(disk_->done, (Lines{"remove backup-000001.undo", "syncNames"}));
    EXPECT_TRUE(disk_->names().empty());
}

// Else another command would take it for one of a run that was cut short.
TEST_F(JournalTest, AnEntryIsInUseUntilItsFileIsGone) {
    Journal::Kept kept = keep(0);
    std::optional<FoundEntry::State> seen;
    disk_->beforeRemove = [&] { seen = onlyEntry().state; };
    EXPECT_EQ(journal_.close(std::move(*kept.entry)).error, 0U);
    EXPECT_EQ(seen, FoundEntry::State::InUse);
    EXPECT_TRUE(disk_->names().empty());
}

TEST_F(JournalTest, AnEntryOfARunningProcessIsInUse) {
    Journal::Kept const kept = keep(0);
    EXPECT_EQ(onlyEntry().state, FoundEntry::State::InUse);
}

TEST_F(JournalTest, EntriesComeInTheOrderInWhichTheyWereMade) {
    std::vector<Journal::Kept> all;
    for (std::uint64_t sector : {80U, 40U, 80U}) {
        all.push_back(keep(sector));
    }
    all.clear();
    Journal other(storage_); // of a later process
    Journal::Kept fourth = other.keep(stick_, {0, 4}, bytes(4));
    abandon(fourth);

    std::vector<std::uint64_t> sectors;
    for (FoundEntry const & each : journal::survey(storage_).entries) {
        sectors.push_back(each.entry.range.firstSector);
    }
    EXPECT_EQ(sectors, (std::vector<std::uint64_t>{80, 40, 80, 0}));
}

TEST_F(JournalTest, ANumberThatAnotherProcessTakesMeanwhileIsLeftToIt) {
    Journal::Kept first = keep(0);
    Journal other(storage_);
    Journal::Kept second = other.keep(stick_, {4, 4}, bytes(4));
    Journal::Kept third = keep(8);
    EXPECT_EQ(disk_->names(), (Lines{"backup-000001.undo", "backup-000002.undo", "backup-000003.undo"}));
}

// It has got as far as its proper name by the time that the number is taken.
TEST_F(JournalTest, ANumberThatAnotherProcessHasUsedSinceTheListingIsLeftToIt) {
    Journal other(storage_);
    Journal::Kept theirs;
    disk_->beforeCreate = [&] { theirs = other.keep(stick_, {4, 4}, bytes(4, 9)); };
    Journal::Kept mine = keep(0);
    ASSERT_TRUE(mine.entry);
    EXPECT_EQ(theirs.entry->name, "backup-000001.undo");
    EXPECT_EQ(mine.entry->name, "backup-000002.undo");
    EXPECT_EQ(disk_->names(), (Lines{"backup-000001.undo", "backup-000002.undo"}));
}

TEST_F(JournalTest, NoBackupGetsANameThatNobodyKnowsForOne) {
    disk_->put("backup-999999999999999998.done", {});
    Journal::Kept const last = keep(0);
    ASSERT_TRUE(last.entry);
    EXPECT_EQ(journal::survey(storage_).entries.size(), 1U);
    EXPECT_EQ(keep(4).error, journal::noNumberLeft);
    EXPECT_EQ(Journal(storage_).tryOut(), journal::noNumberLeft);
    EXPECT_EQ(disk_->names(), (Lines{"backup-999999999999999998.done", "backup-999999999999999999.undo"}));
}

TEST_F(JournalTest, NumbersGoUpBeyondTheirUsualLength) {
    disk_->put("backup-999999.undo", {});
    Journal::Kept const kept = keep(0);
    ASSERT_TRUE(kept.entry);
    EXPECT_EQ(kept.entry->name, "backup-1000000.undo");
    EXPECT_EQ(kept.entry->entry.sequence, 1000000U);
}

// Whichever step fails, and whether the storage works again afterwards: no entry is in force.
TEST_F(JournalTest, AFailureAtAnyStepKeepsNothing) {
    for (bool const forGood : {false, true}) {
        int call = 1;
        for (;; ++call) {
            ASSERT_LT(call, 50);
            auto const disk = std::make_shared<MemoryDisk>();
            disk->failsFrom = call;
            disk->failsTo = forGood ? std::nullopt : std::optional(call);
            MemoryStorage storage(disk);
            Journal journal(storage);
            Journal::Kept kept = journal.keep(stick_, {0, 4}, bytes(4));
            if (disk->calls < call) {
                EXPECT_TRUE(kept.entry);
                break;
            }
            EXPECT_FALSE(kept.entry) << call;
            EXPECT_EQ(kept.error, 1117U) << call;
            disk->failsFrom.reset();
            if (!forGood) {
                EXPECT_TRUE(journal::survey(storage).entries.empty()) << call;
                EXPECT_TRUE(disk->names().empty()) << call;
            }
        }
        EXPECT_GT(call, 6);
    }
}

// It has its proper name, but that is not known to be safe, and then nothing takes it away.
TEST_F(JournalTest, AFailedBackupThatStaysInForceIsTold) {
    int const sync = 8; // of the names
    disk_->failsFrom = sync;
    Journal::Kept const kept = keep(0);
    EXPECT_FALSE(kept.entry);
    EXPECT_EQ(kept.error, 1117U);
    EXPECT_TRUE(kept.left.isOwed);
    EXPECT_EQ(kept.left.file, "backup-000001.undo");
    disk_->failsFrom.reset();
    EXPECT_EQ(journal::survey(storage_).entries.size(), 1U);
}

TEST_F(JournalTest, AFailedBackupThatCouldBeRemovedIsNotOwed) {
    disk_->failsFrom = disk_->failsTo = 8;
    Journal::Kept const kept = keep(0);
    EXPECT_EQ(kept.error, 1117U);
    EXPECT_FALSE(kept.left.isOwed);
    EXPECT_TRUE(disk_->names().empty());
}

TEST_F(JournalTest, AFailedClosingIsTold) {
    for (int const call : {9, 10}) {
        auto const disk = std::make_shared<MemoryDisk>();
        MemoryStorage storage(disk);
        Journal journal(storage);
        Journal::Kept kept = journal.keep(stick_, {0, 4}, bytes(4));
        disk->failsFrom = call;
        Journal::Closed const closed = journal.close(std::move(*kept.entry));
        EXPECT_EQ(closed.error, 1117U);
        EXPECT_TRUE(closed.isOwed); // or may be again
        EXPECT_EQ(closed.file, call == 9 ? "backup-000001.undo" : "");
    }
}

TEST_F(JournalTest, AnEntryThatCannotBeRemovedIsOwedNoMore) {
    Journal::Kept kept = keep(0);
    disk_->failsFrom = disk_->calls + 1;
    disk_->failsTo = disk_->failsFrom;
    disk_->done.clear();
    Journal::Closed const closed = journal_.close(std::move(*kept.entry));
    EXPECT_EQ(disk_->done, (Lines{"rename backup-000001.undo backup-000001.done", "syncNames"}));
    EXPECT_EQ(closed.error, 1117U);
    EXPECT_FALSE(closed.isOwed);
    EXPECT_EQ(closed.file, "backup-000001.done");

    disk_->losePower({});
    journal::Survey const found = journal::survey(storage_);
    EXPECT_TRUE(found.entries.empty());
    EXPECT_EQ(found.unfinished, Lines{"backup-000001.done"});
    Journal later(storage_);
    Journal::Kept const other = later.keep(stick_, {0, 4}, bytes(4));
    EXPECT_EQ(other.entry->name, "backup-000002.undo"); // with a number under which it can be given up, too
}

// The removal fails, and then the change of the name, or the sync of it.
TEST_F(JournalTest, AnEntryThatMayComeBackIsOwed) {
    for (char const * const next : {"rename", "syncNames"}) {
        auto const disk = std::make_shared<MemoryDisk>();
        MemoryStorage storage(disk);
        Journal journal(storage);
        Journal::Kept kept = journal.keep(stick_, {0, 4}, bytes(4));
        kept.entry->file.reset();
        disk->failsFrom = disk->calls + 1;
        disk->failsTo = disk->failsFrom;
        disk->failing = next;
        Journal::Closed const closed = journal.close(kept.entry->name);
        EXPECT_EQ(closed.error, 1117U);
        EXPECT_TRUE(closed.isOwed);
        EXPECT_EQ(disk->names(), Lines{closed.file});
        disk->losePower({});
        EXPECT_EQ(journal::survey(storage).entries.size(), 1U);
    }
}

TEST_F(JournalTest, AFileThatIsNotWholeIsDamaged) {
    Journal::Kept kept = keep(0);
    abandon(kept);
    std::vector<std::byte> const whole = disk_->contents("backup-000001.undo");
    for (std::size_t size : {std::size_t{0}, std::size_t{100}, std::size_t{4096}, whole.size() - 1, whole.size() + 1}) {
        disk_->contents("backup-000001.undo").assign(whole.begin(), whole.end());
        disk_->contents("backup-000001.undo").resize(size);
        EXPECT_EQ(onlyEntry().state, FoundEntry::State::Damaged) << size;
    }
    disk_->contents("backup-000001.undo") = whole;
    EXPECT_EQ(onlyEntry().state, FoundEntry::State::Owed);
}

TEST_F(JournalTest, AFileThatCannotBeReadNowMayBeWhole) {
    Journal::Kept kept = keep(0);
    abandon(kept);
    for (int const call : {2, 3}) { // after the list: the opening, and the reading of the header
        disk_->failsFrom = disk_->calls + call;
        disk_->failsTo = disk_->failsFrom;
        FoundEntry const found = onlyEntry();
        EXPECT_EQ(found.state, FoundEntry::State::Damaged) << call;
        EXPECT_EQ(found.error, 1117U) << call;
    }
    EXPECT_EQ(onlyEntry().state, FoundEntry::State::Owed);
    EXPECT_EQ(onlyEntry().error, 0U);
}

TEST_F(JournalTest, AFileThatWasFoundIsKnownAgain) {
    using State = journal::Refound::State;
    Journal::Kept kept = keep(0);
    abandon(kept);
    std::vector<std::byte> const whole = disk_->contents("backup-000001.undo");
    for (std::size_t const size : {std::size_t{0}, std::size_t{100}, whole.size()}) {
        disk_->contents("backup-000001.undo").assign(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        journal::Refound const again = journal::findAgain(storage_, onlyEntry());
        EXPECT_EQ(again.state, State::Same) << size;
        EXPECT_TRUE(again.file) << size;
    }
    FoundEntry const found = onlyEntry();
    disk_->failsFrom = disk_->failsTo = disk_->calls + 1;
    journal::Refound const failing = journal::findAgain(storage_, found);
    EXPECT_EQ(failing.state, State::Unreadable);
    EXPECT_EQ(failing.error, 1117U);
    ASSERT_EQ(storage_.remove(found.name), 0U);
    EXPECT_EQ(journal::findAgain(storage_, found).state, State::Gone);
}

// Of the same sectors with the same bytes.
TEST_F(JournalTest, AnotherBackupUnderTheSameNameIsNotTakenForTheOneThatWasFound) {
    using State = journal::Refound::State;
    Journal::Kept kept = keep(0);
    abandon(kept);
    FoundEntry const found = onlyEntry();
    ASSERT_EQ(journal_.close(found.name).error, 0U);
    Journal other(storage_);
    Journal::Kept later = other.keep(stick_, {0, 4}, bytes(4));
    ASSERT_EQ(later.entry->name, found.name);
    EXPECT_EQ(journal::findAgain(storage_, found).state, State::InUse);
    abandon(later);
    journal::Refound const again = journal::findAgain(storage_, found);
    EXPECT_EQ(again.state, State::Replaced);
    EXPECT_FALSE(again.file);
    disk_->contents(found.name).resize(10);
    EXPECT_EQ(journal::findAgain(storage_, found).state, State::Replaced);
}

TEST_F(JournalTest, AFileThatCouldNotBeReadIsKnownAgainOnlyAsLongAsItCannot) {
    using State = journal::Refound::State;
    Journal::Kept kept = keep(0);
    abandon(kept);
    disk_->failing = "open";
    FoundEntry const found = onlyEntry();
    EXPECT_EQ(journal::findAgain(storage_, found).state, State::Same);
    disk_->failing.clear();
    EXPECT_EQ(journal::findAgain(storage_, found).state, State::Replaced);
}

TEST_F(JournalTest, ABackupWithAWrongByteIsNotIntact) {
    Journal::Kept kept = keep(0);
    abandon(kept);
    disk_->contents("backup-000001.undo").back() ^= std::byte{1};
    FoundEntry const found = onlyEntry();
    auto const opened = storage_.open(found.name);
    journal::BackupCheck const check = journal::checkBackup(*opened.file, found.entry);
    EXPECT_FALSE(check.intact);
    EXPECT_EQ(check.error, 0U);

    disk_->failsFrom = disk_->calls + 1;
    EXPECT_EQ(journal::checkBackup(*opened.file, found.entry).error, 1117U);
}

TEST_F(JournalTest, FilesOfOthersAreLeftAlone) {
    for (char const * const name : {"notes.txt", "backup-.undo", "backup-12a.undo", "backup-000001.undo.bak",
                                    "Backup-000001.undo", "backup-1234567890123456789.undo"}) {
        disk_->put(name, {});
    }
    journal::Survey const found = journal::survey(storage_);
    EXPECT_TRUE(found.entries.empty());
    EXPECT_TRUE(found.unfinished.empty());
    EXPECT_EQ(keep(0).entry->name, "backup-000001.undo");
}

TEST_F(JournalTest, AStorageThatCannotBeReadIsTold) {
    disk_->failsFrom = 1;
    EXPECT_EQ(journal::survey(storage_).error, 1117U);
}

TEST_F(JournalTest, TryingOutDoesAllThatABackupTakesAndLeavesNothing) {
    EXPECT_EQ(journal_.tryOut(), 0U);
    EXPECT_TRUE(disk_->names().empty());
    int const calls = disk_->calls;
    for (int call = 1; call <= calls; ++call) {
        auto const disk = std::make_shared<MemoryDisk>();
        disk->failsFrom = call;
        disk->error = 112;
        MemoryStorage storage(disk);
        EXPECT_EQ(Journal(storage).tryOut(), 112U) << call;
    }
}

TEST_F(JournalTest, ATrialThatWasCutShortIsNoEntry) {
    for (int call = 2;; ++call) {
        ASSERT_LT(call, 50);
        auto const disk = std::make_shared<MemoryDisk>();
        disk->failsFrom = call;
        MemoryStorage storage(disk);
        Journal(storage).tryOut();
        bool const isOver = disk->calls < call;
        disk->failsFrom.reset();
        EXPECT_TRUE(journal::survey(storage).entries.empty()) << call;
        EXPECT_EQ(journal::survey(storage).unfinished, disk->names()) << call;
        if (isOver) {
            break;
        }
    }
}

} // namespace
