// Each call of each test fails in turn, once and from then on: whatever fails, nothing is lost, left open or hidden.
#include "SilentFaults.h"
#include "SweepPc.h"
#include "SweptCalls.h"

#include "journal/Journal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string_view>
#include <vector>

namespace test {

namespace {

struct Sweep {
    Swept test;
    Call call;
    bool forGood;
};

std::string nameOf(Sweep const & sweep) {
    return std::string(nameOf(sweep.test)) + "_" + nameOf(sweep.call) + (sweep.forGood ? "_ForGood" : "_Once");
}

void PrintTo(Sweep const & sweep, std::ostream * stream) {
    *stream << nameOf(sweep);
}

// What each test calls at all.
std::vector<Call> callsOf(Swept test) {
    switch (test) {
    case Swept::Speed:
        return {Call::Open, Call::Control, Call::Journal};
    case Swept::Status:
        return {Call::Open, Call::Control, Call::Memory, Call::Journal};
    case Swept::Storage:
        break;
    }
    return {allCalls.begin(), allCalls.end()};
}

std::vector<Sweep> sweeps() {
    std::vector<Sweep> all;
    for (Swept const test : {Swept::Speed, Swept::Status, Swept::Storage}) {
        for (Call const call : callsOf(test)) {
            for (bool const forGood : {false, true}) {
                all.push_back({test, call, forGood});
            }
        }
    }
    return all;
}

// Whether anything that the host or a person saw tells of the fault: something new, or another verdict.
bool isShown(Outcome const & struck, Outcome const & healthy) {
    return struck.exitCode != healthy.exitCode || struck.result != healthy.result ||
           struck.deviceResults != healthy.deviceResults || !std::ranges::includes(healthy.told, struck.told);
}

class FaultSweep : public testing::TestWithParam<Sweep> {
protected:
    Outcome run(std::optional<Fault> const & fault = std::nullopt) {
        pc_.startAgain();
        return pc_.call(argumentsOf(GetParam().test), fault, {machine::ScriptedUser::Answer::Yes});
    }

    // The ranges that the host was told of, and those that the journal still holds.
    std::set<std::uint64_t> namedSectors(Outcome const & outcome) {
        std::set<std::uint64_t> sectors;
        auto const name = [&sectors](std::uint64_t first, std::uint64_t count) {
            for (std::uint64_t sector = first; sector < first + count; ++sector) {
                sectors.insert(sector);
            }
        };
        for (std::uint64_t const first : outcome.notRestored) {
            name(first, sectorsOfATransfer);
        }
        for (journal::FoundEntry const & found : journal::survey(*pc_.journal()).entries) {
            EXPECT_EQ(found.state, journal::FoundEntry::State::Owed) << found.name;
            name(found.entry.range.firstSector, found.entry.range.sectorCount);
        }
        return sectors;
    }

    // Every byte is as before, or named, and then recovered once the PC is well again.
    void expectNothingLost(Outcome const & outcome) {
        std::vector<std::uint64_t> const changed = pc_.changedSectors();
        std::set<std::uint64_t> const named = namedSectors(outcome);
        EXPECT_TRUE(std::ranges::includes(named, changed)) << "changed from sector " << changed.front();
        if (!changed.empty()) {
            EXPECT_FALSE(outcome.notRestored.empty()) << "no event tells the host";
            EXPECT_NE(outcome.errors.find("DATA WAS NOT PUT BACK"), std::string::npos) << outcome.errors;
        } else if (pc_.journalDisk().names().empty()) {
            EXPECT_TRUE(!pc_.isFolderNoted() || tellsOfNote(outcome)) << outcome.errors;
            return;
        }
        expectFound(outcome);
        Outcome const recovered = pc_.call(recovering());
        EXPECT_EQ(recovered.exitCode, 0) << recovered.errors;
        EXPECT_TRUE(pc_.changedSectors().empty());
        EXPECT_TRUE(pc_.journalDisk().names().empty());
        EXPECT_FALSE(pc_.isFolderNoted());
        expectAllClosed(recovered);
    }

    static bool tells(Outcome const & outcome, std::string_view part) {
        return outcome.errors.find(part) != std::string::npos;
    }

    // Why a note is left where nothing is owed.
    static bool tellsOfNote(Outcome const & outcome) {
        return tells(outcome, "its note in") || tells(outcome, "Backups are left over") ||
               tells(outcome, "no later one will know");
    }

    // What is owed in the folder that was named is found by who does not name it, unless the run has told otherwise.
    void expectFound(Outcome const & outcome) {
        std::size_t const owed = journal::survey(*pc_.journal()).entries.size();
        if (owed != 0 && !tells(outcome, "no later one will know")) {
            EXPECT_TRUE(pc_.isFolderNoted());
            EXPECT_EQ(pc_.call({"recover", "--dry-run"}).owedElsewhere, owed);
        }
    }

    // The silent faults of this test and call that were met.
    bool isKnownToBeSilent(std::string const & what) {
        bool known = false;
        auto const list = silentFaults();
        for (std::size_t i = 0; i < list.size(); ++i) {
            if (list[i].isAbout(GetParam().test, GetParam().call) && list[i].what == what) {
                known = true;
                met_.insert(i);
            }
        }
        return known;
    }

    SweepPc pc_{describedFor(GetParam().test)};
    std::set<std::size_t> met_;
};

INSTANTIATE_TEST_SUITE_P(Sweep, FaultSweep, testing::ValuesIn(sweeps()),
                         [](auto const & row) { return nameOf(row.param); });

TEST_P(FaultSweep, LosesNothingAndHidesNothing) {
    Sweep const & sweep = GetParam();
    Outcome const healthy = run();
    ASSERT_EQ(healthy.result, "PASS") << healthy.errors;
    ASSERT_TRUE(pc_.changedSectors().empty());
    SweepNumbers numbers(healthy.calls->counted(sweep.call));
    int fired = 0;
    for (; numbers.goOn(); numbers.next()) {
        int const number = numbers.number();
        SCOPED_TRACE(nameOf(sweep) + ": NUVRUSB_SWEEP_ONLY=" + std::to_string(number));
        Outcome const struck = run(faultOf(sweep.call, number, sweep.forGood));
        expectAllClosed(struck);
        if (!struck.calls->hasStruck()) {
            break;
        }
        ++fired;
        expectNothingLost(struck);
        if (isUsualError() && !isShown(struck, healthy)) {
            for (std::string const & what : struck.calls->struck()) {
                EXPECT_TRUE(isKnownToBeSilent(what)) << "nothing tells of a failed \"" << what << "\"";
            }
        }
    }
    EXPECT_GT(fired, 0);
    RecordProperty("fired", fired);
    if (numbers.areAll() && isUsualError() && !sweep.forGood) {
        auto const list = silentFaults();
        for (std::size_t i = 0; i < list.size(); ++i) {
            if (list[i].isAbout(sweep.test, sweep.call)) {
                EXPECT_TRUE(met_.contains(i))
                    << "\"" << list[i].what << "\" is never silent; it was said to be, since " << list[i].reason;
            }
        }
    }
}

// The sweep itself: what it would not see, it could not find.
class SweepItselfTest : public testing::Test {
protected:
    SweepPc pc_{describedFor(Swept::Storage)};
    std::vector<machine::ScriptedUser::Answer> const yes_{machine::ScriptedUser::Answer::Yes};
};

TEST_F(SweepItselfTest, SeesALossWhereNoBackupIsKept) {
    std::vector<std::string> arguments = argumentsOf(Swept::Storage);
    std::ranges::replace(arguments, "--journal", "--no-journal");
    std::erase(arguments, "kept");
    Outcome const struck = pc_.call(arguments, faultOf(Call::Write, 2, false), yes_); // the first restore
    EXPECT_EQ(struck.notRestored, std::vector<std::uint64_t>{0});
    EXPECT_EQ(pc_.call(recovering()).exitCode, 0);
    // A half was written back.
    EXPECT_EQ(pc_.changedSectors().size(), sectorsOfATransfer / 2);
    EXPECT_EQ(pc_.changedSectors().front(), sectorsOfATransfer / 2);
}

TEST_F(SweepItselfTest, SeesTheSameRunAsTheSame) {
    Outcome const first = pc_.call(argumentsOf(Swept::Storage), std::nullopt, yes_);
    EXPECT_FALSE(isShown(pc_.call(argumentsOf(Swept::Storage), std::nullopt, yes_), first));
    EXPECT_TRUE(isShown(pc_.call(argumentsOf(Swept::Storage), faultOf(Call::Read, 2, false), yes_), first));
}

// No call escapes the sweep because a test has begun to make it.
class SweptCallsTest : public testing::TestWithParam<Swept> {};

INSTANTIATE_TEST_SUITE_P(Sweep, SweptCallsTest, testing::Values(Swept::Speed, Swept::Status, Swept::Storage),
                         [](auto const & row) { return std::string(nameOf(row.param)); });

TEST_P(SweptCallsTest, EveryKindOfCallIsSwept) {
    SweepPc pc(describedFor(GetParam()));
    Outcome const healthy = pc.call(argumentsOf(GetParam()), std::nullopt, {machine::ScriptedUser::Answer::Yes});
    std::vector<Call> const swept = callsOf(GetParam());
    for (Call const call : allCalls) {
        bool const isSwept = std::ranges::count(swept, call) != 0;
        EXPECT_EQ(healthy.calls->counted(call) != 0, isSwept) << nameOf(call);
        for (SilentFault const & listed : silentFaults()) {
            EXPECT_TRUE(isSwept || !listed.isAbout(GetParam(), call)) << listed.what;
        }
    }
}

} // namespace

} // namespace test
