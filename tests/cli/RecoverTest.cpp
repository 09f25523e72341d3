// Getting back what a run has left behind that was cut short.
#include "RecoverFixture.h"

#include "journal/Folder.h"
#include "journal/Journal.h"

#include <nlohmann/json.hpp>

#include <fstream>

namespace test {
namespace {

TEST_F(Recover, WhatIsOwedIsPutBackOnce) {
    runCutShort(pc());
    auto const result = runCli(recoverOn(pc(), {"--allow-destructive"}));
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(result.output, "In " + journal_.string() +
                                 ":\n"
                                 "  backup-000001.undo: sectors 8 to 11 of Stick, serial number S1\n"
                                 "      DISK\\ONE (\\\\.\\PhysicalDrive1)\n"
                                 "backup-000001.undo: The bytes are back, as reading them shows.\n");
    EXPECT_TRUE(isAsBefore());
    EXPECT_TRUE(backups().empty());

    auto const again = runCli(recoverOn(pc()));
    EXPECT_EQ(again.code, 0);
    EXPECT_EQ(again.output, "No backup is owed to any disk.\n");
}

TEST_F(Recover, EarlierBackupsOfTheSameSectorsWin) {
    pieces_ = {8, 10, 8, 20};
    runCutShort(pc());
    EXPECT_EQ(backups().size(), 4U);
    EXPECT_EQ(runCli(recoverOn(pc(), {"--allow-destructive"})).code, 0);
    EXPECT_TRUE(isAsBefore());
}

TEST_F(Recover, NoneIsPutBackBeforeALaterOneThatCannotBeReadNow) {
    runCutShort(pc());
    std::string const before = image_.contents();
    auto const storage = journal::folderStorage(journal_.string());
    journal::Journal later(*storage);
    std::vector<std::byte> const bytes(sectorsOfAPiece * sectorSize, std::byte{0xEE});
    auto kept = later.keep({"S1", "Stick", sectors * sectorSize, sectorSize}, {8, sectorsOfAPiece}, bytes);
    ASSERT_TRUE(kept.entry); // somebody has it open
    for (std::vector<std::string> const & more :
         {std::vector<std::string>{"--allow-destructive"}, {"--allow-destructive", "--device", "DISK\\ONE"}}) {
        auto const result = runCli(recoverOn(pc(), more));
        EXPECT_EQ(result.code, 6);
        EXPECT_TRUE(contains(result.output, "A later backup cannot be read now")) << result.output;
        EXPECT_EQ(image_.contents(), before);
    }
    kept.entry->file.reset();
    EXPECT_EQ(runCli(recoverOn(pc(), {"--allow-destructive"})).code, 0);
    EXPECT_TRUE(isAsBefore());
}

TEST_F(Recover, ItAsksBeforeItWrites) {
    runCutShort(pc());
    auto const withoutTerminal = runCli(recoverOn(pc()));
    EXPECT_EQ(withoutTerminal.code, 5);
    EXPECT_TRUE(contains(withoutTerminal.errors, "--allow-destructive"));

    FakeConsole declining;
    declining.beTerminal();
    declining.type("no");
    EXPECT_EQ(runCli(recoverOn(pc()), declining).code, 8);
    EXPECT_EQ(backups().size(), 1U);
    EXPECT_FALSE(isAsBefore());

    FakeConsole agreeing;
    agreeing.beTerminal();
    agreeing.type("yes");
    EXPECT_EQ(runCli(recoverOn(pc()), agreeing).code, 0);
    EXPECT_TRUE(isAsBefore());
}

TEST_F(Recover, ADryRunChangesNothing) {
    runCutShort(pc());
    std::string const before = image_.contents();
    auto const result = runCli(recoverOn(pc(), {"--dry-run"}));
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(contains(result.output, "It can be put back."));
    EXPECT_EQ(image_.contents(), before);
    EXPECT_EQ(backups().size(), 1U);
}

TEST_F(Recover, AnotherDiskIsNotWrittenTo) {
    runCutShort(pc());
    std::string const before = image_.contents();
    auto const result = runCli(recoverOn(pc(R"("serialNumber": "S2")"), {"--allow-destructive"}));
    EXPECT_EQ(result.code, 3);
    EXPECT_TRUE(contains(result.output, "not in this PC"));
    auto const named = runCli(recoverOn(pc(R"("serialNumber": "S2")"), {"--device", "DISK\\ONE"}));
    EXPECT_EQ(named.code, 0);
    EXPECT_TRUE(contains(named.output, "Nothing is owed to this disk."));
    EXPECT_EQ(image_.contents(), before);
    EXPECT_EQ(backups().size(), 1U);
}

TEST_F(Recover, ADiskOfAnotherSizeIsNotWrittenTo) {
    runCutShort(pc());
    std::string const before = image_.contents();
    auto const result = runCli(recoverOn(pc(R"("serialNumber": "S1")", sectors - 1), {"--allow-destructive"}));
    EXPECT_EQ(result.code, 6);
    EXPECT_TRUE(contains(result.output, "it is another disk, or another medium. Nothing was written."))
        << result.output;
    auto const sized =
        runCli(recoverOn(pc(R"("serialNumber": "S1", "sectorSize": 1024)", sectors / 2), {"--allow-destructive"}));
    EXPECT_EQ(sized.code, 6);
    EXPECT_TRUE(contains(sized.output, "sectors of 1024 bytes")) << sized.output;
    EXPECT_EQ(image_.contents(), before);
    EXPECT_EQ(backups().size(), 1U);
}

TEST_F(Recover, ADiskWithoutSerialNumberHasToBeNamed) {
    std::string const nameless = pc(R"("serialNumber": "")");
    runCutShort(nameless);
    EXPECT_EQ(runCli(recoverOn(nameless, {"--allow-destructive"})).code, 6);
    EXPECT_FALSE(isAsBefore());
    EXPECT_EQ(runCli(recoverOn(nameless, {"--allow-destructive", "--device", "DISK\\ONE"})).code, 0);
    EXPECT_TRUE(isAsBefore());
}

// It may have told none, or not in time, when the program was started.
TEST_F(Recover, ADiskThatToldItsSerialNumberOnlyOnceHasToBeNamed) {
    std::string const told = pc();
    std::string const untold = pc(R"("serialNumber": "")");
    for (auto const & [before, now] : {std::pair(untold, told), std::pair(told, untold)}) {
        runCutShort(before);
        EXPECT_EQ(runCli(runOn(now)).code, 6); // another copy could not be told from the first
        auto const refused = runCli(recoverOn(now, {"--allow-destructive"}));
        EXPECT_EQ(refused.code, 6);
        EXPECT_TRUE(contains(refused.output, "so that it may be another one that looks alike. Name it with --device."))
            << refused.output;
        EXPECT_FALSE(isAsBefore());
        EXPECT_EQ(runCli(recoverOn(now, {"--allow-destructive", "--device", "DISK\\ONE"})).code, 0);
        EXPECT_TRUE(isAsBefore());
        EXPECT_TRUE(backups().empty());
    }
}

TEST_F(Recover, ADiskWithTheSerialNumberGoesBeforeOneThatTellsNone) {
    runCutShort(pc());
    std::string const two = pcFile(
        R"({"port": 1, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\TWO",
            "disk": {"instanceId": "DISK\\TWO", "number": 2, "name": "Stick", "sectorCount": 64}}},
           {"port": 2, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\ONE",
            "disk": {"instanceId": "DISK\\ONE", "number": 1, "name": "Stick", "image": ")" +
        image_.inJson() + R"(", "serialNumber": "S1"}}})");
    EXPECT_EQ(runCli(recoverOn(two, {"--allow-destructive"})).code, 0);
    EXPECT_TRUE(isAsBefore());
}

TEST_F(Recover, ADiskOfAnotherModelHasToBeNamed) {
    runCutShort(pc());
    std::string const before = image_.contents();
    std::string const renamed = pc(R"("serialNumber": "S1")", sectors, "Disk");
    auto const result = runCli(recoverOn(renamed, {"--allow-destructive"}));
    EXPECT_EQ(result.code, 6);
    EXPECT_TRUE(contains(result.output, "The disk has the serial number of the one that was backed up, but is called "
                                        "Disk, not Stick. Name it with --device if it is the one."))
        << result.output;
    EXPECT_EQ(runCli(recoverOn(renamed, {"--dry-run"})).code, 6);
    EXPECT_EQ(image_.contents(), before);
    EXPECT_EQ(backups().size(), 1U);
    EXPECT_TRUE(contains(runCli({"devices", "--machine", renamed}).errors, "An earlier run was cut short"));
    EXPECT_EQ(runCli(runOn(renamed)).code, 6);

    EXPECT_EQ(runCli(recoverOn(renamed, {"--allow-destructive", "--device", "DISK\\ONE"})).code, 0);
    EXPECT_TRUE(isAsBefore());
}

TEST_F(Recover, ABackupWithoutAModelBelongsToTheDiskWithItsSerialNumber) {
    auto const storage = journal::folderStorage(journal_.string());
    ASSERT_EQ(storage->make(), 0U);
    std::vector<std::byte> const bytes(sectorsOfAPiece * sectorSize, std::byte{0x44});
    ASSERT_TRUE(journal::Journal(*storage)
                    .keep({"S1", "", sectors * sectorSize, sectorSize}, {8, sectorsOfAPiece}, bytes)
                    .entry);
    EXPECT_EQ(runCli(recoverOn(pc(), {"--allow-destructive"})).code, 0);
    EXPECT_EQ(image_.contents()[8 * sectorSize], '\x44');
}

TEST_F(Recover, ADiskInUseIsLeftAlone) {
    runCutShort(pc());
    auto const result = runCli(
        recoverOn(pc(R"("serialNumber": "S1", "volumes": [{"firstSector": 0, "sectorCount": 64, "inUse": true}])"),
                  {"--allow-destructive"}));
    EXPECT_EQ(result.code, 7);
    EXPECT_EQ(backups().size(), 1U);
}

TEST_F(Recover, AFailedWriteLeavesTheBackupForTheNextTime) {
    runCutShort(pc());
    for (char const * const fault : {R"({"call": "write", "error": 1117})", R"({"call": "read", "error": 1117})"}) {
        auto const result = runCli(
            recoverOn(pc(std::string(R"("serialNumber": "S1", "faults": [)") + fault + "]"), {"--allow-destructive"}));
        EXPECT_EQ(result.code, 1) << result.output;
        EXPECT_EQ(backups().size(), 1U);
    }
    EXPECT_EQ(runCli(recoverOn(pc(), {"--allow-destructive"})).code, 0);
    EXPECT_TRUE(isAsBefore());
    EXPECT_TRUE(backups().empty());
}

TEST_F(Recover, ADamagedBackupIsNotUsed) {
    runCutShort(pc());
    std::string const before = image_.contents();
    std::fstream(journal_ / "backup-000001.undo", std::ios::binary | std::ios::in | std::ios::out).seekp(5000) << 'x';
    auto const result = runCli(recoverOn(pc(), {"--allow-destructive"}));
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(contains(result.output, "The backup is damaged")) << result.output;
    fs::resize_file(journal_ / "backup-000001.undo", 100);
    EXPECT_EQ(runCli(recoverOn(pc(), {"--allow-destructive"})).code, 1);
    EXPECT_EQ(image_.contents(), before);

    EXPECT_EQ(runCli(recoverOn(pc(), {"--discard", "--allow-destructive"})).code, 0);
    EXPECT_TRUE(backups().empty());
    EXPECT_EQ(image_.contents(), before);
}

// What a damaged one held is what the earlier one did, with what a failed restore made of it.
TEST_F(Recover, AnEarlierBackupDoesNotWaitForALaterOneThatIsDamaged) {
    pieces_ = {8, 10, 8};
    runCutShort(pc());
    for (char const * const name : {"backup-000002.undo", "backup-000003.undo"}) {
        std::fstream(journal_ / name, std::ios::binary | std::ios::in | std::ios::out).seekp(5000) << 'x';
    }
    auto const result = runCli(recoverOn(pc(), {"--allow-destructive"}));
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(contains(result.output, "backup-000001.undo: The bytes are back")) << result.output;
    EXPECT_EQ(backups().size(), 2U);
    EXPECT_EQ(image_.contents().substr(8 * sectorSize, sectorsOfAPiece * sectorSize),
              std::string(sectorsOfAPiece * sectorSize, '\x33'));
    runCli(recoverOn(pc(), {"--allow-destructive"}));
    EXPECT_EQ(image_.contents().substr(8 * sectorSize, sectorsOfAPiece * sectorSize),
              std::string(sectorsOfAPiece * sectorSize, '\x33'));
}

TEST_F(Recover, AHostReadsWhatIsOwedAndWhatBecameOfIt) {
    runCutShort(pc());
    auto const result = runCli(recoverOn(pc(), {"--allow-destructive", "--format", "jsonl"}));
    keepForSchemaCheck(result.output);
    auto const lines = linesOf(result.output);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0]["type"], "owed");
    EXPECT_EQ(lines[0]["firstSector"], 8);
    EXPECT_EQ(lines[0]["devices"], nlohmann::json::array({"DISK\\ONE"}));
    EXPECT_EQ(lines[1]["outcome"], "restored");
    EXPECT_EQ(lines[2]["result"], "PASS");
    EXPECT_TRUE(isAsBefore());
}

TEST_F(Recover, AHostReadsThatAStopCameInTheMiddle) {
    runCutShort(pc());
    FakeConsole stopping;
    stopping.stopAfterPolls(3); // before the backup, its comparison and its writing; not before it is read back
    auto const result = runCli(recoverOn(pc(), {"--allow-destructive", "--format", "jsonl"}), stopping);
    EXPECT_EQ(result.code, 8);
    keepForSchemaCheck(result.output);
    EXPECT_TRUE(contains(result.output, R"("outcome":"stopped","text":"Stopped; run it again to put the rest back.")"))
        << result.output;
    EXPECT_TRUE(isAsBefore());
    EXPECT_EQ(backups(), std::vector<std::string>{"backup-000001.undo"});
    EXPECT_EQ(runCli(recoverOn(pc(), {"--allow-destructive"})).code, 0);
    EXPECT_TRUE(backups().empty());
}

TEST_F(Recover, LostOutputIsAStop) {
    for (std::vector<std::string> const & format : {std::vector<std::string>{}, {"--format", "jsonl"}}) {
        runCutShort(pc());
        std::string const before = image_.contents();
        std::vector<std::string> arguments = recoverOn(pc(), {"--allow-destructive"});
        arguments.insert(arguments.end(), format.begin(), format.end());
        FakeConsole full;
        full.loseOutputAfter(0);
        EXPECT_EQ(runCli(arguments, full).code, 8);
        EXPECT_EQ(image_.contents(), before);
        EXPECT_EQ(backups().size(), 1U);
        EXPECT_EQ(runCli(arguments).code, 0);
        FakeConsole alsoFull;
        alsoFull.loseOutputAfter(0);
        EXPECT_EQ(runCli(arguments, alsoFull).code, 8); // when nothing is owed
    }
}

TEST_F(Recover, TheFolderCanBeNamed) {
    std::string const folder = (fs::path(support::useOwnStateFolder()) / "named").string();
    runCutShort(pc(), {"--journal", folder});
    EXPECT_TRUE(backups().empty());
    EXPECT_TRUE(fs::exists(fs::path(folder) / "backup-000001.undo"));
    EXPECT_EQ(runCli(recoverOn(pc(), {"--journal", folder, "--allow-destructive"})).code, 0);
    EXPECT_TRUE(isAsBefore());
}

} // namespace
} // namespace test
