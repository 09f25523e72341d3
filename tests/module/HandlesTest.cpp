// The disk is opened exclusively, so every open needs that all others have let go before, and nothing stays open or
// locked after a run of whatever end.
#include "PassRun.h"
#include "StorageCall.h"

#include "kernel.h"
#include "libVolumes.h"

#include "kernel/Runtime.h"

#include <gtest/gtest.h>

#include <set>

namespace test {

namespace {

struct Run {
    char const * name;
    Json members; // of the disk
    Settings settings;
    Json user;
    char const * result;
};

void PrintTo(Run const & run, std::ostream * stream) {
    *stream << run.name;
}

Json oneFault(Json fault) {
    return {{"faults", Json::array({std::move(fault)})}};
}

// The checks of the two volumes are the first reads of the disk.
std::vector<Run> runsOfEveryEnd() {
    Settings const both = with(readOnce, writePreserved);
    Json const agrees = {{"answers", {"yes", "yes"}}};
    Json const declines = {{"answers", {"no"}}};
    Json const hangingProbe = fault("read", {{"overlapped", true}, {"after", 1}, {"hangs", true}});
    return {
        {"Reading", {}, readOnce, nullptr, "PASS"},
        {"Writing", {}, overwriting, nullptr, "PASS"},
        {"Preserving", {}, writePreserved, nullptr, "PASS"},
        {"Both", {}, both, nullptr, "PASS"},
        {"BothBelowTheRate", {}, with(both, {{"USB11ReadThresholdPercent", "100"}}), nullptr, "FAIL"},
        {"Stopped", {}, both, {{"answers", {"yes"}}, {"stopAtPoll", 3}}, "USERABORTED"},
        {"StoppedWhileWriting", {}, writePreserved, {{"answers", {"yes"}}, {"stopAtPoll", 3}}, "USERABORTED"},
        {"Declined", {}, writePreserved, declines, "USERABORTED"},
        {"BadRunTime", {}, with(both, {{"MaxTestRunTime", "29"}}), nullptr, "BADPARAMS"},
        {"NoMedium", {{"media", "absent"}}, both, nullptr, "NOMEDIA"},
        {"NoOpen", {{"openError", 5}}, both, nullptr, "CANNOTRUN"},
        {"ProbeThatHangs", oneFault(hangingProbe), both, nullptr, "CANNOTRUN"},
        {"ProbeThatHangsBeforeTheWrite", oneFault(hangingProbe), writePreserved, nullptr, "CANNOTRUN"},
        {"ReadErrors", oneFault(fault("read", {{"overlapped", false}, {"error", 1117}})),
         with(readOnce, {{"MaxErrors", "2"}}), nullptr, "FAIL"},
        {"WriteErrors", oneFault(fault("write", {{"error", 1117}})), with(writePreserved, {{"MaxErrors", "2"}}),
         nullptr, "FAIL"},
        {"WriteProtected", {{"readOnly", true}}, writePreserved, nullptr, "CANNOTRUN"},
        {"BackupErrors", oneFault(fault("read", {{"overlapped", false}, {"after", 2}, {"error", 1117}})),
         writePreserved, agrees, "PASS"},
        {"Unplugged",
         {{"mediaChanges", {{{"media", "unplugged"}, {"atTransfer", 6}}}}},
         writePreserved,
         nullptr,
         "NOMEDIA"},
        {"VolumeInUse",
         {{"volumes", {{{"firstSector", 0}, {"sectorCount", 9}, {"inUse", true}}}}},
         both,
         nullptr,
         "DEVICEBUSY"},
        {"BitLocker",
         {{"volumes", {{{"firstSector", 0}, {"sectorCount", 9}, {"encryption", "bitLocker"}}}}},
         both,
         nullptr,
         "CANNOTRUN"},
        {"ReadyBoost",
         {{"volumes", {{{"firstSector", 0}, {"sectorCount", 9}, {"readyBoost", true}}}}},
         both,
         nullptr,
         "CANNOTRUN"},
    };
}

class EveryEndTest : public testing::TestWithParam<Run> {};
INSTANTIATE_TEST_SUITE_P(Runs, EveryEndTest, testing::ValuesIn(runsOfEveryEnd()),
                         [](auto const & row) { return std::string(row.param.name); });

TEST_P(EveryEndTest, LeavesNothingOpenOrLockedAndNeverStandsInItsOwnWay) {
    Json disk = diskToWrite(
        2,
        {{"readRate", slowRate},
         {"volumes", {{{"firstSector", 0}, {"sectorCount", 1000}}, {{"firstSector", 1000}, {"sectorCount", 1049}}}}});
    for (auto const & [name, value] : GetParam().members.items()) {
        disk[name] = value;
    }
    PassRun const run = runPass(disk, GetParam().settings, GetParam().user);

    EXPECT_EQ(run.result, GetParam().result);
    std::set<std::uint64_t> open;   // every file of the PC
    std::set<std::uint64_t> onDisk; // for reading or writing the disk
    std::set<std::uint64_t> locked; // volumes
    for (Json const & call : run.io) {
        std::string const name = call["call"];
        if (name == "open" && call.contains("handle")) {
            open.insert(call["handle"].get<std::uint64_t>());
            if (call["path"].get<std::string>().find("PhysicalDrive") != std::string::npos && call["access"] != "0x0") {
                EXPECT_EQ(onDisk.size(), 0U) << call;
                onDisk.insert(call["handle"].get<std::uint64_t>());
            }
        } else if (name == "control" && call["error"] == 0 && call.value("name", "") == "FSCTL_LOCK_VOLUME") {
            locked.insert(call["handle"].get<std::uint64_t>());
        } else if (name == "control" && call.value("name", "") == "FSCTL_UNLOCK_VOLUME") {
            EXPECT_EQ(locked.erase(call["handle"].get<std::uint64_t>()), 1U) << call;
        } else if (name == "close") {
            EXPECT_EQ(open.erase(call["handle"].get<std::uint64_t>()), 1U) << call;
            onDisk.erase(call["handle"].get<std::uint64_t>());
            EXPECT_FALSE(locked.contains(call["handle"].get<std::uint64_t>())) << call;
        }
    }
    EXPECT_EQ(open.size(), 0U);
    EXPECT_EQ(locked.size(), 0U);
}

// Checks, locks and unlocks around the pass, in their order.
TEST(HandlesTest, VolumesAreLockedFromBeforeTheOpenToTheEndOfThePass) {
    PassRun const run =
        runPass(diskToWrite(10, {{"volumes", {{{"firstSector", 64}, {"sectorCount", 2000}}}}}), overwriting);

    auto const at = [&run](char const * line) { return std::find(run.disk.begin(), run.disk.end(), line); };
    EXPECT_LT(at("look at 64"), at("lock"));
    EXPECT_LT(at("lock"), at("dismount"));
    EXPECT_LT(at("dismount"), at("open"));
    EXPECT_LT(at("write 2048"), at("unlock"));
    EXPECT_NE(at("unlock"), run.disk.end());
    EXPECT_EQ(std::count(run.disk.begin(), run.disk.end(), "lock"), 1);
    EXPECT_EQ(std::count(run.disk.begin(), run.disk.end(), "unlock"), 1);
    EXPECT_EQ(run.result, "PASS");
}

// What somebody else can do with the disk's volume while the pass writes, and after it.
TEST(HandlesTest, OthersAreKeptOutOfTheVolumesUntilThePassIsOver) {
    char16_t const * const volume = u"\\\\?\\Volume{1}";
    StorageCall call(
        stickPc(diskToWrite(
            10, {{"volumes", {{{"name", "\\\\?\\Volume{1}"}, {"firstSector", 64}, {"sectorCount", 2000}}}}})),
        overwriting);
    auto const errorOfOpen = [volume] {
        kernel::HANDLE const handle = kernel::CreateFileW(volume, kernel::GENERIC_READ, 3, nullptr, 3, 0, nullptr);
        return handle != kernel::INVALID_HANDLE_VALUE && kernel::CloseHandle(handle) ? 0U : kernel::GetLastError();
    };
    EXPECT_EQ(errorOfOpen(), 0U);
    std::vector<std::uint32_t> errors;
    call.whenCalled = [&](Json const & each) {
        if (each["call"] == "write") {
            errors.push_back(errorOfOpen());
        }
    };
    auto const calculator = call.calculator();
    tkit5::TestResult result;
    calculator->calculate(result, nuvrusb::operation::write);

    EXPECT_EQ(result, tkit5::TestResult::PASS());
    EXPECT_EQ(errors, (std::vector<std::uint32_t>{5, 5, 5}));
    EXPECT_EQ(errorOfOpen(), 0U);             // though the engine still has the disk
    EXPECT_EQ(kernel::openHandleCount(), 3U); // the disk, the event of its transfers, and that of the last probe
}

// Of a read that no cancellation ends, what the device may still write to has to stay.
TEST(HandlesTest, AReadThatNeverEndsKeepsItsEventAndNothingElse) {
    Json const hangs = fault("read", {{"overlapped", true}, {"hangs", true}, {"cancellable", false}});
    HostView const view = runStorageTest(stickPc(diskToRead(2, {{"faults", Json::array({hangs})}})), readOnce);

    EXPECT_EQ(view.keys(), Lines{"LARGE_CHUNKS_OF_DATA_READ_FAILED"});
    EXPECT_EQ(view.result, "CANNOTRUN");
    EXPECT_EQ(kernel::openHandleCount(), 1U);
}

} // namespace

} // namespace test
