// Runs that keep what they overwrite: what they need for that, leave behind and say.
#include "RecoverFixture.h"

#include <fstream>

namespace test {
namespace {

using PreservingRun = Recover;

TEST_F(PreservingRun, ARunThatPutsAllBackLeavesNothing) {
    pieces_ = {0, 4, 60, 0};
    auto const result = runCli(runOn(pc()));
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_TRUE(restored_);
    EXPECT_TRUE(isAsBefore());
    EXPECT_TRUE(fs::is_directory(journal_));
    EXPECT_TRUE(backups().empty());
    EXPECT_EQ(result.errors, "");
}

TEST_F(PreservingRun, ABackupIsThereBeforeAnythingIsOverwritten) {
    std::vector<std::string> during;
    beforeRestore_ = [&] { during = backups(); };
    runCli(runOn(pc()));
    EXPECT_EQ(during, std::vector<std::string>{"backup-000001.undo"});
}

TEST_F(PreservingRun, WhatIsNotPutBackIsToldLoudly) {
    auto const result = runCutShort(pc());
    EXPECT_FALSE(isAsBefore());
    std::string const file = (journal_ / "backup-000001.undo").string();
    std::string const told = "\n!!! DATA WAS NOT PUT BACK !!!\n"
                             "  sectors 8 to 11 of Stick, serial number S1\n"
                             "      was overwritten and could not be written back\n"
                             "      backup: " +
                             file +
                             "\nLeave the disk as it is, and put the data back with\n    nuvrusb recover --machine";
    EXPECT_TRUE(contains(result.errors, told)) << result.errors;
    EXPECT_TRUE(contains(result.output, told)) << result.output;
}

TEST_F(PreservingRun, NothingIsWrittenWhileABackupIsDamaged) {
    runCutShort(pc());
    fs::resize_file(journal_ / "backup-000001.undo", 100);
    std::string const other = pc(R"("serialNumber": "S2")"); // the file no longer says whose it is
    std::string const told = "The backup backup-000001.undo in " + journal_.string() +
                             " is damaged, so that nobody can tell what it held. 'nuvrusb recover --machine";
    EXPECT_TRUE(contains(runCli({"devices", "--machine", other}).errors, told));
    calls().devices.clear();
    for (char const * const more : {"--no-journal", "--no-color"}) {
        auto const refused = runCli(runOn(other, {more}));
        EXPECT_EQ(refused.code, 6);
        std::size_t const at = refused.errors.rfind("nuvrusb: ");
        EXPECT_TRUE(contains(refused.errors.substr(at), told)) << refused.errors;
        EXPECT_TRUE(contains(refused.errors.substr(at), "--discard' then removes it.")) << refused.errors;
        EXPECT_TRUE(contains(refused.errors.substr(at), "so nothing was run.")) << refused.errors;
    }
    EXPECT_TRUE(calls().devices.empty());
    EXPECT_EQ(runCli(recoverOn(other, {"--discard", "--allow-destructive"})).code, 0);
    EXPECT_EQ(runCli(runOn(other)).code, 0);
}

TEST_F(PreservingRun, AFileWithTheHighestNumberIsTold) {
    fs::create_directories(journal_);
    std::ofstream(journal_ / "backup-999999999999999999.done") << "left over";
    auto const refused = runCli(runOn(pc()));
    EXPECT_EQ(refused.code, 5);
    EXPECT_TRUE(contains(refused.errors, "holds a file with the highest number that a backup can have"))
        << refused.errors;
    EXPECT_TRUE(calls().devices.empty());
    EXPECT_EQ(runCli(recoverOn(pc())).code, 0);
    EXPECT_EQ(runCli(runOn(pc())).code, 0);
}

TEST_F(PreservingRun, OtherCommandsTellThatSomethingIsOwed) {
    runCutShort(pc());
    std::string const told =
        "An earlier run was cut short and did not put back sectors 8 to 11 of Stick, serial number "
        "S1. 'nuvrusb recover --machine";
    EXPECT_TRUE(contains(runCli({"devices", "--machine", pc()}).errors, told));
    EXPECT_TRUE(contains(runCli({"run", "WholeBus", "--machine", pc()}).errors, told));
}

// A command with this PC would not put it back.
TEST_F(PreservingRun, OtherCommandsTellThatTheDiskIsNotInThisPc) {
    pieces_ = {8};
    runCutShort(pc());
    std::string const other = pc(R"("serialNumber": "S2")");
    std::string const one = runCli({"devices", "--machine", other}).errors;
    EXPECT_TRUE(contains(one, "did not put back sectors 8 to 11 of Stick, serial number S1. The disk is not in this "
                              "PC; the backup is in " +
                                  journal_.string() + ".\n"))
        << one;
    EXPECT_FALSE(contains(one, "recover")) << one;

    pieces_ = {12, 16};
    runCutShort(other);
    std::string const both = runCli({"devices", "--machine", pc(R"("serialNumber": "S2")")}).errors;
    EXPECT_TRUE(contains(both, "sectors 12 to 15 of Stick, serial number S2, and 1 more. 'nuvrusb recover")) << both;
    EXPECT_TRUE(contains(both, "serial number S1. The disk is not in this PC")) << both;
    std::string const none = runCli({"devices", "--machine", pc(R"("serialNumber": "S3")")}).errors;
    EXPECT_TRUE(contains(none, "and 2 more. The disks are not in this PC; the backups are in")) << none;
}

TEST_F(PreservingRun, NothingIsWrittenToADiskThatIsOwedSomething) {
    runCutShort(pc());
    calls().devices.clear();
    for (char const * const more : {"--no-journal", "--no-color"}) {
        auto const result = runCli(runOn(pc(), {more}));
        EXPECT_EQ(result.code, 6);
        EXPECT_TRUE(contains(result.errors, "--discard")) << result.errors;
        EXPECT_TRUE(calls().devices.empty());
    }
    EXPECT_EQ(runCli(runOn(pc(R"("serialNumber": "S2")"))).code, 0); // another disk
}

TEST_F(PreservingRun, WithoutAPlaceForBackupsNothingIsRun) {
    std::string const folder = temporaryFile(".place", "a file");
    auto const refused = runCli(runOn(pc(), {"--journal", folder}));
    EXPECT_EQ(refused.code, 5);
    EXPECT_TRUE(contains(refused.errors, "--no-journal")) << refused.errors;
    EXPECT_TRUE(calls().devices.empty());

    FakeConsole declining;
    declining.beTerminal();
    declining.type("no");
    EXPECT_EQ(runCli(runOn(pc(), {"--journal", folder}), declining).code, 8);
    EXPECT_TRUE(calls().devices.empty());

    FakeConsole agreeing;
    agreeing.beTerminal();
    agreeing.type("yes");
    EXPECT_EQ(runCli(runOn(pc(), {"--journal", folder}), agreeing).code, 0);
    EXPECT_EQ(calls().devices.size(), 1U);
    EXPECT_TRUE(isAsBefore());
}

TEST_F(PreservingRun, WithoutAJournalARestoreIsVerifiedAllTheSame) {
    EXPECT_EQ(runCli(runOn(pc(), {"--no-journal"})).errors, "");
    EXPECT_FALSE(fs::exists(journal_));

    std::string const unreadable =
        pc(R"("serialNumber": "S1", "faults": [{"call": "read", "after": 1, "error": 1117}])");
    auto const result = runCli(runOn(unreadable, {"--no-journal"}));
    EXPECT_FALSE(restored_);
    EXPECT_TRUE(contains(result.errors, "was written back, but could not be read back as it was\n"
                                        "      and there is no backup of it\n"))
        << result.errors;
    EXPECT_FALSE(contains(result.errors, "nuvrusb recover"));
}

TEST_F(PreservingRun, ARestoreThatCannotBeReadBackStaysOwed) {
    auto const result =
        runCli(runOn(pc(R"("serialNumber": "S1", "faults": [{"call": "read", "after": 1, "error": 1117}])")));
    EXPECT_FALSE(restored_);
    EXPECT_TRUE(contains(result.errors, "!!! DATA WAS NOT PUT BACK !!!"));
    EXPECT_EQ(backups().size(), 1U);
    auto const recovered = runCli(recoverOn(pc(), {"--allow-destructive"}));
    EXPECT_EQ(recovered.code, 0);
    EXPECT_TRUE(contains(recovered.output, "The bytes were in place already."));
    EXPECT_TRUE(backups().empty());
}

// As when the medium of the journal goes during a pass.
TEST_F(PreservingRun, ABackupThatCannotBeKeptCountsAsFailed) {
    pieces_ = {8, 12};
    for (bool const isAnythingInTheWay : {false, true}) {
        std::error_code failure;
        beforeRestore_ = [&] {
            fs::remove_all(journal_, failure);
            if (isAnythingInTheWay) {
                std::ofstream(journal_) << "in the way";
            }
        };
        auto const result = runCli(runOn(pc()));
        if (failure) {
            GTEST_SKIP() << "this system keeps a folder with an open file: " << failure.message();
        }
        EXPECT_FALSE(backedUp_);
        EXPECT_NE(overwriteError_, 0U);
        EXPECT_EQ(result.code, 1);
        EXPECT_TRUE(isAsBefore());
        EXPECT_FALSE(fs::is_directory(journal_));
    }
}

TEST_F(PreservingRun, ADiskInMemoryHasNoBackups) {
    std::string const inMemory =
        pcFile(R"({"port": 1, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\ONE",
            "disk": {"instanceId": "DISK\\ONE", "number": 1, "sectorCount": 64}}})");
    auto const result = runCutShort(inMemory);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_FALSE(fs::exists(journal_));
}

TEST_F(PreservingRun, ATestThatPreservesNothingNeedsNoJournal) {
    calls().behaviour = nullptr;
    auto const result = runCli({"run", "Rewrite", "--machine", pc(), "--device", "DISK\\ONE", "--set",
                                "PerformWritePerformance=true", "--allow-destructive"});
    EXPECT_EQ(result.code, 0);
    EXPECT_FALSE(fs::exists(journal_));
}

} // namespace
} // namespace test
