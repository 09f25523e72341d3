// The same in a reader of cards, which says the same of itself whatever card is in it.
#include "SwappedDisk.h"

#include <string>
#include <vector>

namespace test {
namespace {

using Lines = std::vector<std::string>;

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
    void expectNotBackedUp() {
        EXPECT_FALSE(backUp());
        EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_MEDIA_CHANGED);
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
    expectNotBackedUp();
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
    expectNotBackedUp();
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
    expectNotBackedUp();
    expectNotOverwritten();
    pc_->putBack();
    open();
    expectNotBackedUp(); // by the size of the larger one
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
    expectNotBackedUp();
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
        expectNotBackedUp();
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

} // namespace
} // namespace test
