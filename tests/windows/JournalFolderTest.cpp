// Folders of a journal where only Windows has something to say about them.
#include "journal/Folder.h"
#include "kernel/Files.h"
#include "machine/windows/FilePlace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>

namespace {

constexpr std::uint32_t impossibleName = 123;

// A letter that no drive has; 0 when all are taken.
char freeLetter() {
    for (char letter = 'Z'; letter >= 'A'; --letter) {
        std::error_code ignored;
        if (!std::filesystem::exists(letter + std::string(":\\"), ignored)) {
            return letter;
        }
    }
    return 0;
}

TEST(JournalFolder, ANameThatCannotBeIsToldAsSuch) {
    std::string const windows = std::filesystem::path(machine::windows::windowsFolder()).string();
    for (char const * name : {"a<b", "a|b\\c", "a\x01", "a*", "a?b"}) {
        auto const storage = journal::folderStorage(windows + '\\' + name);
        EXPECT_EQ(storage->make(), impossibleName) << name;
        EXPECT_EQ(storage->list().error, impossibleName) << name;
    }
}

TEST(JournalFolder, ADriveThatIsNotThereHasNoFolders) {
    char const letter = freeLetter();
    if (letter == 0) {
        GTEST_SKIP() << "all letters have a drive";
    }
    for (char const * path : {":\\", ":\\a", ":\\a\\b"}) {
        auto const storage = journal::folderStorage(letter + std::string(path));
        EXPECT_EQ(storage->make(), kernel::ERROR_PATH_NOT_FOUND) << path;
        EXPECT_EQ(storage->list().error, kernel::ERROR_PATH_NOT_FOUND) << path;
    }
}

TEST(JournalFolder, AFileIsToldFromAFolder) {
    std::string const file = (std::filesystem::path(machine::windows::windowsFolder()) / "win.ini").string();
    EXPECT_EQ(journal::folderStorage(file)->list().error, journal::notAFolder);
    EXPECT_EQ(journal::folderStorage(file)->make(), kernel::ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(journal::folderStorage(file + "\\a")->list().error, kernel::ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(journal::folderStorage(file + "\\a")->make(), kernel::ERROR_PATH_NOT_FOUND);
}

TEST(JournalFolder, ListHasWhatIsInTheFolderAndNotTheFolderItself) {
    std::filesystem::path const windows = machine::windows::windowsFolder();
    for (auto const & folder : {windows, windows.root_path()}) {
        auto const listed = journal::folderStorage(folder.string())->list();
        EXPECT_EQ(listed.error, 0U) << folder;
        EXPECT_FALSE(listed.names.empty()) << folder;
        EXPECT_EQ(std::ranges::count(listed.names, "."), 0) << folder;
        EXPECT_EQ(std::ranges::count(listed.names, ".."), 0) << folder;
    }
}

// By its name in full, which Windows takes as it is.
TEST(JournalFolder, IsFoundByItsNameWithPrefix) {
    std::string const windows = std::filesystem::path(machine::windows::windowsFolder()).string();
    auto const storage = journal::folderStorage("\\\\?\\" + windows);
    EXPECT_EQ(storage->make(), 0U);
    EXPECT_FALSE(storage->list().names.empty());
    EXPECT_GT(storage->room().value_or(0), 0U);
}

} // namespace
