// The storage test with its backups in a journal: the same test to a host, and a way back where it leaves something.
#include "StoragePc.h"

#include "support/StateFolder.h"
#include "tkit5/Start.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace test {

namespace {

namespace fs = std::filesystem;

class JournalledPass : public testing::Test {
protected:
    std::size_t backups() const {
        fs::path const folder = fs::path(support::useOwnStateFolder()) / "nuvrusb";
        std::error_code ignored;
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(folder, ignored), fs::directory_iterator()));
    }

    int recover(Json const & pc) {
        std::string const file =
            testing::TempDir() + "recover." + testing::UnitTest::GetInstance()->current_test_info()->name() + ".json";
        std::ofstream(file) << pc;
        FakeConsole console;
        return tkit5::runCommandLine({"recover", "--machine", file, "--allow-destructive"}, console);
    }

    DiskImage image_{10 * smallTransfer + 1};
};

TEST_F(JournalledPass, IsTheSameTestToAHost) {
    HostView const journalled = runStorageTest(stickPc(smallDisk(image_)), writePreserved);
    HostView const inMemory = runStorageTest(stickPc(smallDisk()), writePreserved);
    EXPECT_EQ(journalled.output, inMemory.output);
    EXPECT_EQ(journalled.exitCode, 0);
    EXPECT_EQ(journalled.errors, "");
    EXPECT_TRUE(image_.isAsBefore());
    EXPECT_EQ(backups(), 0U);
}

TEST_F(JournalledPass, WhatCouldNotBeRestoredIsRecovered) {
    Json const secondWriteFails{{"call", "write"}, {"after", 1}, {"times", 1}, {"error", 1117}};
    HostView const run =
        runStorageTest(stickPc(smallDisk(image_, {{"faults", Json::array({secondWriteFails})}})), writePreserved);
    EXPECT_EQ(run.keys().front(), "CANNOT_RESTORE_DATA");
    // A write that fails has moved its first half.
    EXPECT_EQ(image_.changedSectors(),
              (std::vector<std::pair<std::uint64_t, std::uint64_t>>{{smallTransfer / 2, smallTransfer - 1}}));
    EXPECT_NE(run.errors.find("!!! DATA WAS NOT PUT BACK !!!\n  sectors 0 to 1023 of Test Stick"), std::string::npos)
        << run.errors;
    EXPECT_EQ(backups(), 1U);

    EXPECT_EQ(recover(stickPc(smallDisk(image_))), 0);
    EXPECT_TRUE(image_.isAsBefore());
    EXPECT_EQ(backups(), 0U);
}

} // namespace

} // namespace test
