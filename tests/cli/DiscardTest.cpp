// Giving up what is owed, and putting it back, while other processes do so too.
#include "RecoverFixture.h"

#include "journal/Folder.h"
#include "journal/Journal.h"
#include "terminal/Console.h"
#include "tkit5/Start.h"

#include <chrono>
#include <fstream>
#include <functional>
#include <optional>
#include <utility>

namespace test {
namespace {

// A terminal where somebody types yes once something else has happened.
class AnsweringConsole final : public terminal::Console {
public:
    explicit AnsweringConsole(std::function<void()> meanwhile) : meanwhile_(std::move(meanwhile)) {}

    std::string const & output() const { return output_; }

    bool write(std::string_view text) override {
        output_ += text;
        return true;
    }
    void writeError(std::string_view text) override { output_ += text; }
    bool outputIsTerminal() const override { return true; }
    bool inputIsTerminal() const override { return true; }
    unsigned width() const override { return 80; }
    bool stopRequested() const override { return false; }
    Input readLine(std::string & line, std::optional<std::chrono::milliseconds>) override {
        meanwhile_();
        line = "yes";
        return Input::Line;
    }

private:
    std::function<void()> meanwhile_;
    std::string output_;
};

// Between the question and the answer another process may have recovered, and a run have begun.
class RecoverMeanwhile : public Recover {
protected:
    // Gives up the backup of the run, and keeps another one under its name, of the same sectors with the same bytes.
    journal::Journal::Kept replace() {
        auto const storage = journal::folderStorage(journal_.string());
        journal::Journal other(*storage);
        std::vector<std::byte> const bytes(sectorsOfAPiece * sectorSize, std::byte{0x33});
        EXPECT_EQ(other.close("backup-000001.undo").error, 0U);
        auto kept = other.keep({"S1", "Stick", sectors * sectorSize, sectorSize}, {8, sectorsOfAPiece}, bytes);
        EXPECT_TRUE(kept.entry);
        return kept;
    }
};

TEST_F(RecoverMeanwhile, ABackupOfARunThatGoesOnIsNotGivenUp) {
    runCutShort(pc());
    journal::Journal::Kept kept;
    AnsweringConsole console([&] { kept = replace(); });
    EXPECT_EQ(tkit5::runCommandLine(recoverOn(pc(), {"--discard"}), console), 6);
    EXPECT_TRUE(contains(console.output(), "backup-000001.undo: It is in use by a run.")) << console.output();
    ASSERT_TRUE(kept.entry);
    EXPECT_EQ(kept.entry->name, "backup-000001.undo");
    EXPECT_EQ(backups().size(), 1U);
}

TEST_F(RecoverMeanwhile, ABackupOfARunThatIsGoneAgainIsNeitherGivenUpNorPutBack) {
    for (auto const & more : {std::vector<std::string>{"--discard"}, {}}) {
        runCutShort(pc());
        std::string const before = image_.contents();
        AnsweringConsole console([&] { replace(); });
        EXPECT_EQ(tkit5::runCommandLine(recoverOn(pc(), more), console), 6);
        EXPECT_TRUE(contains(console.output(), "backup-000001.undo: It was replaced meanwhile by another backup, which "
                                               "is left alone. Run this again."))
            << console.output();
        EXPECT_EQ(backups(), std::vector<std::string>{"backup-000001.undo"});
        EXPECT_EQ(image_.contents(), before);
        EXPECT_EQ(runCli(recoverOn(pc(), {"--allow-destructive"})).code, 0);
        EXPECT_TRUE(isAsBefore());
    }
}

TEST_F(RecoverMeanwhile, ABackupThatIsGoneIsNotSaidToBeBack) {
    for (auto const & more : {std::vector<std::string>{"--discard"}, {}}) {
        runCutShort(pc());
        AnsweringConsole console([&] { fs::remove(journal_ / "backup-000001.undo"); });
        EXPECT_EQ(tkit5::runCommandLine(recoverOn(pc(), more), console), 6);
        EXPECT_TRUE(contains(console.output(), "Its file is gone")) << console.output();
    }
}

TEST_F(RecoverMeanwhile, AnUnfinishedFileOfARunThatGoesOnIsNotRemoved) {
    runCutShort(pc());
    std::ofstream(journal_ / "backup-000007.new") << "half";
    journal::Result<journal::StoredFile> written;
    AnsweringConsole console([&] {
        auto const storage = journal::folderStorage(journal_.string());
        EXPECT_EQ(storage->remove("backup-000007.new"), 0U);
        written = storage->create("backup-000007.new");
        ASSERT_TRUE(written.file);
    });
    EXPECT_EQ(tkit5::runCommandLine(recoverOn(pc()), console), 0) << console.output();
    EXPECT_EQ(backups(), std::vector<std::string>{"backup-000007.new"});
    written.file.reset();
    EXPECT_EQ(runCli(recoverOn(pc())).code, 0);
    EXPECT_TRUE(backups().empty());
}

} // namespace
} // namespace test
