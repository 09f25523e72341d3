// Which folders can hold backups.
#include "RecoverFixture.h"

#include "machine/simulated/DescriptionReader.h"
#include "machine/simulated/MemoryStore.h"
#include "machine/simulated/SimulatedMachine.h"
#include "support/Mounts.h"
#include "tkit5/DeviceCatalog.h"
#include "tkit5/JournalPlace.h"
#include "tkit5/JournalUse.h"
#include "tkit5/RunLoop.h"

#include <memory>
#include <optional>
#include <utility>
#include <variant>

namespace test {
namespace {

class JournalPlace : public Recover {
protected:
    JournalPlace() { fs::create_directories(journal_); }

    std::string folder() const { return journal_.string(); }

    // A PC whose disk has these bytes behind it; they are never opened.
    class Pc {
    public:
        explicit Pc(std::string const & backing) : machine_(make(backing)), inUse_(*machine_) {}
        tkit5::DeviceCatalog const & catalog() const { return catalog_; }
        std::vector<tkit5::CatalogDevice const *> disks() const { return catalog_.find("DISK\\ONE"); }

    private:
        static std::unique_ptr<machine::Machine> make(std::string const & backing) {
            auto read = machine::readDescription(contentsOf(pcFile(
                R"({"port": 1, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\ONE",
                    "disk": {"instanceId": "DISK\\ONE", "number": 1, "sectorCount": 64}}})")));
            auto & description = std::get<machine::simulated::Description>(read);
            auto & disk = *description.controllers.front().rootHub.hub.ports.front().device->disk;
            disk.facts.backing = backing;
            disk.store = machine::simulated::makeMemoryStore(sectors * sectorSize, std::nullopt);
            return machine::makeSimulatedMachine(std::move(description));
        }
        std::unique_ptr<machine::Machine> machine_;
        machine::InUse inUse_;
        tkit5::DeviceCatalog catalog_;
    };
    std::string whyNotFor(std::string const & backing) const {
        Pc const pc(backing);
        return tkit5::whyNoJournal(folder(), pc.disks());
    }
    static std::string whyNotIn(fs::path const & folder) {
        Pc const pc({});
        return tkit5::whyNoJournal(folder.string(), pc.disks());
    }

    // In memory, so that it lies on no disk.
    static fs::path folderInMemory() {
        fs::path const memory = "/dev/shm";
        return support::isInMemory(memory) ? memory / fs::path(temporaryName("")).filename() : fs::path();
    }
};

TEST_F(JournalPlace, NoFolderOnTheDiskThatIsTested) {
    std::string const device = support::deviceOf(journal_);
    if (device.empty()) {
        GTEST_SKIP() << "the folder for temporary files lies on no block device that this system names";
    }
    EXPECT_EQ(whyNotFor(device), folder() + " lies on the disk that is tested.");
    EXPECT_TRUE(filesIn(journal_).empty());
    EXPECT_EQ(whyNotFor(image_.whole()), "");
    EXPECT_EQ(whyNotFor(""), "");
}

TEST_F(JournalPlace, AFolderInMemoryIsUsedWithAWarning) {
    fs::path const inMemory = folderInMemory();
    if (inMemory.empty()) {
        GTEST_SKIP() << "this system has no folder /dev/shm in memory";
    }
    fs::remove_all(inMemory);
    auto const result = runCli(runOn(pc(), {"--journal", inMemory.string()}));
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(contains(result.errors, inMemory.string() + " is in memory: backups there outlast the end of this "
                                                            "program, but no loss of power."))
        << result.errors;
    EXPECT_TRUE(isAsBefore());
    EXPECT_TRUE(fs::is_directory(inMemory));
    fs::remove_all(inMemory);

    bool const isUsualInMemory = support::isInMemory(journal_);
    EXPECT_EQ(contains(runCli(runOn(pc())).errors, "is in memory"), isUsualInMemory);
}

// Nothing is wrong with a device then.
TEST_F(JournalPlace, AFolderThatCannotBeMadeIsRefusedForItsName) {
    fs::path const odd = journal_ / "a<b"; // which some systems allow
    std::string const why = whyNotIn(odd);
    std::string const sentence = " cannot be used. This name is too long, or the system does not allow it.";
    EXPECT_EQ(why, fs::is_directory(odd) ? "" : odd.string() + sentence);

    fs::path const tooLong = journal_ / std::string(300, 'n');
    std::string const whyNotSoLong = whyNotIn(tooLong);
    std::vector<std::string> const reasons{tooLong.string() + " cannot be used. This name or path is longer than the "
                                                              "system allows.",
                                           tooLong.string() + sentence, // as Windows says, and Wine:
                                           tooLong.string() + " cannot be used. There is no folder of this name."};
    EXPECT_EQ(std::ranges::count(reasons, whyNotSoLong), 1) << whyNotSoLong;
}

// Whose volumes are locked during the run.
TEST_F(JournalPlace, NothingIsNotedOnTheDiskThatIsTested) {
    std::string const device = support::deviceOf(journal_);
    fs::path const inMemory = folderInMemory();
    if (device.empty() || inMemory.empty()) {
        GTEST_SKIP() << "this system names no block device below the folder for temporary files, or has no /dev/shm";
    }
    runCli({"tests"}); // declares them
    tkit5::RegisteredTest const & rewrite = *tkit5::Registry::instance().findTest("Rewrite");
    tkit5::PassedParameters parameters;
    ASSERT_EQ(parameters.set(
                  rewrite,
                  {{"PerformWritePerformance", "true"}, {"PreserveAndRestoreData", "true"}, {"PromptEnable", "true"}}),
              "");
    Pc const pc(device);
    tkit5::Options options;
    options.journal = inMemory.string();
    FakeConsole console;
    tkit5::JournalUse use(options, console);
    EXPECT_FALSE(use.prepare(rewrite, tkit5::fateOfData(rewrite, false), pc.disks(), pc.catalog(), false));
    EXPECT_TRUE(notes().empty());
    EXPECT_TRUE(contains(console.errors(), folder() + " lies on the disk that is tested.")) << console.errors();
    fs::remove_all(inMemory);
}

} // namespace
} // namespace test
