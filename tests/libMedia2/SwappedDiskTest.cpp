// A drive that preserves data, on a disk that may be another one than the device tree tells of.
#include "SwappedDisk.h"

#include <string>
#include <vector>

namespace test {
namespace {

using Lines = std::vector<std::string>;

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
} // namespace test
