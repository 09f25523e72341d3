// A drive that preserves data, on a disk that may be another one than the device tree tells of.
#include "journal/Journal.h"
#include "journal/Preservation.h"
#include "libMedia2.h"
#include "support/DiskPc.h"
#include "support/MemoryStorage.h"
#include "support/StoredDisk.h"
#include "support/SwappedPc.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>

namespace {

using libMedia2::OSDrive;
using support::disk1;
using support::MemoryDisk;
using support::MemoryStorage;
using support::Pages;
using Lines = std::vector<std::string>;

constexpr std::uint32_t sectorSize = 512;
constexpr std::uint32_t count = 4;

struct Told {
    std::string serialNumber;
    std::string model = "Stick";
};

std::shared_ptr<support::StoredBytes> bytesOfADisk(std::size_t sectors = 64) {
    return std::make_shared<support::StoredBytes>(sectors * sectorSize);
}

std::unique_ptr<machine::Machine> pcWith(Told const & disk, std::shared_ptr<support::StoredBytes> const & bytes,
                                         std::uint32_t sizeOfSector = sectorSize) {
    return support::pcWithStored(bytes, sizeOfSector,
                                 R"("serialNumber": ")" + disk.serialNumber + R"(", "name": ")" + disk.model + '"');
}

class SwappedDisk : public testing::Test {
protected:
    void begin(Told const & before, Told const & now) {
        beginOn(before, now);
        open();
    }
    // The right disk, and another one in its place by the next time that it is opened.
    void beginWithTheRightOne() {
        beginOn({"S1"}, {"S2"});
        pc_->putBack();
        open();
    }
    void beginOn(Told const & before, Told const & now) { beginOn(pcWith(before, right_), pcWith(now, another_)); }
    void beginOn(std::unique_ptr<machine::Machine> before, std::unique_ptr<machine::Machine> now) {
        pc_ = std::make_unique<support::SwappedPc>(std::move(before), std::move(now));
        inUse_.emplace(*pc_);
        preservation_.emplace(std::make_unique<MemoryStorage>(storage_));
        pass_.emplace(disk1);
    }
    void open() {
        slot_.release();
        nuv::CreateFileOpenArgs args;
        args.fileName = disk1;
        args.desiredAccess = kernel::GENERIC_READ | kernel::GENERIC_WRITE;
        args.creationDisposition = kernel::OPEN_EXISTING;
        args.flagsAndAttributes = kernel::FILE_FLAG_NO_BUFFERING;
        slot_ = nuv::SharedFileHandle(new nuv::FileHandleResManager(args));
        drive_ = drive_ ? std::move(drive_) : std::make_unique<OSDrive>(slot_, nullptr);
    }
    void swapAndOpen() {
        pc_->swapAgain();
        open();
    }
    ~SwappedDisk() override {
        drive_.reset();
        slot_.release();
        pass_.reset();
    }

    bool backUp() { return drive_->readSector(8, count, backup_.data(), backup_.size()); }
    bool overwrite() { return drive_->writeSector(8, count, pattern_.data(), pattern_.size()); }
    bool restore() { return drive_->writeSector(8, count, backup_.data(), backup_.size()); }
    journal::DiskIdentity ofOnlyBackup() {
        pass_.reset();
        MemoryStorage storage(storage_);
        auto const found = journal::survey(storage).entries;
        return found.size() == 1 ? found[0].entry.disk : journal::DiskIdentity();
    }

    std::shared_ptr<support::StoredBytes> const right_ = bytesOfADisk();
    std::shared_ptr<support::StoredBytes> const another_ = bytesOfADisk();
    std::vector<std::byte> const blank_ = right_->bytes;
    std::shared_ptr<MemoryDisk> storage_ = std::make_shared<MemoryDisk>();
    std::unique_ptr<support::SwappedPc> pc_;
    std::optional<machine::InUse> inUse_;
    std::optional<journal::Preservation> preservation_;
    std::optional<journal::PassGuard> pass_;
    nuv::SharedFileHandle slot_;
    std::unique_ptr<OSDrive> drive_;
    Pages backup_{std::size_t{count} * sectorSize};
    Pages pattern_{std::size_t{count} * sectorSize, 0xEE};
};

TEST_F(SwappedDisk, IsNotBackedUpAsTheOneThatWasThere) {
    for (Told const & now : {Told{"S2"}, Told{""}, Told{"S1", "Other"}}) {
        SCOPED_TRACE(now.serialNumber + ", " + now.model);
        begin({"S1"}, now);
        kernel::SetLastError(42);
        EXPECT_FALSE(backUp());
        EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_MEDIA_CHANGED);
        EXPECT_EQ(drive_->lastErrorType(), libMedia2::Drive::Other);
        EXPECT_TRUE(storage_->names().empty());
        drive_.reset();
        slot_.release();
        pass_.reset();
    }
}

// Whoever agrees to go on without a backup has agreed to another disk.
TEST_F(SwappedDisk, IsNotOverwrittenWithoutABackupEither) {
    begin({"S1"}, {"S2"});
    EXPECT_FALSE(backUp());
    EXPECT_FALSE(overwrite());
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_MEDIA_CHANGED);
    EXPECT_EQ(drive_->lastErrorType(), libMedia2::Drive::Other);
    pass_.reset();
    EXPECT_TRUE(backUp());
    EXPECT_FALSE(backup_.isAll(0xEE));
}

TEST_F(SwappedDisk, OneThatToldNothingAtFirstIsTakenForTheOneInTheTree) {
    begin({"", ""}, {"S1"});
    EXPECT_TRUE(backUp());
    EXPECT_EQ(pc_->propertyQueries, 0);
}

TEST_F(SwappedDisk, OneWithASerialNumberIsNotOneWithout) {
    begin({""}, {"S1"});
    EXPECT_FALSE(backUp());
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_MEDIA_CHANGED);
}

TEST_F(SwappedDisk, TheSameDiskIsKnownAgainWhateverItsTexts) {
    Told const disk{R"( S\u00e91\u0000 2 )", R"(St\u00ef ck )"};
    begin(disk, disk);
    kernel::SetLastError(42);
    EXPECT_TRUE(backUp());
    EXPECT_EQ(kernel::GetLastError(), 42U);
    EXPECT_EQ(storage_->names(), Lines{"backup-000001.undo"});
}

TEST_F(SwappedDisk, TextsWithoutEndAreKnownAgain) {
    std::string const text(5000, 'x');
    begin({text, text}, {text, text});
    EXPECT_TRUE(backUp());
}

TEST_F(SwappedDisk, ADiskThatDoesNotKnowTheQuestionIsTakenForTheOneInTheTree) {
    for (std::uint32_t const error : {kernel::ERROR_INVALID_FUNCTION, kernel::ERROR_NOT_SUPPORTED}) {
        beginOn({"S1"}, {"S2"});
        pc_->propertyError = error;
        open();
        kernel::SetLastError(42);
        EXPECT_TRUE(backUp());
        EXPECT_EQ(kernel::GetLastError(), 42U);
        EXPECT_TRUE(overwrite());
        EXPECT_EQ(ofOnlyBackup().serialNumber, "S1");
        drive_.reset();
        slot_.release();
        storage_ = std::make_shared<MemoryDisk>();
    }
}

TEST_F(SwappedDisk, ADiskThatDoesNotAnswerIsTakenForTheOneInTheTreeOnlyWhereItHasNeverTold) {
    begin({"S1"}, {"S1"});
    pc_->propertyError = kernel::ERROR_IO_DEVICE;
    EXPECT_FALSE(backUp());
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_IO_DEVICE);
    drive_.reset();
    slot_.release();
    pass_.reset();

    begin({"", ""}, {"", ""});
    pc_->propertyError = kernel::ERROR_IO_DEVICE;
    EXPECT_TRUE(backUp());
}

// Nothing is asked while the test's own writing is timed.
TEST_F(SwappedDisk, IsLookedForWheneverItIsOpenedAndAtEachBackupAndAtNoOtherTime) {
    begin({"S1"}, {"S1"});
    EXPECT_EQ(pc_->propertyQueries, 1);
    backUp();
    EXPECT_EQ(pc_->propertyQueries, 2);
    overwrite();
    restore();
    EXPECT_EQ(pc_->propertyQueries, 2);
    backUp();
    EXPECT_EQ(pc_->propertyQueries, 3);
    pass_.reset();
    backUp();
    open();
    EXPECT_EQ(pc_->propertyQueries, 3);
}

TEST_F(SwappedDisk, IsNeitherOverwrittenNorRestoredToAfterTheBackup) {
    beginWithTheRightOne();
    ASSERT_TRUE(backUp());
    kernel::SetLastError(42);
    swapAndOpen();
    EXPECT_EQ(kernel::GetLastError(), 42U);
    EXPECT_FALSE(overwrite());
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_MEDIA_CHANGED);
    EXPECT_EQ(drive_->lastErrorType(), libMedia2::Drive::Other);
    EXPECT_FALSE(restore());
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_MEDIA_CHANGED);
    EXPECT_EQ(another_->bytes, blank_);
    EXPECT_TRUE(storage_->names().empty()); // nothing was overwritten, so nothing is owed
    EXPECT_TRUE(preservation_->debts().empty());
}

TEST_F(SwappedDisk, WhatWasOverwrittenOnTheRightOneIsOwed) {
    beginWithTheRightOne();
    ASSERT_TRUE(backUp());
    ASSERT_TRUE(overwrite());
    swapAndOpen();
    EXPECT_FALSE(restore());
    EXPECT_EQ(another_->bytes, blank_);
    ASSERT_EQ(preservation_->debts().size(), 1U);
    EXPECT_EQ(ofOnlyBackup().serialNumber, "S1");
}

// The question whether to go on without a backup is when a person may take one disk for the other.
TEST_F(SwappedDisk, IsNotOverwrittenAfterABackupThatFailedOnTheRightOne) {
    beginWithTheRightOne();
    storage_->failsFrom = 1;
    ASSERT_FALSE(backUp());
    swapAndOpen();
    EXPECT_FALSE(overwrite());
    EXPECT_EQ(another_->bytes, blank_);
    pc_->putBack();
    open();
    EXPECT_TRUE(overwrite());
    EXPECT_NE(right_->bytes, blank_);
}

TEST_F(SwappedDisk, ADiskThatDoesNotAnswerAfterTheBackupIsNotOverwritten) {
    beginWithTheRightOne();
    ASSERT_TRUE(backUp());
    pc_->propertyError = kernel::ERROR_IO_DEVICE;
    open();
    EXPECT_FALSE(overwrite());
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_IO_DEVICE);
    EXPECT_EQ(right_->bytes, blank_);
    pc_->propertyError = 0;
    open();
    EXPECT_TRUE(overwrite());
    EXPECT_TRUE(restore());
    EXPECT_EQ(right_->bytes, blank_);
}

TEST_F(SwappedDisk, ADiskThatAnswersAtTheNextBackupIsOverwritten) {
    beginWithTheRightOne();
    ASSERT_TRUE(backUp());
    pc_->propertyError = kernel::ERROR_IO_DEVICE;
    open();
    EXPECT_FALSE(overwrite());
    EXPECT_FALSE(restore());
    pc_->propertyError = 0;
    ASSERT_TRUE(backUp()); // by the same handle
    EXPECT_TRUE(overwrite());
    EXPECT_TRUE(restore());
    EXPECT_EQ(right_->bytes, blank_);
}

// A reader of cards tells of itself, so all that tells one card from another is its size.
class SwappedCard : public SwappedDisk {
protected:
    // The test asks for the size before it asks the person whether to go on.
    void beginWithTheRightCard() { beginWithTheRightCard(pcWith(reader_, right_)); }
    void beginWithTheRightCard(std::unique_ptr<machine::Machine> pc) {
        beginOn(std::move(pc), pcWith(reader_, larger_));
        pc_->putBack();
        open();
        ASSERT_EQ(drive_->getSectorCount(), 64U);
    }
    void expectNotOverwritten() {
        EXPECT_FALSE(overwrite());
        EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_MEDIA_CHANGED);
        EXPECT_EQ(drive_->lastErrorType(), libMedia2::Drive::Other);
        EXPECT_EQ(larger_->bytes, blankOfLarger_);
    }

    Told const reader_{"R1", "Reader"};
    std::shared_ptr<support::StoredBytes> const larger_ = bytesOfADisk(128);
    std::vector<std::byte> const blankOfLarger_ = larger_->bytes;
};

TEST_F(SwappedCard, IsNotBackedUpAsTheOneThatWasInBeforeTheQuestion) {
    beginWithTheRightCard();
    swapAndOpen();
    EXPECT_FALSE(backUp());
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_MEDIA_CHANGED);
    EXPECT_EQ(drive_->lastErrorType(), libMedia2::Drive::Other);
    EXPECT_TRUE(storage_->names().empty());
    expectNotOverwritten();
    open(); // the question whether to go on without a backup was answered
    expectNotOverwritten();
}

TEST_F(SwappedCard, IsNotWrittenToWithoutABackupOfTheRightOne) {
    std::string const badSector =
        R"("serialNumber": "R1", "name": "Reader", "faults": [{"call": "read", "error": 23}])";
    beginWithTheRightCard(support::pcWithStored(right_, sectorSize, badSector));
    ASSERT_FALSE(backUp());
    ASSERT_EQ(kernel::GetLastError(), 23U);
    swapAndOpen();
    expectNotOverwritten();
    pc_->putBack();
    open();
    EXPECT_TRUE(overwrite());
}

TEST_F(SwappedCard, StaysAnotherOneWhileItDoesNotTellItsSize) {
    beginWithTheRightCard();
    storage_->failsFrom = 1;
    ASSERT_FALSE(backUp());
    swapAndOpen();
    pc_->lengthError = kernel::ERROR_NOT_READY;
    open();
    expectNotOverwritten();
    pc_->putBack();
    pc_->lengthError = 0;
    open();
    EXPECT_TRUE(overwrite());
}

TEST_F(SwappedCard, IsNeitherOverwrittenNorRestoredToAfterTheBackup) {
    beginWithTheRightCard();
    ASSERT_TRUE(backUp());
    kernel::SetLastError(42);
    swapAndOpen();
    EXPECT_EQ(kernel::GetLastError(), 42U);
    expectNotOverwritten();
    EXPECT_FALSE(restore());
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_MEDIA_CHANGED);
    EXPECT_EQ(larger_->bytes, blankOfLarger_);
    EXPECT_TRUE(storage_->names().empty()); // nothing was overwritten, so nothing is owed
    EXPECT_TRUE(preservation_->debts().empty());
}

TEST_F(SwappedCard, WhatWasOverwrittenOnTheRightOneIsOwed) {
    beginWithTheRightCard();
    ASSERT_TRUE(backUp());
    ASSERT_TRUE(overwrite());
    swapAndOpen();
    EXPECT_FALSE(restore());
    EXPECT_EQ(larger_->bytes, blankOfLarger_);
    ASSERT_EQ(preservation_->debts().size(), 1U);
    EXPECT_EQ(ofOnlyBackup(), (journal::DiskIdentity{"R1", "Reader", right_->size(), sectorSize}));
}

TEST_F(SwappedCard, IsNotBackedUpThroughAHandleThatWasOpenBefore) {
    beginWithTheRightCard();
    ASSERT_TRUE(backUp());
    ASSERT_TRUE(overwrite());
    ASSERT_TRUE(restore());
    pc_->lengthOfCard = 128 * sectorSize;
    EXPECT_FALSE(backUp());
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_MEDIA_CHANGED);
    EXPECT_FALSE(overwrite());
    EXPECT_EQ(right_->bytes, blank_);
    EXPECT_TRUE(storage_->names().empty());
    pc_->lengthOfCard.reset();
    EXPECT_TRUE(backUp());
    EXPECT_TRUE(overwrite());
}

// What is asked for once more does not become the size that the pass began with.
TEST_F(SwappedCard, IsNotTheRightOneBecauseItsSizeWasAskedFor) {
    beginWithTheRightCard();
    swapAndOpen();
    ASSERT_EQ(drive_->getSectorCount(), 128U);
    EXPECT_FALSE(backUp());
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_MEDIA_CHANGED);
    expectNotOverwritten();
    pc_->putBack();
    open();
    EXPECT_FALSE(backUp()); // by the size of the larger one
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_MEDIA_CHANGED);
    EXPECT_TRUE(storage_->names().empty());
    ASSERT_EQ(drive_->getSectorCount(), 64U);
    EXPECT_TRUE(backUp());
}

TEST_F(SwappedCard, OneWithOtherSectorsIsNotTheRightOneEither) {
    beginOn(pcWith(reader_, right_), pcWith(reader_, another_, 2 * sectorSize));
    pc_->putBack();
    open();
    ASSERT_EQ(drive_->getSectorCount(), 64U);
    swapAndOpen();
    EXPECT_FALSE(backUp());
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_MEDIA_CHANGED);
    EXPECT_FALSE(overwrite());
    EXPECT_EQ(another_->bytes, blank_);
}

TEST_F(SwappedCard, IsKnownByItsSizeAlsoInAReaderThatTellsNothing) {
    for (std::uint32_t const error : {0U, kernel::ERROR_NOT_SUPPORTED}) {
        Told const told = error == 0 ? Told{"", ""} : reader_;
        beginOn(pcWith(told, right_), pcWith(told, larger_));
        pc_->propertyError = error;
        pc_->putBack();
        open();
        ASSERT_EQ(drive_->getSectorCount(), 64U);
        swapAndOpen();
        EXPECT_FALSE(backUp());
        EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_MEDIA_CHANGED);
        expectNotOverwritten();
        drive_.reset();
        slot_.release();
        pass_.reset();
    }
}

TEST_F(SwappedCard, TheSameOneIsKnownAgain) {
    beginWithTheRightCard();
    kernel::SetLastError(42);
    open();
    EXPECT_TRUE(backUp());
    open();
    EXPECT_TRUE(overwrite());
    EXPECT_TRUE(restore());
    EXPECT_EQ(kernel::GetLastError(), 42U);
    EXPECT_EQ(right_->bytes, blank_);
}

TEST_F(SwappedCard, OneThatDoesNotTellItsSizeIsNotBackedUp) {
    for (std::uint32_t const error : {kernel::ERROR_NOT_READY, kernel::ERROR_INVALID_FUNCTION}) {
        beginWithTheRightCard();
        pc_->lengthError = error; // it has told before, so it knows the question
        EXPECT_FALSE(backUp());
        EXPECT_EQ(kernel::GetLastError(), error);
        EXPECT_TRUE(storage_->names().empty());
        pc_->lengthError = 0;
        EXPECT_TRUE(backUp());
        drive_.reset();
        slot_.release();
        pass_.reset();
    }
}

TEST_F(SwappedCard, OneWhoseSizeWasNeverToldIsNotBackedUp) {
    beginOn(reader_, reader_);
    pc_->lengthError = kernel::ERROR_IO_DEVICE;
    open();
    EXPECT_FALSE(backUp());
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_IO_DEVICE);
    EXPECT_EQ(drive_->lastErrorType(), libMedia2::Drive::Other);
    EXPECT_TRUE(storage_->names().empty());
    pc_->lengthError = 0;
    EXPECT_TRUE(backUp());
    EXPECT_EQ(storage_->names(), Lines{"backup-000001.undo"});
}

TEST_F(SwappedCard, OneThatDoesNotTellItsSizeAfterTheBackupIsNotOverwritten) {
    beginWithTheRightCard();
    ASSERT_TRUE(backUp());
    pc_->lengthError = kernel::ERROR_NOT_READY;
    open();
    EXPECT_FALSE(overwrite());
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_NOT_READY);
    EXPECT_FALSE(restore());
    EXPECT_EQ(right_->bytes, blank_);
    pc_->lengthError = 0;
    ASSERT_TRUE(backUp()); // by the same handle
    EXPECT_TRUE(overwrite());
    EXPECT_TRUE(restore());
    EXPECT_EQ(right_->bytes, blank_);
}

TEST_F(SwappedCard, IsLookedForWheneverTheReaderIsOpenedAndAtEachBackupAndAtNoOtherTime) {
    beginWithTheRightCard();
    EXPECT_EQ(pc_->lengthQueries, 1); // by the test itself
    backUp();
    EXPECT_EQ(pc_->lengthQueries, 2);
    open();
    EXPECT_EQ(pc_->lengthQueries, 3);
    overwrite();
    restore();
    EXPECT_EQ(pc_->lengthQueries, 3);
    pass_.reset();
    backUp();
    open();
    EXPECT_EQ(pc_->lengthQueries, 3);
}

// The restore is read back in pieces, each of whole sectors.
class OddSectors : public testing::TestWithParam<std::uint32_t> {};

INSTANTIATE_TEST_SUITE_P(Sizes, OddSectors, testing::Values(512, 520, 4096, 4160, 66560, 1048584),
                         testing::PrintToStringParamName());

TEST_P(OddSectors, ARestoreIsReadBackWhole) {
    std::uint32_t const size = GetParam();
    auto const bytes = std::make_shared<support::StoredBytes>(std::size_t{3} * 1048584 / size * size);
    auto const original = bytes->bytes;
    auto const pc = support::pcWithStored(bytes, size);
    machine::InUse const inUse(*pc);
    journal::Preservation const preservation(nullptr);
    journal::PassGuard const pass(disk1);
    nuv::SharedFileHandle slot = support::openShared(disk1);
    OSDrive drive(slot, nullptr);
    auto const sectors = static_cast<std::uint32_t>(bytes->size() / size);
    Pages backup(bytes->size());
    Pages pattern(bytes->size(), 0xEE);
    ASSERT_TRUE(drive.readSector(0, sectors, backup.data(), backup.size()));
    ASSERT_TRUE(drive.writeSector(0, sectors, pattern.data(), pattern.size()));
    EXPECT_TRUE(drive.writeSector(0, sectors, backup.data(), backup.size())) << kernel::GetLastError();
    EXPECT_EQ(bytes->bytes, original);
    EXPECT_TRUE(preservation.debts().empty());
}

} // namespace
