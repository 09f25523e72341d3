// The storage in a real folder.
#include "journal/Folder.h"
#include "journal/Journal.h"
#include "kernel/Files.h"
#include "support/Mounts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using journal::FoundEntry;
using journal::Journal;

class FolderTest : public testing::Test {
protected:
    FolderTest() {
        testing::TestInfo const * const info = testing::UnitTest::GetInstance()->current_test_info();
        top_ = fs::path(testing::TempDir()) / (std::string(info->test_suite_name()) + "." + info->name());
        fs::remove_all(top_);
    }
    ~FolderTest() override { fs::remove_all(top_); }

    std::string folder() const { return (top_ / "state" / "journal").string(); }
    std::size_t files() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder()), fs::directory_iterator()));
    }

    fs::path top_;
    journal::DiskIdentity const stick_{"4C530001", "Stick", 1'000'000, 512};
    std::vector<std::byte> const backup_ = std::vector<std::byte>(5 * 512, std::byte{0x77});
};

TEST_F(FolderTest, IsMadeWhenItIsFirstTriedOut) {
    auto const storage = journal::folderStorage(folder());
    EXPECT_TRUE(journal::survey(*storage).entries.empty());
    EXPECT_EQ(journal::survey(*storage).error, kernel::ERROR_PATH_NOT_FOUND);
    EXPECT_GT(storage->room().value_or(0), 0U);
    EXPECT_FALSE(fs::exists(top_));

    EXPECT_EQ(Journal(*storage).tryOut(), 0U);
    EXPECT_TRUE(fs::is_directory(folder()));
    EXPECT_EQ(files(), 0U);
}

// As when its disk is unmounted: what is kept in another folder in its place would be lost from sight.
TEST_F(FolderTest, IsNotMadeAgainWhenItHasGone) {
    auto const storage = journal::folderStorage(folder());
    Journal journal(*storage);
    ASSERT_EQ(journal.tryOut(), 0U);
    fs::remove_all(top_);
    EXPECT_EQ(journal.keep(stick_, {3, 5}, backup_).error, kernel::ERROR_PATH_NOT_FOUND);
    EXPECT_NE(storage->create("a").error, 0U);
    EXPECT_FALSE(fs::exists(top_));
}

TEST_F(FolderTest, KeepsABackupUntilItIsClosed) {
    auto const storage = journal::folderStorage(folder());
    ASSERT_EQ(storage->make(), 0U);
    Journal journal(*storage);
    Journal::Kept kept = journal.keep(stick_, {3, 5}, backup_);
    ASSERT_TRUE(kept.entry);
    EXPECT_EQ(journal::survey(*storage).entries.at(0).state, FoundEntry::State::InUse);
    std::string const name = kept.entry->name;
    EXPECT_EQ(fs::file_size(storage->pathOf(name)), 4096U + backup_.size());

    kept.entry->file.reset(); // as the end of the process does
    FoundEntry const found = journal::survey(*storage).entries.at(0);
    EXPECT_EQ(found.state, FoundEntry::State::Owed);
    EXPECT_EQ(found.entry, kept.entry->entry);
    {
        auto const opened = storage->open(name);
        ASSERT_TRUE(opened.file);
        EXPECT_TRUE(journal::checkBackup(*opened.file, found.entry).intact);
    }
    EXPECT_EQ(journal.close(name).error, 0U);
    EXPECT_EQ(files(), 0U);
}

TEST_F(FolderTest, TellsAnUnfinishedBackupFromAnOwedOne) {
    auto const storage = journal::folderStorage(folder());
    ASSERT_EQ(Journal(*storage).tryOut(), 0U);
    std::ofstream(fs::path(folder()) / "backup-000007.new") << "half";
    std::ofstream(fs::path(folder()) / "backup-000008.undo") << "half";
    std::ofstream(fs::path(folder()) / "notes.txt") << "mine";
    journal::Survey const found = journal::survey(*storage);
    EXPECT_EQ(found.unfinished, std::vector<std::string>{"backup-000007.new"});
    ASSERT_EQ(found.entries.size(), 1U);
    EXPECT_EQ(found.entries[0].state, FoundEntry::State::Damaged);
    EXPECT_EQ(found.entries[0].name, "backup-000008.undo");
}

TEST_F(FolderTest, FailuresCarryTheErrorOfTheSystem) {
    auto const storage = journal::folderStorage(folder());
    ASSERT_EQ(storage->make(), 0U);
    ASSERT_TRUE(storage->create("a").file);
    EXPECT_EQ(storage->open("backup-000001.undo").error, kernel::ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(storage->remove("backup-000001.undo"), kernel::ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(storage->create("a").error, journal::fileExists);
    EXPECT_EQ(storage->rename("b", "c"), kernel::ERROR_FILE_NOT_FOUND);
    std::vector<std::byte> byte(1);
    EXPECT_EQ(storage->open("a").file->read(0, byte), kernel::ERROR_HANDLE_EOF);
}

TEST_F(FolderTest, AFileThatIsBeingWrittenIsNotRemovedAsAbandoned) {
    auto const storage = journal::folderStorage(folder());
    ASSERT_EQ(storage->make(), 0U);
    auto written = storage->create("a").file;
    ASSERT_TRUE(written);
    EXPECT_EQ(storage->removeAbandoned("a"), kernel::ERROR_SHARING_VIOLATION);
    EXPECT_EQ(written->write(std::vector<std::byte>(1)), 0U);
    EXPECT_EQ(storage->rename("a", "b"), 0U);
    written.reset();
    EXPECT_EQ(storage->removeAbandoned("a"), kernel::ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(storage->removeAbandoned("b"), 0U);
    EXPECT_EQ(files(), 0U);
}

TEST_F(FolderTest, AFileThatIsBeingWrittenCanBeRemovedByItsWriter) {
    auto const storage = journal::folderStorage(folder());
    ASSERT_EQ(storage->make(), 0U);
    auto written = storage->create("a").file;
    ASSERT_TRUE(written);
    EXPECT_EQ(storage->remove("a"), 0U);
    written.reset();
    EXPECT_EQ(files(), 0U);
    EXPECT_EQ(storage->open("a").error, kernel::ERROR_FILE_NOT_FOUND);
}

TEST_F(FolderTest, NoFileIsRenamedIntoThePlaceOfAnother) {
    auto const storage = journal::folderStorage(folder());
    ASSERT_EQ(storage->make(), 0U);
    ASSERT_TRUE(storage->create("mine").file);
    ASSERT_TRUE(storage->create("theirs").file);
    EXPECT_EQ(storage->rename("mine", "theirs"), journal::fileExists);
    EXPECT_EQ(files(), 2U);
}

TEST_F(FolderTest, AFileInThePlaceOfTheFolderCannotBeUsed) {
    fs::create_directories(top_);
    std::ofstream(top_ / "state") << "a file";
    auto const below = journal::folderStorage(folder());
    EXPECT_EQ(Journal(*below).tryOut(), kernel::ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(below->list().error, kernel::ERROR_PATH_NOT_FOUND);
    EXPECT_GT(below->room().value_or(0), 0U);
    auto const there = journal::folderStorage((top_ / "state").string());
    EXPECT_EQ(there->make(), kernel::ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(there->list().error, journal::notAFolder);
    EXPECT_TRUE(fs::is_regular_file(top_ / "state"));
}

TEST_F(FolderTest, IsMadeWhereItsPathLeadsUpAndEndsWithASeparator) {
    std::string const roundabout = (top_ / "a" / ".." / "b" / "").string();
    auto const storage = journal::folderStorage(roundabout);
    ASSERT_EQ(storage->make(), 0U);
    EXPECT_EQ(storage->make(), 0U);
    ASSERT_TRUE(storage->create("c").file);
    EXPECT_TRUE(fs::exists(top_ / "b" / "c"));
    EXPECT_EQ(storage->list().names, std::vector<std::string>{"c"});
}

TEST_F(FolderTest, ANameThatIsTooLongIsToldAsSuch) {
    auto const storage = journal::folderStorage((top_ / std::string(300, 'n')).string());
    std::vector<std::uint32_t> const errors{206, 123, kernel::ERROR_PATH_NOT_FOUND}; // Linux, Windows, Wine
    EXPECT_EQ(std::ranges::count(errors, storage->make()), 1);
    EXPECT_EQ(std::ranges::count(errors, storage->list().error), 1);
    EXPECT_TRUE(fs::is_empty(top_));
}

// A path of more than 260 characters, which once was all that Windows had room for.
class LongPathTest : public FolderTest {
protected:
    LongPathTest() { removeDeep(); }
    ~LongPathTest() override { removeDeep(); }

    fs::path deep() const { return top_ / std::string(130, 'a') / std::string(130, 'b') / std::string(130, 'c'); }

    // Where the program may have such paths, the tests may not.
    bool isAllowed() const {
        std::error_code failure;
        fs::create_directories(deep(), failure);
        removeDeep();
        return !failure;
    }

private:
    // One by one: not every standard library finds them all.
    void removeDeep() const {
        std::error_code ignored;
        for (std::string const & name : journal::folderStorage(deep().string())->list().names) {
            fs::remove(deep() / name, ignored);
        }
        for (fs::path each = deep(); each != top_; each = each.parent_path()) {
            fs::remove(each, ignored);
        }
    }
};

TEST_F(LongPathTest, BackupsAreKeptAndFound) {
    if (!isAllowed()) {
        GTEST_SKIP() << "this system has no such paths, or not for this program";
    }
    auto const storage = journal::folderStorage(deep().string());
    EXPECT_EQ(storage->list().error, kernel::ERROR_PATH_NOT_FOUND);
    Journal journal(*storage);
    ASSERT_EQ(journal.tryOut(), 0U);
    EXPECT_GT(storage->room().value_or(0), 0U);
    Journal::Kept kept = journal.keep(stick_, {3, 5}, backup_);
    ASSERT_TRUE(kept.entry);
    EXPECT_EQ(storage->list().names, std::vector<std::string>{kept.entry->name});

    kept.entry->file.reset();
    journal::Survey const found = journal::survey(*storage);
    EXPECT_EQ(found.error, 0U);
    ASSERT_EQ(found.entries.size(), 1U);
    EXPECT_EQ(found.entries[0].state, FoundEntry::State::Owed);
    EXPECT_EQ(journal.close(kept.entry->name).error, 0U);
    EXPECT_TRUE(storage->list().names.empty());
    EXPECT_EQ(storage->list().error, 0U);
}

TEST_F(FolderTest, LiesOnNoDiskThatItHasNothingToDoWith) {
    fs::create_directories(top_);
    std::string const image = (top_ / "stick.img").string();
    std::ofstream(image) << "bytes";
    EXPECT_FALSE(journal::placeOfFolder(folder(), image).onDisk);
    EXPECT_FALSE(journal::placeOfFolder(folder(), {}).onDisk);
    EXPECT_FALSE(journal::placeOfFolder(folder(), (top_ / "nothing.img").string()).onDisk);
}

TEST_F(FolderTest, LiesOnTheDiskOfItsFileSystem) {
    fs::create_directories(top_);
    std::string const device = support::deviceOf(top_);
    if (device.empty()) {
        GTEST_SKIP() << "the folder for temporary files lies on no block device that this system names";
    }
    EXPECT_TRUE(journal::placeOfFolder(folder(), device).onDisk) << device;
}

} // namespace
