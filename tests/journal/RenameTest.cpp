// Renaming where the system knows no rename that replaces nothing, and where files cannot have second names.
#include "journal/FolderFiles.h"
#include "kernel/Files.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int linkat(int, char const *, int, char const *, int) noexcept;

namespace {

int renameError = EINVAL;
int linkError = 0;

} // namespace

// In the place of the system's own.
extern "C" int renameat2(int, char const *, int, char const *, unsigned) noexcept {
    errno = renameError;
    return -1;
}

extern "C" int link(char const * from, char const * to) noexcept {
    if (linkError != 0) {
        errno = linkError;
        return -1;
    }
    constexpr int here = -100;
    return linkat(here, from, here, to, 0);
}

namespace {

namespace fs = std::filesystem;

class RenameTest : public testing::Test {
protected:
    RenameTest() {
        fs::remove_all(top_);
        fs::create_directories(top_);
        std::ofstream(mine_) << "mine";
    }
    ~RenameTest() override {
        fs::remove_all(top_);
        renameError = EINVAL;
        linkError = 0;
    }

    static std::string contentsOf(fs::path const & path) {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    fs::path const top_ = fs::path(testing::TempDir()) / testing::UnitTest::GetInstance()->current_test_info()->name();
    fs::path const mine_ = top_ / "mine";
    fs::path const theirs_ = top_ / "theirs";
};

TEST_F(RenameTest, AFileGetsItsNewName) {
    for (int const error : {EINVAL, ENOSYS}) {
        for (int const ofLink : {0, EPERM, EOPNOTSUPP, ENOSYS}) {
            renameError = error;
            linkError = ofLink;
            EXPECT_EQ(journal::renameFile(mine_, theirs_), 0U) << ofLink;
            EXPECT_FALSE(fs::exists(mine_));
            EXPECT_EQ(contentsOf(theirs_), "mine");
            fs::rename(theirs_, mine_);
        }
    }
}

TEST_F(RenameTest, NoFileIsReplaced) {
    std::ofstream(theirs_) << "theirs";
    for (int const ofLink : {0, EPERM, EOPNOTSUPP, ENOSYS}) {
        linkError = ofLink;
        EXPECT_EQ(journal::renameFile(mine_, theirs_), journal::fileExists) << ofLink;
        EXPECT_EQ(contentsOf(mine_), "mine");
        EXPECT_EQ(contentsOf(theirs_), "theirs");
    }
}

TEST_F(RenameTest, AFailureLeavesTheFileWhereItIs) {
    linkError = ENOSPC;
    EXPECT_EQ(journal::renameFile(mine_, theirs_), 112U);
    renameError = EROFS;
    EXPECT_EQ(journal::renameFile(mine_, theirs_), kernel::ERROR_WRITE_PROTECT);
    EXPECT_EQ(contentsOf(mine_), "mine");
    EXPECT_FALSE(fs::exists(theirs_));
    EXPECT_EQ(journal::renameFile(top_ / "nothing", theirs_), kernel::ERROR_WRITE_PROTECT);
}

} // namespace
