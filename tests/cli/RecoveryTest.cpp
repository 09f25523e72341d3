// Putting back one backup: disks of any sector size, another disk, a stop at any time, a journal that fails.
#include "tkit5/Recovery.h"

#include "journal/Journal.h"
#include "kernel.h"
#include "kernel/Runtime.h"
#include "support/FakeConsole.h"
#include "support/Forwarding.h"
#include "support/MemoryStorage.h"
#include "support/StoredDisk.h"
#include "support/SwappedPc.h"
#include "tkit5/RecoverCommand.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace test {
namespace {

using Kind = tkit5::RecoveryOutcome::Kind;
using Lines = std::vector<std::string>;
using tkit5::TestResult;

constexpr std::size_t diskSize = std::size_t{7} << 19U; // of which some pieces are owed
constexpr std::size_t mostOfAStick = 4096 * 800;

// A PC on which something happens when the disk is opened to be written to, or whose disk cannot be opened then.
class MeanwhilePc final : public support::ForwardingMachine {
public:
    MeanwhilePc(std::unique_ptr<machine::Machine> pc, std::function<void()> meanwhile, std::uint32_t error = 0)
        : ForwardingMachine(std::move(pc)), meanwhile_(std::move(meanwhile)), error_(error) {}

    machine::Opened open(machine::OpenRequest const & request) override {
        if ((request.access & kernel::GENERIC_WRITE) == 0) {
            return ForwardingMachine::open(request);
        }
        meanwhile_();
        return error_ == 0 ? ForwardingMachine::open(request) : machine::Opened{nullptr, error_};
    }

private:
    std::function<void()> meanwhile_;
    std::uint32_t error_;
};

class RecoveryTest : public testing::Test {
protected:
    ~RecoveryTest() override { EXPECT_EQ(kernel::openHandleCount(), 0U); }

    // A disk that was overwritten, and the backup of all but its last sectors.
    void owe(std::uint32_t sectorSize) {
        sectorSize_ = sectorSize;
        bytes_ = std::make_shared<support::StoredBytes>(diskSize / sectorSize * sectorSize);
        std::uint32_t state = 1;
        for (std::byte & each : bytes_->bytes) {
            state = state * 1664525U + 1013904223U;
            each = static_cast<std::byte>(state >> 24U);
        }
        original_ = bytes_->bytes;
        auto const sectors = static_cast<std::uint32_t>(mostOfAStick / sectorSize);
        std::span const owed = std::span(original_).first(std::size_t{sectors} * sectorSize);
        ASSERT_TRUE(journal::Journal(storage_)
                        .keep({"S1", "Stick", bytes_->size(), sectorSize}, {0, sectors}, owed)
                        .entry.has_value());
        overwrite();
    }

    // As another process does that puts the bytes back, and a run after it: the same sectors and bytes.
    void replace() {
        journal::Survey const found = journal::survey(storage_);
        ASSERT_EQ(found.entries.size(), 1U);
        journal::Entry const & entry = found.entries.front().entry;
        journal::Journal other(storage_);
        ASSERT_EQ(other.close(found.entries.front().name).error, 0U);
        ASSERT_TRUE(other.keep(entry.disk, entry.range, std::span(original_).first(entry.bytes())).entry.has_value());
    }

    void overwrite() { std::fill_n(bytes_->bytes.begin(), owedBytes(), std::byte{0xEE}); }
    std::size_t owedBytes() const { return mostOfAStick / sectorSize_ * sectorSize_; }
    bool isBack() const { return bytes_->bytes == original_; }

    std::unique_ptr<machine::Machine> pc(std::string const & members = support::storedStick,
                                         std::string const & membersOfPc = {}) {
        return support::pcWithStored(bytes_, sectorSize_, members, membersOfPc);
    }

    tkit5::RecoveryOutcome recoverOn(
        machine::Machine & machine, bool dry = false, std::function<bool()> const & shallStop = [] { return false; }) {
        machine::InUse const inUse(machine);
        tkit5::DeviceCatalog const catalog;
        auto const disks = catalog.find("USBSTOR\\STICK");
        journal::Survey const found = journal::survey(storage_);
        if (disks.size() != 1 || found.entries.size() != 1) {
            ADD_FAILURE() << disks.size() << " disks, " << found.entries.size() << " backups";
            return {};
        }
        return tkit5::recover(storage_, found.entries.front(), *disks.front(), dry, shallStop);
    }

    std::uint32_t sectorSize_ = 0;
    std::shared_ptr<support::StoredBytes> bytes_;
    std::vector<std::byte> original_;
    std::shared_ptr<support::MemoryDisk> files_ = std::make_shared<support::MemoryDisk>();
    support::MemoryStorage storage_{files_};
};

class RecoveryOfSectors : public RecoveryTest, public testing::WithParamInterface<std::uint32_t> {};

INSTANTIATE_TEST_SUITE_P(Sizes, RecoveryOfSectors, testing::Values(512, 520, 4096, 4160),
                         testing::PrintToStringParamName());

TEST_P(RecoveryOfSectors, PutsThemAllBack) {
    owe(GetParam());
    auto const outcome = recoverOn(*pc());
    EXPECT_EQ(outcome.kind, Kind::Restored) << outcome.text;
    EXPECT_TRUE(isBack());
    EXPECT_TRUE(files_->names().empty());
}

TEST_F(RecoveryTest, ADiskThatWasSwappedMeanwhileIsNotWrittenTo) {
    owe(512);
    auto const before = bytes_->bytes;
    for (char const * const now :
         {R"("name": "Stick", "serialNumber": "S2")", R"("name": "Other", "serialNumber": "S1")"}) {
        support::SwappedPc swapped(pc(), pc(now));
        for (bool const dry : {false, true}) {
            auto const outcome = recoverOn(swapped, dry);
            EXPECT_EQ(outcome.kind, Kind::Refused);
            EXPECT_EQ(outcome.result.value(), TestResult::CANNOTRUN().value());
            EXPECT_EQ(outcome.text, "It is another disk by now; nothing was written.");
        }
    }
    EXPECT_EQ(bytes_->bytes, before);
    EXPECT_EQ(files_->names(), Lines{"backup-000001.undo"});
}

// Until the disk is open for the recovery alone, another one may put the bytes back, and a run begin.
TEST_F(RecoveryTest, ABackupThatIsReplacedBeforeTheDiskIsOpenIsNotWritten) {
    owe(512);
    auto const before = bytes_->bytes;
    MeanwhilePc busy(pc(), [this] { replace(); });
    auto const outcome = recoverOn(busy);
    EXPECT_EQ(outcome.kind, Kind::Refused);
    EXPECT_EQ(outcome.text, "It was replaced meanwhile by another backup, which is left alone. Run this again.");
    EXPECT_EQ(bytes_->bytes, before);
    EXPECT_EQ(files_->names(), Lines{"backup-000001.undo"});
}

TEST_F(RecoveryTest, ABackupThatIsReplacedBeforeItsEndIsNotGivenUp) {
    owe(512);
    auto const healthy = pc();
    bool isReplaced = false;
    auto const outcome = recoverOn(*healthy, false, [&] {
        if (!std::exchange(isReplaced, true)) {
            replace();
        }
        return false;
    });
    EXPECT_EQ(outcome.kind, Kind::Restored);
    EXPECT_EQ(outcome.result.value(), TestResult::WARN().value());
    EXPECT_EQ(outcome.text, "The bytes are back, as reading them shows. It was replaced meanwhile by another backup, "
                            "which is left alone. Run this again.");
    EXPECT_TRUE(isBack());
    EXPECT_EQ(files_->names(), Lines{"backup-000001.undo"});
}

// By whatever error the system says so.
TEST_F(RecoveryTest, ADiskThatIsGoneIsToldAsUnplugged) {
    owe(512);
    for (std::uint32_t const error : {2U, 55U, 433U, 1167U, 1617U}) {
        MeanwhilePc gone(
            pc(), [] {}, error);
        auto const outcome = recoverOn(gone);
        EXPECT_EQ(outcome.result.value(), TestResult::NODEVICE().value()) << error;
        EXPECT_EQ(outcome.text, "The disk has been unplugged.");
    }
    EXPECT_EQ(files_->names(), Lines{"backup-000001.undo"});
}

TEST_F(RecoveryTest, ADiskThatDoesNotTellWhatItIsIsNotWrittenTo) {
    owe(512);
    support::SwappedPc silent(pc(), pc());
    silent.propertyError = 1117;
    auto const outcome = recoverOn(silent);
    EXPECT_EQ(outcome.kind, Kind::Refused);
    EXPECT_EQ(outcome.text,
              "The disk does not tell whether it is the same; nothing was written. The device reported an "
              "input or output error.");
    silent.propertyError = 50;
    EXPECT_EQ(recoverOn(silent).kind, Kind::Restored);
    EXPECT_TRUE(isBack());
}

// Asked at every part of the comparison, of the writing, and of the comparison after it.
TEST_F(RecoveryTest, AStopAtAnyTimeLeavesTheBackup) {
    owe(512);
    auto const before = bytes_->bytes;
    auto const healthy = pc();
    int stopped = 0;
    int untouched = 0;
    for (bool ended = false; !ended; ++stopped) {
        ASSERT_LT(stopped, 50);
        overwrite();
        int asked = 0;
        auto const outcome = recoverOn(*healthy, false, [&] { return asked++ == stopped; });
        ended = outcome.kind == Kind::Restored;
        if (ended) {
            break;
        }
        EXPECT_EQ(outcome.kind, Kind::Stopped) << outcome.text;
        EXPECT_EQ(outcome.result.value(), TestResult::USERABORTED().value());
        bool const isUntouched = bytes_->bytes == before;
        untouched += isUntouched ? 1 : 0;
        EXPECT_EQ(outcome.text, isUntouched ? "Stopped before anything was written; run it again to put it back."
                                            : "Stopped; run it again to put the rest back.");
        EXPECT_EQ(files_->names(), Lines{"backup-000001.undo"});
    }
    EXPECT_EQ(untouched, 2); // the comparison ends at the first difference
    EXPECT_GT(stopped, 6);
    EXPECT_TRUE(isBack());
}

TEST_F(RecoveryTest, AStoppedLookHasWrittenNothing) {
    owe(512);
    auto const before = bytes_->bytes;
    auto const outcome = recoverOn(*pc(), true, [] { return true; });
    EXPECT_EQ(outcome.kind, Kind::Stopped);
    EXPECT_EQ(outcome.text, "Stopped before anything was written; run it again to put it back.");
    EXPECT_EQ(bytes_->bytes, before);
}

TEST_F(RecoveryTest, ABackupThatCannotBeRemovedIsOwedNoMore) {
    owe(512);
    files_->failing = "remove";
    auto const outcome = recoverOn(*pc());
    EXPECT_EQ(outcome.kind, Kind::Restored);
    EXPECT_EQ(outcome.result.value(), TestResult::WARN().value());
    EXPECT_EQ(outcome.text, "The bytes are back, as reading them shows. Its file cannot be removed now, but nothing is "
                            "owed any more. The device reported an input or output error.");
    EXPECT_TRUE(isBack());
    EXPECT_TRUE(journal::survey(storage_).entries.empty());
    EXPECT_EQ(journal::survey(storage_).unfinished, Lines{"backup-000001.done"});
}

// As after a restore that was cut short before its flush.
TEST_F(RecoveryTest, BytesInPlaceAreFlushedBeforeTheBackupGoes) {
    owe(512);
    bytes_->bytes = original_;
    bytes_->flushError = 1117;
    auto const unconfirmed = recoverOn(*pc());
    EXPECT_EQ(unconfirmed.kind, Kind::Failed);
    EXPECT_EQ(unconfirmed.text,
              "The disk did not confirm what was written. The device reported an input or output error.");
    EXPECT_EQ(files_->names(), Lines{"backup-000001.undo"});

    bytes_->flushError = 0;
    bytes_->flushes = 0;
    EXPECT_EQ(recoverOn(*pc()).kind, Kind::InPlace);
    EXPECT_EQ(bytes_->flushes, 1);
    EXPECT_TRUE(files_->names().empty());
}

TEST_F(RecoveryTest, WithoutMemoryNothingIsWritten) {
    owe(512);
    auto const before = bytes_->bytes;
    auto const outcome = recoverOn(*pc(support::storedStick, R"("faults": [{"call": "allocate", "error": 8}])"));
    EXPECT_EQ(outcome.kind, Kind::Refused);
    EXPECT_EQ(outcome.text, "There is not enough memory.");
    EXPECT_EQ(bytes_->bytes, before);
}

// After it was seen to be abandoned, a run has removed it and begun to write another one of that name.
TEST_F(RecoveryTest, AnUnfinishedFileThatARunHasBegunToWriteMeanwhileIsLeft) {
    owe(512);
    std::string const name = "backup-000007.new";
    files_->put("backup-000001.new", {});
    files_->put(name, {});
    journal::Result<journal::StoredFile> written;
    auto const machine = pc();
    machine::InUse const inUse(*machine);
    tkit5::DeviceCatalog const catalog;
    tkit5::Options options;
    options.command = tkit5::Command::Recover;
    options.discard = options.allowDestructive = true;
    FakeConsole console;
    auto const takeName = [&] {
        EXPECT_EQ(storage_.remove(name), 0U);
        written = storage_.create(name);
    };
    // The backup is removed first, and then the other unfinished file.
    files_->beforeRemove = [&] { files_->beforeRemove = [&] { files_->beforeRemove = takeName; }; };
    EXPECT_EQ(tkit5::recoverOwed(options, console, catalog, std::make_unique<support::MemoryStorage>(files_)), 0)
        << console.output() << console.errors();
    ASSERT_TRUE(written.file);
    EXPECT_EQ(files_->names(), Lines{name});
}

} // namespace
} // namespace test
