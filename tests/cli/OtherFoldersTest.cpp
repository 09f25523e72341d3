// Runs that keep their backups in a folder that was named, and who finds what is owed there.
#include "RecoverFixture.h"

#include "tkit5/Start.h"

#include <fstream>
#include <utility>

namespace test {
namespace {

class OtherFolders : public Recover {
protected:
    OtherFolders() : named_(journal_.parent_path() / "named") {}

    static std::string utf8(fs::path const & path) {
        std::u8string const text = path.u8string();
        return {text.begin(), text.end()};
    }
    static std::vector<std::string> journalIn(fs::path const & folder, std::vector<std::string> more = {}) {
        more.insert(more.end(), {"--journal", utf8(folder)});
        return more;
    }
    // The command that puts back what is owed in a folder.
    static std::string commandFor(fs::path const & folder) {
        return "'nuvrusb recover --journal \"" + utf8(fs::weakly_canonical(folder)) + "\"";
    }
    CliResult devices() const { return runCli({"devices", "--machine", pc()}); }
    CliResult recoverIn(fs::path const & folder, std::vector<std::string> more = {}) const {
        more.emplace_back("--allow-destructive");
        return runCli(recoverOn(pc(), journalIn(folder, std::move(more))));
    }
    void expectFoundIn(fs::path const & folder) { expectFoundIn(folder, pc()); }
    void expectFoundIn(fs::path const & folder, std::string const & onPc) {
        std::string const command = commandFor(folder);
        std::string const told = runCli({"devices", "--machine", onPc}).errors;
        EXPECT_TRUE(contains(told, command)) << told;
        auto const recover = runCli(recoverOn(onPc));
        EXPECT_EQ(recover.code, 0);
        EXPECT_TRUE(contains(recover.output, ": 1. " + command)) << recover.output;
    }
    void expectRefused(std::vector<std::string> const & run, std::string const & why) {
        calls().devices.clear();
        auto const refused = runCli(run);
        EXPECT_EQ(refused.code, 6);
        std::size_t const at = refused.errors.rfind("nuvrusb: ");
        EXPECT_TRUE(at != std::string::npos && contains(refused.errors.substr(at), why) &&
                    contains(refused.errors.substr(at), "so nothing was run"))
            << refused.errors;
        EXPECT_TRUE(calls().devices.empty());
    }

    // Backups of one disk, in the named folder and then in the usual one, of a run that knew nothing of the first.
    void runTwiceCutShort(std::vector<std::uint64_t> const & laterPieces) {
        runCutShort(pc(), journalIn(named_));
        fs::path const away = journal_.parent_path() / "away";
        fs::rename(journal_, away);
        pieces_ = laterPieces;
        runCutShort(pc());
        for (std::string const & note : filesIn(away)) {
            fs::rename(away / note, journal_ / note);
        }
        ASSERT_EQ(notes().size(), 1U);
        ASSERT_EQ(backups().size(), 1U);
        ASSERT_EQ(filesIn(named_).size(), 1U);
    }

    static constexpr char const * nobodyKnows_ = "no later one will know";
    static constexpr char const * nothingThere_ = "was cut short, and there are none now";
    fs::path named_;
};

TEST_F(OtherFolders, ARunNotesItsFolderAsLongAsItMayOweSomething) {
    std::vector<std::string> during;
    beforeRestore_ = [&] { during = notes(); };
    auto const result = runCli(runOn(pc(), journalIn(named_)));
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(during.size(), 1U);
    EXPECT_TRUE(notes().empty());
    EXPECT_TRUE(filesIn(named_).empty());
}

TEST_F(OtherFolders, WhatIsOwedThereIsFoundByWhoDoesNotNameIt) {
    runCutShort(pc(), journalIn(named_));
    EXPECT_TRUE(backups().empty());
    EXPECT_EQ(filesIn(named_), std::vector<std::string>{"backup-000001.undo"});
    expectFoundIn(named_);
    EXPECT_TRUE(contains(runCli({"run", "WholeBus", "--machine", pc()}).errors, commandFor(named_)));
    calls().devices.clear();
    for (auto const & more : {std::vector<std::string>{}, {"--no-journal"}, journalIn(journal_.parent_path() / "b")}) {
        auto const refused = runCli(runOn(pc(), more));
        EXPECT_EQ(refused.code, 6);
        EXPECT_TRUE(contains(refused.errors, "Put it back with " + commandFor(named_))) << refused.errors;
        EXPECT_TRUE(calls().devices.empty());
    }

    EXPECT_EQ(recoverIn(named_).code, 0);
    EXPECT_TRUE(isAsBefore());
    EXPECT_TRUE(notes().empty());
    EXPECT_EQ(devices().errors, "");
}

TEST_F(OtherFolders, WhatIsOwedInTheUsualFolderIsFoundByWhoNamesAnother) {
    runCutShort(pc());
    auto const refused = runCli(runOn(pc(), journalIn(named_)));
    EXPECT_EQ(refused.code, 6);
    EXPECT_TRUE(contains(refused.errors, "Put it back with 'nuvrusb recover --machine")) << refused.errors;
    EXPECT_TRUE(contains(recoverIn(named_).output, ": 1. 'nuvrusb recover --machine"));
    EXPECT_FALSE(isAsBefore());
    EXPECT_TRUE(notes().empty());
}

TEST_F(OtherFolders, WhereNothingIsOwedIsToldOnlyOfTheFolderThatWasLookedAt) {
    runCutShort(pc(), journalIn(named_));
    EXPECT_TRUE(runCli(recoverOn(pc())).output.starts_with("Nothing is owed in " + utf8(journal_) + ".\n"));
    EXPECT_TRUE(runCli(recoverOn(pc(), {"--device", "DISK\\ONE"}))
                    .output.starts_with("Nothing is owed to this disk in " + utf8(journal_) + ".\n"));
    EXPECT_EQ(recoverIn(named_).code, 0);
    EXPECT_EQ(runCli(recoverOn(pc())).output, "No backup is owed to any disk.\n");
}

TEST_F(OtherFolders, AFolderThatIsNotThereIsTold) {
    for (auto const & more : {std::vector<std::string>{}, {"--dry-run"}}) {
        auto const missing = recoverIn(named_, more);
        EXPECT_EQ(missing.code, 6);
        EXPECT_EQ(missing.output, "");
        EXPECT_EQ(missing.errors, "nuvrusb: There is no folder " + utf8(named_) + ".\n");
    }
    EXPECT_EQ(recoverIn(named_, {"--discard"}).code, 0);
    EXPECT_FALSE(fs::exists(named_));
    fs::create_directories(named_.parent_path());
    std::ofstream(named_) << "a file";
    auto const noFolder = recoverIn(named_);
    EXPECT_EQ(noFolder.code, 6);
    EXPECT_EQ(noFolder.errors, "nuvrusb: " + utf8(named_) + " is not a folder.\n");
    EXPECT_EQ(runCli(recoverOn(pc())).output, "No backup is owed to any disk.\n"); // the usual one is not made yet
}

TEST_F(OtherFolders, AHostReadsWhereElseSomethingIsOwed) {
    runCutShort(pc(), journalIn(named_));
    fs::create_directory(journal_ / "folder-00000000-1.txt"); // a note that cannot be read
    auto const result = runCli(recoverOn(pc(), {"--format", "jsonl"}));
    keepForSchemaCheck(result.output);
    auto const lines = linesOf(result.output);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0]["type"], "otherFolder");
    EXPECT_EQ(lines[0]["folder"], utf8(fs::weakly_canonical(named_)));
    EXPECT_EQ(lines[0]["owed"], 1);
    EXPECT_TRUE(contains(lines[0]["text"], commandFor(named_)));
    EXPECT_EQ(lines[1]["type"], "otherFolder");
    EXPECT_TRUE(lines[1]["folder"].is_null());
    EXPECT_TRUE(lines[1]["owed"].is_null());
    EXPECT_EQ(lines[2]["type"], "recoverEnd");
}

TEST_F(OtherFolders, AFolderIsFoundFromWhereverItWasNamed) {
    fs::create_directories(named_.parent_path());
    fs::path const before = fs::current_path();
    fs::current_path(named_.parent_path());
    runCutShort(pc(), {"--journal", utf8(named_.filename()) + "/"});
    fs::current_path(before);
    expectFoundIn(named_);
    EXPECT_EQ(recoverIn(named_).code, 0);
    EXPECT_TRUE(isAsBefore());
    EXPECT_TRUE(notes().empty());
}

// Nothing was overwritten before the note was complete.
TEST_F(OtherFolders, ANoteThatWasNeverCompletedHoldsUpNothingAndIsRemoved) {
    fs::create_directories(journal_);
    std::string const name = "folder-00000000-1.new";
    std::ofstream(journal_ / name) << "half a na";
    EXPECT_EQ(devices().errors, "");
    EXPECT_EQ(runCli(runOn(pc(), journalIn(named_))).code, 0);
    EXPECT_EQ(recoverIn(named_, {"--dry-run"}).code, 0);
    EXPECT_EQ(filesIn(journal_), std::vector<std::string>{name});
    EXPECT_EQ(recoverIn(named_).code, 0);
    EXPECT_TRUE(filesIn(journal_).empty());
}

TEST_F(OtherFolders, ANameInAnyScriptIsFound) {
    named_ = journal_.parent_path() / fs::path(u8"Gr\u00FC\u00DFe \u65E5\u672C");
    runCutShort(pc(), journalIn(named_));
    expectFoundIn(named_);
    EXPECT_EQ(recoverIn(named_).code, 0);
    EXPECT_TRUE(isAsBefore());
    EXPECT_TRUE(notes().empty());
}

TEST_F(OtherFolders, EachOfTwoFoldersIsFoundUntilItIsSettled) {
    fs::path const second = journal_.parent_path() / "second";
    runCutShort(pc(), journalIn(named_));
    auto const other = [this] { return pc(R"("serialNumber": "S2")"); };
    runCutShort(other(), journalIn(second));
    EXPECT_EQ(notes().size(), 2U);
    expectFoundIn(named_);
    expectFoundIn(second, other());
    EXPECT_EQ(recoverIn(named_).code, 0);
    EXPECT_EQ(notes().size(), 1U);
    expectFoundIn(second, other());
    EXPECT_FALSE(contains(devices().errors, commandFor(named_)));
}

TEST_F(OtherFolders, TheUsualFolderIsNoOtherOneWhenItIsNamed) {
    runCutShort(pc(), {"--journal", utf8(journal_ / ".." / "nuvrusb")});
    EXPECT_TRUE(notes().empty());
    EXPECT_EQ(backups().size(), 1U);
    auto const result = recoverIn(journal_);
    EXPECT_EQ(result.code, 0);
    EXPECT_FALSE(contains(result.output, "owed in")) << result.output;
    EXPECT_TRUE(isAsBefore());
}

// As when its disk is not connected, or not mounted.
TEST_F(OtherFolders, AFolderWhereNothingIsLeftIsNotForgotten) {
    runCutShort(pc(), journalIn(named_));
    fs::path const away = journal_.parent_path() / "away";
    fs::rename(named_, away);
    for (bool const isThere : {false, true}) {
        if (isThere) {
            fs::create_directory(named_);
        }
        EXPECT_TRUE(contains(devices().errors, nothingThere_)) << devices().errors;
        auto const recover = runCli(recoverOn(pc(), {"--allow-destructive"}));
        EXPECT_EQ(recover.code, 0);
        EXPECT_TRUE(contains(recover.errors, nothingThere_)) << recover.errors;
        auto const named = recoverIn(named_);
        EXPECT_EQ(named.code, isThere ? 0 : 6);
        EXPECT_EQ(contains(named.errors, "There is no folder " + utf8(named_) + ".\n"), !isThere) << named.errors;
        EXPECT_TRUE(contains(named.errors, nothingThere_)) << named.errors;
        EXPECT_EQ(contains(named.output, "Nothing is owed in " + utf8(named_)), isThere) << named.output;
        EXPECT_EQ(recoverIn(named_, {"--discard", "--dry-run"}).code, 0);
        EXPECT_EQ(notes().size(), 1U);
    }
    fs::remove(named_);
    fs::rename(away, named_);
    expectFoundIn(named_);
}

TEST_F(OtherFolders, NothingIsWrittenWhileAFolderIsMissingOrEmpty) {
    runCutShort(pc(), journalIn(named_));
    std::string const overwritten = image_.contents();
    std::string const command = commandFor(named_);
    std::string const inNamed = "A run that kept backups in " + utf8(fs::weakly_canonical(named_));
    fs::path const away = journal_.parent_path() / "away";
    fs::rename(named_, away);
    for (bool const isThere : {false, true}) {
        if (isThere) {
            fs::create_directory(named_);
        }
        for (auto const & more : {std::vector<std::string>{}, {"--no-journal"}, journalIn(named_)}) {
            expectRefused(runOn(pc(), more), inNamed);
            expectRefused(runOn(pc(), more), "make it available again and use " + command);
            expectRefused(runOn(pc(), more), "or give it up with " + command);
        }
        expectRefused({"run", "Overwrite", "--machine", pc(), "--device", "DISK\\ONE", "--allow-destructive"}, inNamed);
        EXPECT_EQ(runCli({"run", "WholeBus", "--machine", pc()}).code, 0);
    }
    EXPECT_EQ(image_.contents(), overwritten);
    fs::remove(named_);
    fs::rename(away, named_);
    EXPECT_EQ(recoverIn(named_).code, 0);
    EXPECT_TRUE(isAsBefore());
    EXPECT_EQ(runCli(runOn(pc())).code, 0);
}

TEST_F(OtherFolders, ADiskInMemoryIsTestedWhileAFolderIsMissing) {
    runCutShort(pc(), journalIn(named_));
    fs::remove_all(named_);
    std::string const inMemory =
        pcFile(R"({"port": 1, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\ONE",
            "disk": {"instanceId": "DISK\\ONE", "number": 1, "sectorCount": 64}}})");
    EXPECT_EQ(runCli(runOn(inMemory)).code, 0);
}

TEST_F(OtherFolders, OfTwoBackupsOfTheSameSectorsNoneIsPutBack) {
    runTwiceCutShort({10});
    std::string const overwritten = image_.contents();
    for (auto const & more : {journalIn(named_), std::vector<std::string>{}, {"--device", "DISK\\ONE"}}) {
        auto arguments = recoverOn(pc(), more);
        arguments.emplace_back("--allow-destructive");
        auto const refused = runCli(arguments);
        EXPECT_EQ(refused.code, 6);
        EXPECT_TRUE(contains(refused.output, "holds a backup of the same sectors, too")) << refused.output;
        EXPECT_TRUE(contains(refused.output, commandFor(named_))) << refused.output;
        EXPECT_TRUE(contains(refused.output, "'nuvrusb recover --machine")) << refused.output;
    }
    EXPECT_EQ(runCli(recoverOn(pc(), {"--dry-run"})).code, 6);
    EXPECT_EQ(image_.contents(), overwritten);
    EXPECT_EQ(backups().size(), 1U);
    EXPECT_EQ(filesIn(named_).size(), 1U);
    EXPECT_EQ(notes().size(), 1U);

    EXPECT_EQ(runCli(recoverOn(pc(), {"--discard", "--allow-destructive"})).code, 0);
    EXPECT_EQ(recoverIn(named_).code, 0);
    EXPECT_EQ(image_.contents().substr(8 * sectorSize, sectorsOfAPiece * sectorSize),
              std::string(sectorsOfAPiece * sectorSize, '\x33'));
    EXPECT_TRUE(notes().empty());
}

TEST_F(OtherFolders, BackupsOfOtherSectorsDoNotWaitForEachOther) {
    runTwiceCutShort({12});
    EXPECT_EQ(runCli(recoverOn(pc(), {"--allow-destructive"})).code, 0);
    EXPECT_EQ(recoverIn(named_).code, 0);
    EXPECT_TRUE(isAsBefore());
}

TEST_F(OtherFolders, AFolderThatIsGivenUpIsForgotten) {
    runCutShort(pc(), journalIn(named_));
    fs::remove_all(named_);
    EXPECT_EQ(recoverIn(named_, {"--discard"}).code, 0);
    EXPECT_TRUE(notes().empty());
    EXPECT_EQ(devices().errors, "");

    runCutShort(pc(), journalIn(named_));
    EXPECT_EQ(recoverIn(named_, {"--discard"}).code, 0);
    EXPECT_TRUE(notes().empty());
}

// Nobody can tell whose the copies are that were there.
TEST_F(OtherFolders, AFolderWhereNothingIsLeftIsGivenUpForAllDisksAndWithLeave) {
    runCutShort(pc(), journalIn(named_));
    fs::remove_all(named_);
    EXPECT_EQ(recoverIn(named_, {"--discard", "--device", "DISK\\ONE"}).code, 0);
    EXPECT_EQ(notes().size(), 1U);

    auto arguments = recoverOn(pc(), journalIn(named_));
    arguments.emplace_back("--discard");
    auto const unasked = runCli(arguments);
    EXPECT_EQ(unasked.code, 5);
    EXPECT_TRUE(contains(unasked.errors, "--allow-destructive")) << unasked.errors;
    FakeConsole declining;
    declining.beTerminal();
    declining.type("no");
    EXPECT_EQ(runCli(arguments, declining).code, 8);
    EXPECT_EQ(notes().size(), 1U);

    FakeConsole agreeing;
    agreeing.beTerminal();
    agreeing.type("yes");
    EXPECT_EQ(runCli(arguments, agreeing).code, 0);
    EXPECT_TRUE(notes().empty());
}

TEST_F(OtherFolders, AFolderThatOwesMoreIsNotForgotten) {
    pieces_ = {8, 20};
    runCutShort(pc(), journalIn(named_));
    std::fstream(named_ / "backup-000001.undo", std::ios::binary | std::ios::in | std::ios::out).seekp(5000) << 'x';
    EXPECT_EQ(recoverIn(named_).code, 1);
    EXPECT_EQ(filesIn(named_).size(), 1U);
    expectFoundIn(named_);
}

TEST_F(OtherFolders, ADamagedNoteIsToldAndNothingIsWritten) {
    runCutShort(pc(), journalIn(named_));
    ASSERT_EQ(notes().size(), 1U);
    fs::path const note = journal_ / notes().front();
    std::ofstream(note) << "something else";
    EXPECT_TRUE(contains(devices().errors, utf8(note) + " is damaged")) << devices().errors;
    EXPECT_TRUE(contains(runCli(recoverOn(pc())).errors, utf8(note) + " is damaged"));
    expectRefused(runOn(pc()), utf8(note) + " is damaged");
    EXPECT_EQ(recoverIn(named_).code, 0);
    expectRefused(runOn(pc(), journalIn(named_)), "Remove the file once nothing is owed");
    EXPECT_EQ(notes().size(), 1U);
    fs::remove(note);
    EXPECT_EQ(runCli(runOn(pc())).code, 0);
}

TEST_F(OtherFolders, NothingIsWrittenWhileANoteCannotBeRead) {
    fs::create_directories(journal_ / "folder-00000000-1.txt");
    for (auto const & more : {std::vector<std::string>{}, journalIn(named_)}) {
        auto const refused = runCli(runOn(pc(), more));
        EXPECT_EQ(refused.code, 6);
        EXPECT_TRUE(contains(refused.errors, "folder-00000000-1.txt, where backups may be, cannot be read"))
            << refused.errors;
    }
    EXPECT_TRUE(calls().devices.empty());
    EXPECT_TRUE(contains(devices().errors, "cannot be read"));
    EXPECT_TRUE(contains(runCli(recoverOn(pc())).errors, "So it is not known what is owed elsewhere"));
}

TEST_F(OtherFolders, NothingIsWrittenWhileAFolderCannotBeRead) {
    fs::create_directories(journal_.parent_path());
    std::error_code failure;
    fs::create_directory_symlink(journal_, journal_, failure); // which leads nowhere
    if (failure) {
        GTEST_SKIP() << "this user cannot make symbolic links: " << failure.message();
    }
    auto const refused = runCli(runOn(pc(), journalIn(named_)));
    EXPECT_EQ(refused.code, 6);
    EXPECT_TRUE(contains(refused.errors, "The backups in " + utf8(journal_) + " cannot be read")) << refused.errors;
    EXPECT_TRUE(contains(recoverIn(named_).errors, "So it is not known what is owed there"));
    fs::remove(journal_);

    runCutShort(pc(), journalIn(named_));
    std::string const folder = utf8(fs::weakly_canonical(named_));
    fs::remove_all(named_);
    fs::create_directory_symlink(named_, named_);
    calls().devices.clear();
    auto const alsoRefused = runCli(runOn(pc()));
    EXPECT_EQ(alsoRefused.code, 6);
    EXPECT_TRUE(contains(alsoRefused.errors, "The backups in " + folder + " cannot be read")) << alsoRefused.errors;
    EXPECT_TRUE(calls().devices.empty());
    EXPECT_EQ(recoverIn(named_, {"--discard"}).code, 6);
    EXPECT_EQ(notes().size(), 1U);
}

TEST_F(OtherFolders, WhereNothingCanBeNotedARunSaysSoAndGoesOn) {
    fs::create_directories(journal_.parent_path());
    std::ofstream(journal_) << "in the way";
    auto const result = runCli(runOn(pc(), journalIn(named_)));
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(contains(result.errors, nobodyKnows_)) << result.errors;
    EXPECT_TRUE(contains(result.errors, utf8(journal_) + " cannot be written to")) << result.errors;
    EXPECT_TRUE(isAsBefore());
}

TEST_F(OtherFolders, WithoutAUsualFolderARunSaysSoAndGoesOn) {
    std::vector<std::string> const arguments = runOn(pc(), journalIn(named_));
    runCli({"tests"}); // declares them
    for (char const * const variable : {"XDG_STATE_HOME", "HOME", "LOCALAPPDATA"}) {
        support::setEnvironment(variable, "");
    }
    FakeConsole console;
    EXPECT_EQ(tkit5::runCommandLine(arguments, console), 0) << console.errors();
    EXPECT_TRUE(contains(console.errors(), nobodyKnows_)) << console.errors();
    EXPECT_TRUE(isAsBefore());
    FakeConsole recovering;
    EXPECT_EQ(tkit5::runCommandLine(recoverOn(pc(), journalIn(named_)), recovering), 0) << recovering.errors();
    EXPECT_EQ(recovering.errors(), "");
}

} // namespace
} // namespace test
