// A write pass and a recovery that end anywhere: the next recovery makes the disk as it was.
//   NUVRUSB_KILLS=100000   so many kills in all instead of 10,000
//   NUVRUSB_KILL=57:12     that kill alone, as a failure names it
#include "KillSweep.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace killsweep {

namespace {

using Kind = Step::Kind;

constexpr std::size_t transfers = 4;
constexpr int parts = 4; // of the sweep, to be run side by side

std::size_t killsWanted() {
    char const * const wanted = std::getenv("NUVRUSB_KILLS");
    return wanted == nullptr ? 10'000 : std::strtoull(wanted, nullptr, 10);
}

std::optional<Kill> theOneKill() {
    char const * const wanted = std::getenv("NUVRUSB_KILL");
    if (wanted == nullptr) {
        return std::nullopt;
    }
    char * rest = nullptr;
    std::size_t const point = std::strtoull(wanted, &rest, 10);
    return Kill{point, *rest == ':' ? std::strtoull(rest + 1, nullptr, 10) : 0};
}

// So many seeds that there are as many kills as wanted, also when each open point counts only with them.
std::uint64_t seedsFor(Recorded const & recorded, std::size_t kills) {
    std::size_t const points = std::max<std::size_t>(openPoints(recorded), 1);
    return (kills + points - 1) / points;
}

std::size_t count(Recorded const & recorded, Kind kind) {
    return static_cast<std::size_t>(
        std::ranges::count(recorded.record.steps(), kind, [](Step const & step) { return step.kind; }));
}

void expectNoFault(Sweep const & sweep) {
    constexpr std::size_t shown = 5;
    for (std::size_t i = 0; i < std::min(shown, sweep.faults.size()); ++i) {
        ADD_FAILURE() << sweep.faults[i];
    }
    EXPECT_EQ(sweep.faults.size(), 0U) << "of " << sweep.kills << "; NUVRUSB_KILL=POINT:SEED repeats one";
}

auto const everywhere = [](std::size_t) { return true; };

auto ofPart(int part) {
    return [part](std::size_t point) { return point % parts == static_cast<std::size_t>(part); };
}

// So many kills in all, or the one that was named.
void expectAllUndone(Recorded const & recorded, Bytes const & original, std::size_t kills) {
    if (auto const kill = theOneKill()) {
        EXPECT_EQ(faultOf(recorded, original, *kill), "");
        return;
    }
    Sweep const swept = sweep(recorded, original, seedsFor(recorded, kills), everywhere);
    EXPECT_GE(swept.kills, kills);
    expectNoFault(swept);
}

// The state after the pass has overwritten for the n-th time, before anything is put back.
State overwritten(Recorded const & pass, std::size_t transfer) {
    Remains remains(pass.before, sectorSize);
    std::size_t writes = 0;
    for (Step const & step : pass.record.steps()) {
        remains.apply(step);
        writes += step.kind == Kind::DiskWrite ? 1U : 0U;
        if (writes == 2 * transfer - 1) {
            break;
        }
    }
    return remains.withAllKept();
}

TEST(KillSweepRecord, IsOfAWholePass) {
    Recorded const pass = recordPass(Backups::InJournal);
    EXPECT_EQ(pass.code, 0);
    EXPECT_EQ(pass.after.disk, pass.before.disk);
    EXPECT_TRUE(pass.after.files.empty());
    EXPECT_EQ(count(pass, Kind::DiskWrite), 2 * transfers); // the test's own and the restore
    EXPECT_EQ(count(pass, Kind::DiskFlush), transfers);
    EXPECT_EQ(count(pass, Kind::FileCreate), transfers + 1); // and the trial of the storage
    EXPECT_EQ(count(pass, Kind::FileRemove), transfers + 1);
    EXPECT_GT(count(pass, Kind::Call), 100U);
}

TEST(KillSweepRecord, IsWhatWasDone) {
    Recorded const pass = recordPass(Backups::InJournal);
    Remains remains(pass.before, sectorSize);
    for (Step const & step : pass.record.steps()) {
        remains.apply(step);
    }
    EXPECT_EQ(remains.withAllKept().disk, pass.after.disk);
    EXPECT_EQ(remains.withAllKept().files, pass.after.files);
    EXPECT_NE(overwritten(pass, 1).disk, pass.before.disk);
    EXPECT_EQ(overwritten(pass, 1).files.size(), 1U);
}

class KillSweep : public testing::TestWithParam<int> {};

TEST_P(KillSweep, EveryKillOfAPassIsUndone) {
    Recorded const pass = recordPass(Backups::InJournal);
    if (auto const kill = theOneKill()) {
        EXPECT_EQ(faultOf(pass, pass.before.disk, *kill), "");
        return;
    }
    std::uint64_t const seeds = seedsFor(pass, killsWanted());
    std::size_t ofAllParts = 0;
    for (int part = 0; part < parts; ++part) {
        ofAllParts += killsOf(pass, seeds, ofPart(part));
    }
    EXPECT_GE(ofAllParts, killsWanted());
    EXPECT_EQ(ofAllParts, killsOf(pass, seeds, everywhere)); // no point is left to no part
    Sweep const swept = sweep(pass, pass.before.disk, seeds, ofPart(GetParam()));
    std::printf("%zu kills\n", swept.kills);
    EXPECT_EQ(swept.kills, killsOf(pass, seeds, ofPart(GetParam())));
    expectNoFault(swept);
}

INSTANTIATE_TEST_SUITE_P(Part, KillSweep, testing::Range(0, parts));

// From then on every state owes the first block, which the pass backs up once more when it comes round.
TEST(KillSweepOfFailedRestore, EveryKillIsUndone) {
    Recorded const pass = recordPass(Backups::InJournal, Restores::FirstFails);
    ASSERT_NE(pass.after.disk, pass.before.disk);
    ASSERT_EQ(pass.after.files.size(), 1U);
    ASSERT_EQ(count(pass, Kind::DiskWrite), 2 * transfers);
    expectAllUndone(pass, pass.before.disk, killsWanted() / 40);
}

// What a killed recovery leaves is put back by the next one.
TEST(KillSweepOfRecovery, EveryKillIsUndone) {
    Recorded const pass = recordPass(Backups::InJournal);
    Recorded const recovery = recordRecovery(overwritten(pass, transfers));
    ASSERT_EQ(recovery.code, 0);
    ASSERT_EQ(recovery.after.disk, pass.before.disk);
    ASSERT_EQ(count(recovery, Kind::DiskFlush), 1U);
    expectAllUndone(recovery, pass.before.disk, killsWanted() / 40);
}

// The later backup was made of what the failed restore of the earlier one had left.
TEST(KillSweepOfRecovery, EveryKillIsUndoneWithTwoBackupsOfTheSameBlock) {
    Recorded const pass = recordPass(Backups::InJournal, Restores::FirstFails);
    State const left = overwritten(pass, 3);
    ASSERT_EQ(left.files.size(), 2U);
    Recorded const recovery = recordRecovery(left);
    ASSERT_EQ(recovery.code, 0);
    ASSERT_EQ(recovery.after.disk, pass.before.disk);
    ASSERT_EQ(count(recovery, Kind::DiskFlush), 2U);
    expectAllUndone(recovery, pass.before.disk, killsWanted() / 40);
}

// What a pass and the recovery after it do when the pass is killed between a restore and its flush.
struct BytesInPlace {
    Recorded recovery;
    Recorded both; // recorded as one, since the disk has not yet all that the pass wrote
};

BytesInPlace recoveredBeforeTheFlush() {
    Recorded const pass = recordPass(Backups::InJournal);
    BytesInPlace result{.recovery = {}, .both = {.before = pass.before, .after = {}, .record = {}}};
    Remains remains(pass.before, sectorSize);
    for (Step const & step : pass.record.steps()) {
        if (step.kind == Kind::DiskFlush) {
            break;
        }
        remains.apply(step);
        result.both.record.add(step);
    }
    result.recovery = recordRecovery(remains.withAllKept());
    std::ranges::for_each(result.recovery.record.steps(), [&](Step const & step) { result.both.record.add(step); });
    return result;
}

TEST(KillSweepOfRecovery, EveryKillIsUndoneWithBytesThatAreInPlaceButNotFlushed) {
    auto const [recovery, both] = recoveredBeforeTheFlush();
    ASSERT_EQ(recovery.code, 0);
    ASSERT_EQ(recovery.before.files.size(), 1U);
    ASSERT_EQ(recovery.before.disk, both.before.disk);
    ASSERT_EQ(count(recovery, Kind::DiskWrite), 0U);
    ASSERT_EQ(count(recovery, Kind::DiskFlush), 1U);
    expectAllUndone(both, both.before.disk, killsWanted() / 40);
}

// The sweep itself: it has to find what is lost where a promise is broken.

constexpr std::uint64_t fewSeeds = 4;

auto const hereAndThere = [](std::size_t point) { return point % 3 == 0; };

TEST(KillSweepItself, FindsWhatIsLostWithoutBackups) {
    Recorded const pass = recordPass(Backups::Nowhere);
    ASSERT_EQ(pass.code, 0);
    ASSERT_EQ(pass.after.disk, pass.before.disk);
    Sweep const swept = sweep(pass, pass.before.disk, 1, everywhere);
    EXPECT_GE(swept.faults.size(), 2 * transfers);
    EXPECT_LT(swept.faults.size(), swept.kills);
}

// A record in which some steps are missing is that of a program which leaves them out.
Recorded without(Recorded const & recorded, Kind kind) {
    Recorded spoiled{.before = recorded.before, .after = {}, .record = {}, .code = recorded.code};
    for (Step const & step : recorded.record.steps()) {
        if (step.kind != kind) {
            spoiled.record.add(step);
        }
    }
    EXPECT_LT(spoiled.record.steps().size(), recorded.record.steps().size());
    return spoiled;
}

class KillSweepWithout : public testing::TestWithParam<std::pair<char const *, Kind>> {};

TEST_P(KillSweepWithout, AStepFindsWhatIsLost) {
    Recorded const pass = recordPass(Backups::InJournal);
    Sweep const swept = sweep(without(pass, GetParam().second), pass.before.disk, fewSeeds, hereAndThere);
    EXPECT_FALSE(swept.faults.empty());
}

TEST(KillSweepItself, FindsWhatIsLostWhenBytesInPlaceAreNotFlushed) {
    Recorded const both = recoveredBeforeTheFlush().both;
    Sweep const swept = sweep(without(both, Kind::DiskFlush), both.before.disk, fewSeeds, everywhere);
    EXPECT_FALSE(swept.faults.empty());
}

INSTANTIATE_TEST_SUITE_P(Itself, KillSweepWithout,
                         testing::Values(std::pair("FlushingTheDisk", Kind::DiskFlush),
                                         std::pair("SyncingBackups", Kind::FileSync),
                                         std::pair("SyncingNames", Kind::NamesSync)),
                         [](auto const & step) { return std::string(step.param.first); });

} // namespace

} // namespace killsweep
