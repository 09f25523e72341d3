// Whole runs of the program over a disk whose bytes outlive them: what is there afterwards.
#include "PassRun.h"

#include "kernel/Runtime.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace test {

namespace {

using Sectors = std::vector<std::pair<std::uint64_t, std::uint64_t>>;

class PreservedRunTest : public testing::Test {
protected:
    PreservedRunTest() : backups_(image_.path() + ".backups") {}
    ~PreservedRunTest() override { std::filesystem::remove_all(backups_); }

    Json disk(std::initializer_list<std::pair<char const *, Json>> members = {}) const {
        return inImage(diskToWrite(2, members), image_);
    }
    PassRun run(Json const & disk, Settings const & settings, Json const & user = nullptr) const {
        return runQuietly(disk, settings, user, {"--journal", backups_});
    }

    DiskImage image_{2 * smallTransfer + 1};
    std::string backups_;
};

TEST_F(PreservedRunTest, BothPassesLeaveEveryByteAsItWas) {
    PassRun const both = run(disk({{"readRate", slowRate}}), with(readOnce, writePreserved));

    EXPECT_EQ(both.said({"progress"}).size(), 8U);
    EXPECT_EQ(both.result, "PASS");
    EXPECT_EQ(image_.changedSectors(), Sectors{});
}

TEST_F(PreservedRunTest, AStoppedRunLeavesEveryByteAsItWas) {
    for (int const poll : {2, 3, 4}) {
        PassRun const stopped = run(disk(), writePreserved, {{"answers", {"yes"}}, {"stopAtPoll", poll}});

        EXPECT_EQ(stopped.result, "USERABORTED");
        EXPECT_EQ(image_.changedSectors(), Sectors{}) << poll;
    }
}

// What becomes of the data is told before they are overwritten.
TEST_F(PreservedRunTest, ARunThatPreservesNothingSaysSoBefore) {
    PassRun const overwritten = run(disk(), overwriting);

    EXPECT_NE(overwritten.view.errors.find("The data that is overwritten is lost."), std::string::npos);
    EXPECT_EQ(overwritten.result, "PASS");
    EXPECT_EQ(image_.changedSectors(), (Sectors{{0, 2047}}));
}

// The host goes while so many lines are written to it; the box, its answer and two lines of each transfer are among
// them.
struct LostLine {
    int lines;
    std::size_t writes; // of patterns and restores
};
class LostHostTest : public PreservedRunTest, public testing::WithParamInterface<LostLine> {};
INSTANTIATE_TEST_SUITE_P(Lines, LostHostTest,
                         testing::Values(LostLine{3, 0}, LostLine{4, 0}, LostLine{6, 2}, LostLine{7, 2}, LostLine{8, 4},
                                         LostLine{9, 4}, LostLine{10, 6}),
                         [](auto const & row) { return "After" + std::to_string(row.param.lines); });

TEST_P(LostHostTest, LosesNothing) {
    FakeConsole console;
    console.loseOutputAfter(static_cast<std::size_t>(GetParam().lines));
    std::string const trace = image_.path() + ".io";
    std::vector<std::string> arguments{"--device",  diskId,   "--allow-destructive", "--answer", "yes",
                                       "--journal", backups_, "--trace-io",          trace};
    for (auto const & [name, value] : writePreserved) {
        arguments.insert(arguments.end(), {"--set", name + "=" + value});
    }
    runTest("USBStoragePerformanceTest", stickPc(disk()), arguments, console);

    EXPECT_EQ(only(diskCallsIn(readLines(trace)), {"write"}).size(), GetParam().writes);
    EXPECT_EQ(image_.changedSectors(), Sectors{});
    EXPECT_EQ(kernel::openHandleCount(), 0U);
    std::filesystem::remove(trace);
}

} // namespace

} // namespace test
