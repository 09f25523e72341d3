// A drive while data are to be preserved: what is kept, what is recognised as the restore, what counts as failed.
#include "journal/Preservation.h"
#include "libMedia2.h"
#include "machine/ImageFile.h"
#include "support/DiskPc.h"
#include "support/MemoryStorage.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>

namespace {

using journal::Debt;
using journal::Preservation;
using libMedia2::Drive;
using libMedia2::OSDrive;
using support::disk1;
using support::MemoryDisk;
using support::MemoryStorage;
using support::Pages;
using Lines = std::vector<std::string>;

constexpr std::uint32_t sectorSize = 512;
constexpr std::uint32_t count = 4;

class DrivePreservation : public testing::Test {
protected:
    void begin(std::string const & members = {}, std::string const & membersOfPc = {}) {
        pc_ = std::make_unique<support::DiskPc>(std::vector<std::string>{R"("serialNumber": "S1", "image": ")" +
                                                                         image_.inJson() + R"(")" +
                                                                         (members.empty() ? "" : ", " + members)},
                                                membersOfPc);
        preservation_.emplace(std::make_unique<MemoryStorage>(storage_));
        pass_.emplace(disk1);
        slot_ = support::openShared(disk1);
        drive_ = std::make_unique<OSDrive>(slot_, nullptr);
    }
    ~DrivePreservation() override {
        drive_.reset();
        slot_.release();
        pass_.reset();
    }

    bool read(std::uint64_t sector, Pages & buffer) {
        return drive_->readSector(sector, count, buffer.data(), buffer.size());
    }
    bool write(std::uint64_t sector, Pages & buffer) {
        return drive_->writeSector(sector, count, buffer.data(), buffer.size());
    }

    ImageFile image_{std::size_t{64} * sectorSize, '\x33'};
    std::shared_ptr<MemoryDisk> storage_ = std::make_shared<MemoryDisk>();
    std::unique_ptr<support::DiskPc> pc_;
    std::optional<Preservation> preservation_;
    std::optional<journal::PassGuard> pass_;
    nuv::SharedFileHandle slot_;
    std::unique_ptr<OSDrive> drive_;
    Pages backup_{std::size_t{count} * sectorSize};
    Pages pattern_{std::size_t{count} * sectorSize, 0xEE};
};

TEST_F(DrivePreservation, KeepsWhatIsReadUntilItIsWrittenBack) {
    begin();
    EXPECT_TRUE(read(8, backup_));
    EXPECT_EQ(storage_->names(), Lines{"backup-000001.undo"});
    EXPECT_TRUE(write(8, pattern_));
    EXPECT_EQ(storage_->names(), Lines{"backup-000001.undo"});
    EXPECT_TRUE(write(8, backup_));
    EXPECT_TRUE(storage_->names().empty());
    EXPECT_TRUE(preservation_->debts().empty());
}

TEST_F(DrivePreservation, KnowsTheDiskAgain) {
    begin();
    read(8, backup_);
    write(8, pattern_);
    drive_.reset();
    slot_.release();
    pass_.reset();
    ASSERT_EQ(preservation_->debts().size(), 1U);
    Debt const & debt = preservation_->debts().front();
    EXPECT_EQ(debt.disk, (journal::DiskIdentity{"S1", "Stick", std::uint64_t{64} * sectorSize, sectorSize}));
    EXPECT_EQ(debt.range, (journal::Range{8, count}));
    EXPECT_EQ(debt.reason, Debt::Reason::NotWritten);
    EXPECT_EQ(debt.file, "memory/backup-000001.undo");
}

TEST_F(DrivePreservation, OnlyTheBufferOfTheBackupAtItsPlaceIsTheRestore) {
    begin();
    read(8, backup_);
    EXPECT_TRUE(write(8, pattern_));
    EXPECT_TRUE(write(12, backup_));
    Pages copy(backup_.size(), 0x33);
    EXPECT_TRUE(write(8, copy));
    EXPECT_TRUE(drive_->writeSector(8, count - 1, backup_.data(), backup_.size() - sectorSize));
    EXPECT_EQ(storage_->names().size(), 1U);
    EXPECT_TRUE(write(8, backup_));
    EXPECT_TRUE(storage_->names().empty());
}

// Files are written while the backup is read and while it is restored, and never while the test writes its own.
TEST_F(DrivePreservation, DoesNothingWhileTheTestWritesItsPattern) {
    begin();
    read(8, backup_);
    int const calls = storage_->calls;
    write(8, pattern_);
    EXPECT_EQ(storage_->calls, calls);
}

TEST_F(DrivePreservation, ABackupThatCannotBeKeptIsAFailedRead) {
    begin();
    storage_->failsFrom = 3;
    storage_->error = 5;
    EXPECT_FALSE(read(8, backup_));
    EXPECT_EQ(kernel::GetLastError(), 5U);
    EXPECT_EQ(drive_->lastErrorType(), Drive::Other); // it is not the disk that refuses
    storage_->failsFrom.reset();
    EXPECT_TRUE(read(8, backup_));
}

// Its name cannot be synced, and then its file can neither be removed nor renamed: it is owed to the disk all the same.
TEST_F(DrivePreservation, ABackupThatFailsAndStaysIsTold) {
    begin();
    storage_->failsFrom = 8;
    EXPECT_FALSE(read(8, backup_));
    EXPECT_EQ(storage_->names(), Lines{"backup-000001.undo"});
    ASSERT_EQ(preservation_->debts().size(), 1U);
    Debt const & debt = preservation_->debts().front();
    EXPECT_EQ(debt.disk, (journal::DiskIdentity{"S1", "Stick", std::uint64_t{64} * sectorSize, sectorSize}));
    EXPECT_EQ(debt.range, (journal::Range{8, count}));
    EXPECT_EQ(debt.reason, Debt::Reason::NotClosed);
    EXPECT_EQ(debt.file, "memory/backup-000001.undo");
}

TEST_F(DrivePreservation, ABackupThatFailsAndMayComeBackIsTold) {
    begin();
    storage_->failing = "syncNames";
    EXPECT_FALSE(read(8, backup_));
    EXPECT_TRUE(storage_->names().empty());
    ASSERT_EQ(preservation_->debts().size(), 1U);
    EXPECT_EQ(preservation_->debts()[0].reason, Debt::Reason::NotClosed);
    EXPECT_EQ(preservation_->debts()[0].file, "memory/backup-000001.undo");
}

TEST_F(DrivePreservation, ABackupThatFailsAndGoesIsNoDebt) {
    begin();
    storage_->failsFrom = storage_->failsTo = 8;
    EXPECT_FALSE(read(8, backup_));
    EXPECT_TRUE(storage_->names().empty());
    EXPECT_TRUE(preservation_->debts().empty());
}

TEST_F(DrivePreservation, ABackupIsInUseUntilItsFileIsGone) {
    begin();
    MemoryStorage other(storage_);
    for (bool const isOverwritten : {true, false}) { // the next read gives up the backup of what was not overwritten
        read(8, backup_);
        std::optional<journal::FoundEntry::State> seen;
        storage_->beforeRemove = [&] { seen = journal::survey(other).entries.at(0).state; };
        isOverwritten ? write(8, backup_) : read(8, backup_);
        EXPECT_EQ(seen, journal::FoundEntry::State::InUse);
    }
}

TEST_F(DrivePreservation, AFailedReadKeepsNothing) {
    begin(R"("faults": [{"call": "read", "error": 23}])");
    EXPECT_FALSE(read(8, backup_));
    EXPECT_EQ(kernel::GetLastError(), 23U);
    EXPECT_EQ(storage_->calls, 0);
}

TEST_F(DrivePreservation, ARestoreThatFailsStaysOwed) {
    begin(R"("faults": [{"call": "write", "after": 1, "error": 1117}])");
    read(8, backup_);
    write(8, pattern_);
    EXPECT_FALSE(write(8, backup_));
    EXPECT_EQ(kernel::GetLastError(), 1117U);
    ASSERT_EQ(preservation_->debts().size(), 1U);
    EXPECT_EQ(preservation_->debts()[0].reason, Debt::Reason::NotWritten);
    EXPECT_EQ(storage_->names().size(), 1U);
}

TEST_F(DrivePreservation, ARestoreThatCannotBeReadBackHasFailed) {
    begin(R"("faults": [{"call": "read", "after": 1, "error": 23}])");
    read(8, backup_);
    write(8, pattern_);
    EXPECT_FALSE(write(8, backup_));
    EXPECT_EQ(kernel::GetLastError(), 23U);
    EXPECT_EQ(drive_->lastErrorType(), Drive::Other);
    ASSERT_EQ(preservation_->debts().size(), 1U);
    EXPECT_EQ(preservation_->debts()[0].reason, Debt::Reason::Differs);
    EXPECT_EQ(storage_->names().size(), 1U);
}

TEST_F(DrivePreservation, ABackupOfWhatWasNeverOverwrittenIsGivenUp) {
    begin();
    read(8, backup_);
    read(12, backup_);
    EXPECT_EQ(storage_->names(), Lines{"backup-000002.undo"});
    pass_.reset();
    EXPECT_TRUE(storage_->names().empty());
    EXPECT_TRUE(preservation_->debts().empty());
}

TEST_F(DrivePreservation, OutsideOfAPassADriveOnlyReadsAndWrites) {
    begin();
    pass_.reset();
    EXPECT_TRUE(read(8, backup_));
    EXPECT_TRUE(write(8, backup_));
    EXPECT_EQ(storage_->calls, 0);
}

TEST_F(DrivePreservation, ASuccessLeavesTheLastErrorAlone) {
    begin();
    kernel::SetLastError(42);
    read(8, backup_);
    write(8, pattern_);
    write(8, backup_);
    EXPECT_EQ(kernel::GetLastError(), 42U);
}

TEST_F(DrivePreservation, AnEntryThatCannotBeRemovedIsToldButTheRestoreHasSucceeded) {
    begin();
    read(8, backup_);
    write(8, pattern_);
    storage_->failsFrom = storage_->calls + 1;
    EXPECT_TRUE(write(8, backup_));
    ASSERT_EQ(preservation_->debts().size(), 1U);
    EXPECT_EQ(preservation_->debts()[0].reason, Debt::Reason::NotClosed);
    EXPECT_EQ(preservation_->debts()[0].file, "memory/backup-000001.undo");
}

TEST_F(DrivePreservation, AnEntryThatCannotBeRemovedIsLeftUnderAnotherName) {
    begin();
    read(8, backup_);
    write(8, pattern_);
    storage_->failsFrom = storage_->calls + 1;
    storage_->failsTo = storage_->failsFrom;
    EXPECT_TRUE(write(8, backup_));
    EXPECT_EQ(storage_->names(), Lines{"backup-000001.done"});
    ASSERT_EQ(preservation_->debts().size(), 1U);
    EXPECT_EQ(preservation_->debts()[0].reason, Debt::Reason::NotClosed);
    EXPECT_EQ(preservation_->debts()[0].file, "memory/backup-000001.done");
}

TEST_F(DrivePreservation, WithoutMemoryToReadItBackARestoreHasFailed) {
    begin({}, R"("faults": [{"call": "allocate", "error": 8}])");
    read(8, backup_);
    write(8, pattern_);
    EXPECT_FALSE(write(8, backup_));
    EXPECT_EQ(kernel::GetLastError(), 8U);
    ASSERT_EQ(preservation_->debts().size(), 1U);
    EXPECT_EQ(preservation_->debts()[0].reason, Debt::Reason::Differs);
    EXPECT_EQ(storage_->names().size(), 1U);
}

} // namespace
