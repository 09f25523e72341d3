// Giving up what is owed.
#include "RecoverFixture.h"

#include "journal/Folder.h"
#include "journal/Journal.h"
#include "terminal/Console.h"
#include "tkit5/Start.h"

#include <chrono>
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
TEST_F(Recover, ABackupThatARunMakesMeanwhileIsNotGivenUp) {
    runCutShort(pc());
    auto const storage = journal::folderStorage(journal_.string());
    journal::Journal other(*storage);
    std::vector<std::byte> const bytes(sectorsOfAPiece * sectorSize, std::byte{0x33});
    journal::Journal::Kept kept;
    AnsweringConsole console([&] {
        EXPECT_EQ(other.close("backup-000001.undo").error, 0U);
        kept = other.keep({"S1", "Stick", sectors * sectorSize, sectorSize}, {20, sectorsOfAPiece}, bytes);
    });
    EXPECT_EQ(tkit5::runCommandLine(recoverOn(pc(), {"--discard"}), console), 6);
    EXPECT_TRUE(contains(console.output(), "backup-000001.undo: It is in use by a run.")) << console.output();
    ASSERT_TRUE(kept.entry);
    EXPECT_EQ(kept.entry->name, "backup-000001.undo");
    EXPECT_EQ(backups().size(), 1U);
}

} // namespace
} // namespace test
