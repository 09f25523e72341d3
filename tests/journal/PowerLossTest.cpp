// What is left of a journal when the power goes at any of its steps.
#include "journal/Journal.h"
#include "support/MemoryStorage.h"

#include <gtest/gtest.h>

namespace {

using journal::FoundEntry;
using support::MemoryDisk;
using support::MemoryStorage;

constexpr std::uint32_t sectorSize = 512;

struct LostPower {};

// Ends the process, as it were, before the n-th call.
class MortalStorage final : public journal::Storage {
public:
    MortalStorage(std::shared_ptr<MemoryDisk> disk, int lastCall) : storage_(disk), disk_(disk), lastCall_(lastCall) {}

    std::string place() const override { return storage_.place(); }
    std::string pathOf(std::string const & name) const override { return storage_.pathOf(name); }
    std::uint32_t make() override { return storage_.make(); }
    journal::Result<journal::StoredFile> create(std::string const & name) override {
        live();
        auto created = storage_.create(name);
        return {std::make_unique<File>(*this, std::move(created.file)), created.error};
    }
    journal::Result<journal::StoredBytes> open(std::string const & name) override { return storage_.open(name); }
    std::uint32_t rename(std::string const & from, std::string const & to) override {
        live();
        return storage_.rename(from, to);
    }
    std::uint32_t remove(std::string const & name) override {
        live();
        return storage_.remove(name);
    }
    std::uint32_t removeAbandoned(std::string const & name) override {
        live();
        return storage_.removeAbandoned(name);
    }
    std::uint32_t syncNames() override {
        live();
        return storage_.syncNames();
    }
    Names list() override {
        live();
        return storage_.list();
    }
    std::optional<std::uint64_t> room() override { return storage_.room(); }

private:
    class File final : public journal::StoredFile {
    public:
        File(MortalStorage & storage, std::unique_ptr<journal::StoredFile> file)
            : storage_(storage), file_(std::move(file)) {}
        std::uint32_t write(journal::Bytes bytes) override {
            storage_.live();
            return file_->write(bytes);
        }
        std::uint32_t sync() override {
            storage_.live();
            return file_->sync();
        }

    private:
        MortalStorage & storage_;
        std::unique_ptr<journal::StoredFile> file_;
    };

    void live() const {
        if (disk_->calls >= lastCall_) {
            throw LostPower{};
        }
    }

    MemoryStorage storage_;
    std::shared_ptr<MemoryDisk> disk_;
    int lastCall_;
};

// A transfer of a write pass on a disk that is a value: backed up, overwritten, restored. What it does to the disk is
// there at once, which is the worst that can happen.
void transfer(journal::Journal & journal, std::vector<std::byte> & disk) {
    auto const before = disk;
    journal::Journal::Kept kept = journal.keep({"1", "Stick", disk.size(), sectorSize}, {0, 4}, before);
    ASSERT_TRUE(kept.entry);
    disk.assign(disk.size(), std::byte{0xEE});
    disk = before;
    ASSERT_EQ(journal.close(std::move(*kept.entry)).error, 0U);
}

// The same, ending between the overwriting and the restoring.
void halfTransfer(journal::Journal & journal, std::vector<std::byte> & disk) {
    journal::Journal::Kept kept = journal.keep({"1", "Stick", disk.size(), sectorSize}, {0, 4}, disk);
    ASSERT_TRUE(kept.entry);
    disk.assign(disk.size(), std::byte{0xEE});
    throw LostPower{};
}

std::vector<support::Remains> const allRemains{
    {false, std::nullopt}, {true, std::nullopt}, {true, 0}, {true, 100}, {true, 4096}, {true, 5000}, {true, 1U << 20U}};

// Undoes what is found, as a recovery does; false when an entry is damaged.
bool undo(MemoryStorage & storage, std::vector<std::byte> & disk) {
    auto found = journal::survey(storage).entries;
    for (auto each = found.rbegin(); each != found.rend(); ++each) {
        if (each->state != FoundEntry::State::Owed) {
            return false;
        }
        auto const opened = storage.open(each->name);
        if (!journal::checkBackup(*opened.file, each->entry).intact) {
            return false;
        }
        journal::readBackup(*opened.file, 0, disk);
    }
    return true;
}

TEST(PowerLossTest, AtEveryStepTheDiskCanBeMadeAsItWas) {
    std::vector<std::byte> const original(std::size_t{4} * sectorSize, std::byte{0x11});
    for (auto const & remains : allRemains) {
        for (bool const half : {false, true}) {
            int call = 0;
            for (bool ended = false; !ended; ++call) {
                ASSERT_LT(call, 50);
                auto const storageDisk = std::make_shared<MemoryDisk>();
                std::vector<std::byte> disk = original;
                MortalStorage mortal(storageDisk, call);
                journal::Journal journal(mortal);
                try {
                    half ? halfTransfer(journal, disk) : transfer(journal, disk);
                    ended = true;
                } catch (LostPower const &) {
                    ended = half && disk != original;
                }
                storageDisk->losePower(remains);

                MemoryStorage later(storageDisk);
                EXPECT_TRUE(undo(later, disk)) << call;
                EXPECT_EQ(disk, original) << call;
            }
            EXPECT_GT(call, 6);
        }
    }
}

// The first entry is owed, and a second transfer on the same range backs up what the first has left.
TEST(PowerLossTest, EntriesAboutOneRangeAreUndoneFromTheLastToTheFirst) {
    auto const storageDisk = std::make_shared<MemoryDisk>();
    MemoryStorage storage(storageDisk);
    std::vector<std::byte> const original(std::size_t{4} * sectorSize, std::byte{0x11});
    std::vector<std::byte> disk = original;
    journal::Journal journal(storage);
    EXPECT_THROW(halfTransfer(journal, disk), LostPower);
    EXPECT_THROW(halfTransfer(journal, disk), LostPower);

    EXPECT_TRUE(undo(storage, disk));
    EXPECT_EQ(disk, original);
}

} // namespace
