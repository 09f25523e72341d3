// What other processes do between the opening of a file and its locking, which the system has no single call for.
#include "journal/Folder.h"
#include "journal/Journal.h"
#include "kernel/Files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

extern "C" void * dlsym(void *, char const *) noexcept;

namespace {

std::function<void()> beforeLock; // called once

} // namespace

// In the place of the system's own.
extern "C" int flock(int file, int operation) noexcept {
    if (auto const meanwhile = std::exchange(beforeLock, nullptr)) {
        meanwhile();
    }
    static void * const next = reinterpret_cast<void *>(-1); // the library that comes after this program
    static auto * const real = reinterpret_cast<int (*)(int, int)>(dlsym(next, "flock"));
    return real(file, operation);
}

namespace {

namespace fs = std::filesystem;
using journal::FoundEntry;
using journal::Journal;

class LockTest : public testing::Test {
protected:
    LockTest() {
        fs::remove_all(top_);
        EXPECT_EQ(storage_->make(), 0U);
    }
    ~LockTest() override {
        beforeLock = nullptr;
        fs::remove_all(top_);
    }

    Journal::Kept keep() { return journal_.keep({"S1", "Stick", 64 * 512, 512}, {3, 1}, std::vector<std::byte>(512)); }
    std::vector<std::string> names() const { return storage_->list().names; }
    void put(std::string const & name, std::string const & contents) const { std::ofstream(top_ / name) << contents; }

    fs::path const top_ = fs::path(testing::TempDir()) / testing::UnitTest::GetInstance()->current_test_info()->name();
    std::unique_ptr<journal::Storage> const storage_ = journal::folderStorage(top_.string());
    Journal journal_{*storage_};
};

// As a recovery does, which sees it unlocked.
TEST_F(LockTest, AFileThatIsRemovedBeforeItIsLockedIsNotTakenForCreated) {
    beforeLock = [this] { EXPECT_EQ(storage_->removeAbandoned("a"), 0U); };
    auto const created = storage_->create("a");
    EXPECT_FALSE(created.file);
    EXPECT_EQ(created.error, journal::fileExists);
    EXPECT_TRUE(names().empty());
}

TEST_F(LockTest, AFileInThePlaceOfOneThatWasRemovedBeforeItIsLockedIsLeftToItsWriter) {
    journal::Result<journal::StoredFile> theirs;
    beforeLock = [&] {
        EXPECT_EQ(storage_->removeAbandoned("a"), 0U);
        theirs = storage_->create("a");
    };
    EXPECT_EQ(storage_->create("a").error, journal::fileExists);
    ASSERT_TRUE(theirs.file);
    EXPECT_EQ(storage_->removeAbandoned("a"), kernel::ERROR_SHARING_VIOLATION);
}

TEST_F(LockTest, ABackupWhoseFileIsRemovedBeforeItIsLockedIsKeptUnderTheNextNumber) {
    beforeLock = [this] {
        for (std::string const & name : journal::survey(*storage_).unfinished) {
            EXPECT_EQ(storage_->removeAbandoned(name), 0U);
        }
    };
    Journal::Kept const kept = keep();
    ASSERT_TRUE(kept.entry) << kept.error;
    EXPECT_EQ(names(), std::vector<std::string>{"backup-000002.undo"});
    EXPECT_EQ(journal::survey(*storage_).entries.at(0).state, FoundEntry::State::InUse);
}

TEST_F(LockTest, AFileThatTakesThePlaceOfAnAbandonedOneIsNotRemoved) {
    put("a", "abandoned");
    beforeLock = [this] {
        EXPECT_EQ(storage_->remove("a"), 0U);
        put("a", "new");
    };
    EXPECT_EQ(storage_->removeAbandoned("a"), kernel::ERROR_SHARING_VIOLATION);
    EXPECT_EQ(names(), std::vector<std::string>{"a"});
}

TEST_F(LockTest, AnAbandonedFileThatSomebodyElseRemovesIsGone) {
    put("a", "abandoned");
    beforeLock = [this] { EXPECT_EQ(storage_->remove("a"), 0U); };
    EXPECT_EQ(storage_->removeAbandoned("a"), kernel::ERROR_FILE_NOT_FOUND);
}

// It is unlocked by then, and whole.
TEST_F(LockTest, ABackupThatIsGivenUpWhileItIsLookedAtIsNotOwed) {
    Journal::Kept kept = keep();
    ASSERT_TRUE(kept.entry);
    beforeLock = [&] { EXPECT_EQ(journal_.close(std::move(*kept.entry)).error, 0U); };
    EXPECT_TRUE(journal::survey(*storage_).entries.empty());
}

} // namespace
