// Notes of folders for backups, in a storage that fails and loses power.
#include "tkit5/JournalFolders.h"

#include "journal/Journal.h"
#include "kernel/Files.h"
#include "support/MemoryStorage.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace tkit5;
using support::MemoryDisk;
using support::MemoryStorage;
using support::Remains;

class JournalFoldersTest : public testing::Test {
protected:
    std::vector<std::string> folders() {
        std::vector<std::string> found;
        for (FolderNotes::Note const & note : folderNotes(usual_).notes) {
            found.push_back(note.folder);
        }
        return found;
    }
    // As a process that ends leaves it.
    std::string leaveNote(std::string const & folder) {
        Noted const noted = noteFolder(usual_, folder);
        EXPECT_EQ(noted.error, 0U);
        return noted.note ? noted.note->name : std::string();
    }
    std::uint32_t forget(std::string const & folder) { return forgetFolder(usual_, folderNotes(usual_), folder); }
    void startAgain() { *disk_ = MemoryDisk(); }

    std::string const folder_ = absoluteFolder("safe");
    std::shared_ptr<MemoryDisk> disk_ = std::make_shared<MemoryDisk>();
    MemoryStorage usual_{disk_};
};

TEST_F(JournalFoldersTest, ANoteIsOfARunThatIsGoneOnceNobodyHasItOpen) {
    {
        Noted const noted = noteFolder(usual_, "safe");
        ASSERT_TRUE(noted.note);
        EXPECT_TRUE(folders().empty());
    }
    EXPECT_EQ(folders(), std::vector<std::string>{folder_});
    EXPECT_EQ(folderNotes(usual_).error, 0U);
}

TEST_F(JournalFoldersTest, ANoteThatIsTakenBackIsGone) {
    Noted noted = noteFolder(usual_, "safe");
    ASSERT_TRUE(noted.note);
    EXPECT_EQ(takeBack(usual_, std::move(*noted.note)), 0U);
    disk_->losePower({});
    EXPECT_TRUE(disk_->names().empty());
}

// Else another command would take it for that of a run that was cut short.
TEST_F(JournalFoldersTest, ANoteIsOfARunThatGoesOnUntilItsFileIsGone) {
    Noted noted = noteFolder(usual_, "safe");
    ASSERT_TRUE(noted.note);
    std::optional<std::vector<std::string>> seen;
    disk_->beforeRemove = [&] { seen = folders(); };
    EXPECT_EQ(takeBack(usual_, std::move(*noted.note)), 0U);
    ASSERT_TRUE(seen);
    EXPECT_TRUE(seen->empty());
}

TEST_F(JournalFoldersTest, AnUnfinishedNoteThatARunHasBegunToWriteMeanwhileIsLeft) {
    std::string const name = "folder-00000000-7.new";
    disk_->put(name, {});
    FolderNotes const found = folderNotes(usual_);
    journal::Result<journal::StoredFile> written;
    disk_->beforeRemove = [&] {
        EXPECT_EQ(usual_.remove(name), 0U);
        written = usual_.create(name);
    };
    removeUnfinished(usual_, found);
    ASSERT_TRUE(written.file);
    EXPECT_EQ(disk_->names(), std::vector<std::string>{name});
}

TEST_F(JournalFoldersTest, ANumberThatSomebodyElseTakesMeanwhileIsLeftToThem) {
    std::string const first = leaveNote("safe");
    startAgain();
    std::string const theirs = first.substr(0, first.size() - 3) + "new";
    disk_->beforeCreate = [&] { disk_->put(theirs, {}); };
    std::string const second = leaveNote("safe");
    EXPECT_EQ(second, first.substr(0, first.size() - 5) + "2.txt");
    EXPECT_EQ(disk_->names(), (std::vector<std::string>{theirs, second}));
}

TEST_F(JournalFoldersTest, WhoeverForgetsAFolderLeavesTheNoteOfARunThatGoesOn) {
    leaveNote("safe");
    leaveNote("safe");
    leaveNote("elsewhere");
    EXPECT_EQ(folders().size(), 3U);
    Noted noted = noteFolder(usual_, "safe");
    ASSERT_TRUE(noted.note);
    EXPECT_EQ(forget("safe"), 0U);
    EXPECT_EQ(folders(), std::vector<std::string>{absoluteFolder("elsewhere")});
    noted.note.reset();
    EXPECT_EQ(folders().size(), 2U);
    disk_->losePower({});
    EXPECT_EQ(folders().size(), 2U);
}

TEST_F(JournalFoldersTest, ANoteOutlastsALossOfPower) {
    for (std::optional<std::size_t> const data : {std::optional<std::size_t>(), std::optional<std::size_t>(1)}) {
        for (bool const names : {false, true}) {
            startAgain();
            leaveNote("safe");
            disk_->losePower({.names = names, .data = data});
            EXPECT_EQ(folders(), std::vector<std::string>{folder_});
        }
    }
}

TEST_F(JournalFoldersTest, AFailureLeavesNoNoteAndIsTold) {
    leaveNote("safe");
    int const calls = disk_->calls;
    for (int call = 1; call <= calls; ++call) {
        SCOPED_TRACE(call);
        startAgain();
        disk_->failsFrom = disk_->failsTo = call;
        Noted const noted = noteFolder(usual_, "safe");
        EXPECT_EQ(noted.error, disk_->error);
        EXPECT_FALSE(noted.note);
        EXPECT_TRUE(disk_->names().empty());
    }
}

// Cut off after any call, a note is there or it is not, and never looks damaged.
TEST_F(JournalFoldersTest, WhatIsCutOffIsNoDamagedNote) {
    leaveNote("safe");
    int const calls = disk_->calls;
    int unfinished = 0;
    for (int call = 1; call <= calls; ++call) {
        for (std::optional<std::size_t> const data : {std::optional<std::size_t>(), std::optional<std::size_t>(1)}) {
            for (bool const names : {false, true}) {
                SCOPED_TRACE(call);
                startAgain();
                disk_->failsFrom = call;
                EXPECT_NE(noteFolder(usual_, "safe").error, 0U);
                disk_->losePower({.names = names, .data = data});
                disk_->failsFrom.reset();
                FolderNotes const found = folderNotes(usual_);
                EXPECT_TRUE(found.damaged.empty());
                unfinished += static_cast<int>(found.unfinished.size());
                EXPECT_EQ(forget("safe"), 0U);
                removeUnfinished(usual_, found);
                EXPECT_TRUE(disk_->names().empty());
            }
        }
    }
    EXPECT_GT(unfinished, 0);
}

TEST_F(JournalFoldersTest, WhatCannotBeReadIsTold) {
    std::string const name = leaveNote("safe");
    disk_->calls = 0;
    folderNotes(usual_);
    int const calls = disk_->calls;
    ASSERT_EQ(calls, 3); // list, open, read
    for (int call = 1; call <= calls; ++call) {
        disk_->calls = 0;
        disk_->failsFrom = disk_->failsTo = call;
        FolderNotes const found = folderNotes(usual_);
        EXPECT_EQ(found.error, disk_->error);
        EXPECT_EQ(found.unread, call == 1 ? "" : name);
        EXPECT_TRUE(found.notes.empty());
        EXPECT_TRUE(found.damaged.empty());
    }
}

TEST_F(JournalFoldersTest, AFailureToForgetIsTold) {
    leaveNote("safe");
    disk_->calls = 0;
    EXPECT_EQ(forget("safe"), 0U);
    int const calls = disk_->calls;
    for (int call = 1; call <= calls; ++call) {
        startAgain();
        leaveNote("safe");
        disk_->calls = 0;
        disk_->failsFrom = disk_->failsTo = call;
        EXPECT_EQ(forget("safe"), disk_->error) << call;
    }
}

TEST_F(JournalFoldersTest, ADamagedNoteNamesNoFolder) {
    std::string const name = leaveNote("safe");
    std::vector<std::byte> const whole = disk_->contents(name);
    for (std::size_t at = 0; at < whole.size(); ++at) {
        std::vector<std::byte> flipped = whole;
        flipped[at] ^= std::byte{0x10};
        std::vector<std::byte> const torn(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(at));
        for (auto const & bytes : {flipped, torn}) {
            disk_->put(name, bytes);
            FolderNotes const found = folderNotes(usual_);
            EXPECT_EQ(found.damaged, std::vector<std::string>{name}) << at;
            EXPECT_TRUE(found.notes.empty());
        }
    }
    EXPECT_EQ(forget("safe"), 0U);
    EXPECT_EQ(disk_->names(), std::vector<std::string>{name}); // it may be another folder's
}

TEST_F(JournalFoldersTest, NotesAndBackupsDoNotSeeEachOther) {
    journal::Journal journal(usual_);
    ASSERT_TRUE(journal.keep({"S1", "Stick", 512, 512}, {0, 1}, std::vector<std::byte>(512)).entry);
    leaveNote("safe");
    disk_->put("folder-00000000-7.new", {});
    journal::Survey const survey = journal::survey(usual_);
    EXPECT_EQ(survey.entries.size(), 1U);
    EXPECT_TRUE(survey.unfinished.empty());
    FolderNotes const found = folderNotes(usual_);
    EXPECT_EQ(found.notes.size(), 1U);
    EXPECT_TRUE(found.damaged.empty());
    EXPECT_EQ(found.unfinished, std::vector<std::string>{"folder-00000000-7.new"});
}

TEST_F(JournalFoldersTest, NoNoteGetsANameThatNobodyKnowsForOne) {
    std::string const first = leaveNote("safe");
    disk_->put(first.substr(0, first.size() - 5) + "999999999.new", {});
    leaveNote("safe");
    EXPECT_EQ(folders().size(), 2U);
}

TEST_F(JournalFoldersTest, AFileOfAnotherFormIsNoNote) {
    for (char const * const name :
         {"folder.txt", "folder-1.txt", "folder-00000000.txt", "folder-00000000-.txt", "folder-00000000-1",
          "folder-00000000-01.txt", "folder-0000000g-1.txt", "folder-abcdef00-1.txt", "folder-00000000_1.txt",
          "folder-00000000-1x.txt", "folder-00000000-12345678901.txt", "xfolder-00000000-1.txt"}) {
        disk_->put(name, {});
    }
    FolderNotes const found = folderNotes(usual_);
    EXPECT_TRUE(found.notes.empty());
    EXPECT_TRUE(found.damaged.empty());
    EXPECT_TRUE(found.unfinished.empty());
    EXPECT_EQ(found.error, 0U);
}

TEST_F(JournalFoldersTest, AFolderIsNotedInOneForm) {
    EXPECT_TRUE(fs::path(folder_).is_absolute());
    for (char const * const same : {"safe", "safe/", "./safe", "below/../safe"}) {
        EXPECT_EQ(absoluteFolder(same), folder_) << same;
        EXPECT_TRUE(isSameFolder(same, "safe")) << same;
    }
    EXPECT_FALSE(isSameFolder("safe", "safe2"));
    EXPECT_EQ(fs::path(absoluteFolder("/")), fs::absolute("/"));
}

} // namespace
