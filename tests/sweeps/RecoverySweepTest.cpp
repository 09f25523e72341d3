// The way back of a block that a write pass has left overwritten, with each call failing in turn: the backup stays
// until the bytes are back.
#include "SweptCalls.h"

#include "journal/Journal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace test {

namespace {

// A disk whose first block is half restored, and its backup.
class OwedTest : public testing::Test {
protected:
    void SetUp() override {
        Outcome const run = pc_.call(argumentsOf(Swept::Storage), Fault{Call::Write, 2, false, 1117}, yes_);
        EXPECT_EQ(run.notRestored, std::vector<std::uint64_t>{0});
        EXPECT_FALSE(pc_.changedSectors().empty());
        ASSERT_EQ(pc_.journalDisk().names().size(), 1U);
        ASSERT_TRUE(pc_.isFolderNoted());
        owed_ = pc_.save();
    }

    bool isBack() const { return pc_.changedSectors().empty(); }
    bool isKept() { return pc_.journalDisk().names() == std::vector<std::string>{"backup-000001.undo"}; }

    SweepPc pc_{describedFor(Swept::Storage)};
    std::vector<machine::ScriptedUser::Answer> const yes_{machine::ScriptedUser::Answer::Yes};
    SweepPc::Saved owed_;
};

struct Sweep {
    Call call;
    bool forGood;
};

std::string nameOf(Sweep const & sweep) {
    return std::string("Recovery_") + nameOf(sweep.call) + (sweep.forGood ? "_ForGood" : "_Once");
}

void PrintTo(Sweep const & sweep, std::ostream * stream) {
    *stream << nameOf(sweep);
}

class RecoverySweep : public OwedTest, public testing::WithParamInterface<Sweep> {};

// Nothing waits for a transfer: the disk is not opened for overlapped I/O.
constexpr std::array recoveryCalls{Call::Open,  Call::Control, Call::Lock,  Call::Read,   Call::Write,
                                   Call::Flush, Call::Memory,  Call::Event, Call::Journal};

std::vector<Sweep> recoverySweeps() {
    std::vector<Sweep> all;
    for (Call const call : recoveryCalls) {
        all.push_back({call, false});
        all.push_back({call, true});
    }
    return all;
}

INSTANTIATE_TEST_SUITE_P(Sweep, RecoverySweep, testing::ValuesIn(recoverySweeps()),
                         [](auto const & row) { return nameOf(row.param); });

TEST_P(RecoverySweep, KeepsTheBackupUntilTheBytesAreBack) {
    auto const & [call, forGood] = GetParam();
    Outcome const healthy = pc_.call(recovering());
    ASSERT_EQ(healthy.recovered, std::vector<std::string>{"restored"});
    ASSERT_TRUE(isBack());
    SweepNumbers numbers(healthy.calls->counted(call));
    int fired = 0;
    for (; numbers.goOn(); numbers.next()) {
        SCOPED_TRACE(nameOf(GetParam()) + ": NUVRUSB_SWEEP_ONLY=" + std::to_string(numbers.number()));
        pc_.load(owed_);
        Outcome const struck = pc_.call(recovering(), faultOf(call, numbers.number(), forGood));
        expectAllClosed(struck);
        if (!struck.calls->hasStruck()) {
            break;
        }
        ++fired;
        EXPECT_TRUE(isBack() || isKept());
        EXPECT_TRUE(pc_.isFolderNoted() || !isKept());
        if (struck.exitCode == 0) {
            EXPECT_TRUE(isBack());
            EXPECT_TRUE(pc_.journalDisk().names().empty());
            EXPECT_TRUE(!pc_.isFolderNoted() || !struck.errors.empty()) << "nobody is told of the note";
        } else {
            EXPECT_FALSE(struck.errors.empty() && struck.recovered.empty()) << "nobody is told why";
        }
        Outcome const again = pc_.call(recovering());
        EXPECT_EQ(again.exitCode, 0) << again.errors;
        EXPECT_TRUE(isBack());
        EXPECT_TRUE(pc_.journalDisk().names().empty());
    }
    EXPECT_GT(fired, 0);
}

TEST_F(OwedTest, EveryKindOfCallOfARecoveryIsSwept) {
    Outcome const healthy = pc_.call(recovering());
    for (Call const call : allCalls) {
        bool const isSwept = std::ranges::count(recoveryCalls, call) != 0;
        EXPECT_EQ(healthy.calls->counted(call) != 0, isSwept) << nameOf(call);
    }
}

// A disk to which something is owed is not written to, even when its backup cannot be read at that moment.
TEST_F(OwedTest, NoRunWritesToTheDiskWhateverFails) {
    for (bool const forGood : {false, true}) {
        for (Call const call : {Call::Open, Call::Control, Call::Journal}) {
            for (int number = 1;; ++number) {
                SCOPED_TRACE(std::string(nameOf(call)) + " " + std::to_string(number) + (forGood ? " for good" : ""));
                pc_.load(owed_);
                Outcome const run = pc_.call(argumentsOf(Swept::Storage), Fault{call, number, forGood, 1117}, yes_);
                EXPECT_EQ(run.calls->writes, 0);
                EXPECT_NE(run.exitCode, 0);
                EXPECT_TRUE(isKept());
                if (!run.calls->hasStruck()) {
                    break;
                }
            }
        }
    }
}

// Later commands have to look into the folder then.
TEST_F(OwedTest, TheNoteStaysWhileALossOfPowerMayBringTheBackupBack) {
    for (bool const isDiscarded : {false, true}) {
        SCOPED_TRACE(isDiscarded ? "discarded" : "put back");
        pc_.load(owed_);
        pc_.journalDisk().failing = "syncNames";
        std::vector<std::string> arguments = recovering();
        if (isDiscarded) {
            arguments.emplace_back("--discard");
        }
        EXPECT_NE(pc_.call(arguments).exitCode, 0);
        EXPECT_TRUE(pc_.isFolderNoted());
        pc_.journalDisk().losePower({});
        EXPECT_TRUE(isKept());
    }
}

TEST_F(OwedTest, ABackupThatCannotBeReadNowIsNotCalledDamaged) {
    Outcome const struck = pc_.call(recovering(), Fault{Call::Journal, 2, false, 1117}); // after the list
    EXPECT_EQ(struck.result, "CANNOTRUN");
    EXPECT_EQ(struck.recovered, std::vector<std::string>{"refused"});
    EXPECT_TRUE(isKept());
}

} // namespace

} // namespace test
