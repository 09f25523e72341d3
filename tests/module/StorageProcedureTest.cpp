// The storage test around its measurements: what keeps it from measuring, what it measures, and the result of both.
#include "FakeDevice.h"
#include "StorageCall.h"

#include "Catalogue.h"
#include "CollectedResults.h"
#include "SpeedMode.h"
#include "StoragePerformanceTest.h"

#include "kernel/Runtime.h"

#include <gtest/gtest.h>

#include <string>

namespace test {
namespace {

constexpr char const * notPerformed = "warning TESTING_COULD_NOT_BE_PERFORMED nuvrusb.cpp:740";
constexpr char const * turnedOff = "warning OPERATIONS_TURNED_OFF nuvrusb.cpp:1542";
constexpr char const * writeProtected = "warning CANNOT_OPEN_ACCESS_DENIED nuvrusb.cpp:1520";
constexpr char const * writeProtectedLog =
    "1518 The media is write protected and could not perform write performance test.";
constexpr char const * mayBeFaster = "error CAPABLE_OF_RUNNING_AT_HIGHER_SPEED nuvrusb.cpp:1484";
constexpr char const * badPercent = "warning PARAMETER_VALUE_INVALID PerformanceCalculator.cpp:634";
Lines const readSummary{"informative PEAK_READ_PERFORMANCE PerformanceCalculator.cpp:382",
                        "informative AVERAGE_READ_PERFORMANCE PerformanceCalculator.cpp:387"};
constexpr char const * tooSlow = "error READ_PERFORMANCE_NOT_OPTIMAL PerformanceCalculator.cpp:587";

Lines operator+(Lines first, Lines const & second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Settings const readAndWrite =
    with(readOnce, {{"PerformWritePerformance", "true"}, {"USB11WriteThresholdPercent", "1"}});
Settings const tooHighForReading{{"USB11ReadThresholdPercent", "100"}}; // of 1.5 MB/s

Lines collected() {
    Lines results;
    for (tkit5::TestResult const & result : nuvrusb::collectedResults) {
        results.emplace_back(tkit5::resultName(result));
    }
    return results;
}

bool wasMeasured(std::vector<Json> const & calls) {
    Lines const opens = diskOpens(calls);
    return std::any_of(opens.begin(), opens.end(), [](auto const & open) { return open.find("share 0x0 ") == 0; });
}

class StorageProcedure : public testing::Test {
protected:
    void SetUp() override { nuvrusb::speedMode = {}; }

    // On a device that no PC offers; what it raised is in the call's reporter.
    static std::string runOn(FakeDevice const & device) {
        return tkit5::resultName(nuvrusb::USBStoragePerformanceTest(device));
    }
};

// Gates.

TEST_F(StorageProcedure, DiskUnderASanitizeOperationIsBusyInSilence) {
    Json const disk = smallDisk(
        {{"sanitizing", true}, {"ataSecurity", {{"supported", true}, {"passwordSet", true}, {"locked", true}}}});
    TracedRun const run = traceStorageTest(stickPc(disk), with(readAndWrite, {{"desiredVerificationSpeed", "MAX"}}));
    EXPECT_EQ(run.host.result, "DEVICEBUSY");
    EXPECT_EQ(raised(run.host), Lines{});
    EXPECT_FALSE(wasMeasured(run.calls));
    EXPECT_FALSE(nuvrusb::speedMode.desiredSpeedIsMax); // not read yet
}

TEST_F(StorageProcedure, DiskThatIsLockedByItsPasswordCannotBeTested) {
    for (int state = 0; state < 8; ++state) {
        bool const supported = (state & 1) != 0;
        bool const isSet = (state & 2) != 0;
        bool const isLocked = (state & 4) != 0;
        Json const disk =
            smallDisk({{"ataSecurity", {{"supported", supported}, {"passwordSet", isSet}, {"locked", isLocked}}}});
        TracedRun const run = traceStorageTest(stickPc(disk), readOnce);
        bool const isRefused = state == 7;
        EXPECT_EQ(run.host.result, isRefused ? "CANNOTRUN" : "PASS") << state;
        EXPECT_EQ(raised(run.host),
                  isRefused ? Lines{"warning harddrivePasswordProtected nuvrusb.cpp:699"} : readSummary)
            << state;
        EXPECT_EQ(wasMeasured(run.calls), !isRefused) << state;
    }
}

TEST_F(StorageProcedure, DemandedSpeedIsReadAfterTheGatesOnly) {
    Json const locked = smallDisk({{"ataSecurity", {{"supported", true}, {"passwordSet", true}, {"locked", true}}}});
    runStorageTest(stickPc(locked), {{"desiredVerificationSpeed", "MAX"}});
    EXPECT_FALSE(nuvrusb::speedMode.desiredSpeedIsMax);
    runStorageTest(stickPc(smallDisk()), {{"desiredVerificationSpeed", "MAX"}});
    EXPECT_TRUE(nuvrusb::speedMode.desiredSpeedIsMax);
}

TEST_F(StorageProcedure, PasswordGateNeedsTheCapabilityAndEachProperty) {
    StorageCall call(stickPc(smallDisk()));
    struct LockedDevice : FakeDevice {
        LockedDevice() {
            withCapability(tkit5::DeviceCapability::ATA());
            has("SecurityPasswordSupported", true).has("SecurityPasswordSet", true).has("ATASecurityLocked", true);
        }
    };
    EXPECT_TRUE(nuvrusb::isHarddrivePasswordProtected(LockedDevice()));
    EXPECT_EQ(call.reporter.lines, Lines{"warning harddrivePasswordProtected 699"});
    EXPECT_EQ(call.reporter.files, Lines{procedureFile});

    call.reporter.lines.clear();
    for (char const * const property : {"SecurityPasswordSupported", "SecurityPasswordSet", "ATASecurityLocked"}) {
        EXPECT_FALSE(nuvrusb::isHarddrivePasswordProtected(LockedDevice().lacks(property))) << property;
        EXPECT_FALSE(nuvrusb::isHarddrivePasswordProtected(LockedDevice().has(property, false))) << property;
    }
    FakeDevice notAta;
    notAta.has("SecurityPasswordSupported", true).has("SecurityPasswordSet", true).has("ATASecurityLocked", true);
    EXPECT_FALSE(nuvrusb::isHarddrivePasswordProtected(notAta));
    EXPECT_EQ(call.reporter.lines, Lines{});
}

TEST_F(StorageProcedure, PcWithoutABusHasNoDeviceToTest) {
    StorageCall call(pc(Json::array()), readAndWrite);
    EXPECT_EQ(runOn(FakeDevice()), "NODEVICE");
    EXPECT_EQ(call.reporter.lines, Lines{"warning TESTING_COULD_NOT_BE_PERFORMED 740"});
    EXPECT_EQ(call.reporter.files, Lines{procedureFile});
}

TEST_F(StorageProcedure, DiskWithoutAUsbPortIsNoDeviceToTest) {
    Json description = stickPc(smallDisk());
    description["controllers"][0]["rootHub"]["ports"][0]["device"]["problemCode"] = 10; // never matched then
    TracedRun const run = traceStorageTest(description, readAndWrite);
    EXPECT_EQ(run.host.result, "NODEVICE");
    EXPECT_EQ(raised(run.host), Lines{notPerformed});
    EXPECT_FALSE(wasMeasured(run.calls));
}

TEST_F(StorageProcedure, SpeedFailureEndsTheTestOnlyWhereItIsToldSo) {
    Json const slow = stickPc(smallDisk(), "full", {"1.1", "2.0"});
    Settings const demanding = with(readOnce, {{"desiredVerificationSpeed", "MAX"}});

    TracedRun const stopped = traceStorageTest(slow, with(demanding, {{"ContinueOnConnectionSpeedFailure", "false"}}));
    EXPECT_EQ(stopped.host.result, "WARN");
    EXPECT_EQ(raised(stopped.host), Lines{mayBeFaster});
    EXPECT_FALSE(wasMeasured(stopped.calls));

    for (Settings const & going : {demanding, with(demanding, {{"ContinueOnConnectionSpeedFailure", "true"}})}) {
        TracedRun const run = traceStorageTest(slow, going);
        EXPECT_EQ(run.host.result, "PASS");
        EXPECT_EQ(raised(run.host), Lines{mayBeFaster} + readSummary);
        EXPECT_TRUE(wasMeasured(run.calls));
    }
}

TEST_F(StorageProcedure, ValidSpeedGoesOnWhateverTheParameterSays) {
    Settings const demanding =
        with(readOnce, {{"desiredVerificationSpeed", "MAX"}, {"ContinueOnConnectionSpeedFailure", "false"}});
    HostView const host = runStorageTest(stickPc(smallDisk()), demanding);
    EXPECT_EQ(host.result, "PASS");
    EXPECT_EQ(raised(host), readSummary);
}

// The choice of measurements.

TEST_F(StorageProcedure, WithoutAMeasurementItSaysThatAllIsTurnedOff) {
    for (Settings const & settings :
         {Settings{}, Settings{{"PerformReadPerformance", "false"}, {"PerformWritePerformance", "false"}},
          Settings{{"PerformWritePerformance", "false"}, {"USB11ReadThresholdPercent", "0"}}}) {
        TracedRun const run = traceStorageTest(stickPc(smallDisk()), settings);
        EXPECT_EQ(run.host.result, "BADPARAMS");
        EXPECT_EQ(raised(run.host), Lines{turnedOff});
        EXPECT_FALSE(wasMeasured(run.calls));
        EXPECT_EQ(collected(), Lines{});
    }
}

TEST_F(StorageProcedure, ReadsBeforeItWritesAndMergesBoth) {
    HostView const host = runStorageTest(stickPc(smallDisk()), readAndWrite);
    EXPECT_EQ(host.result, "PASS");
    EXPECT_EQ(host.keys(), (Lines{"PEAK_READ_PERFORMANCE", "AVERAGE_READ_PERFORMANCE", "PEAK_WRITE_PERFORMANCE",
                                  "AVERAGE_WRITE_PERFORMANCE"}));
    EXPECT_EQ(collected(), (Lines{"PASS", "PASS"}));
}

TEST_F(StorageProcedure, FailedReadingDoesNotKeepItFromWriting) {
    HostView const host = runStorageTest(stickPc(smallDisk()), with(readAndWrite, tooHighForReading));
    EXPECT_EQ(host.result, "FAIL");
    EXPECT_EQ(host.keys(), (Lines{"PEAK_READ_PERFORMANCE", "AVERAGE_READ_PERFORMANCE", "READ_PERFORMANCE_NOT_OPTIMAL",
                                  "PEAK_WRITE_PERFORMANCE", "AVERAGE_WRITE_PERFORMANCE"}));
    EXPECT_EQ(collected(), (Lines{"FAIL", "PASS"}));
}

TEST_F(StorageProcedure, EachStepThatIsNotAskedForIsLeftOut) {
    runStorageTest(stickPc(smallDisk()), with(readAndWrite, {{"PerformReadPerformance", "false"}}));
    EXPECT_EQ(collected(), Lines{"PASS"});
    HostView const host =
        runStorageTest(stickPc(smallDisk()), with(readAndWrite, {{"PerformWritePerformance", "false"}}));
    EXPECT_EQ(raised(host), readSummary);
    EXPECT_EQ(collected(), Lines{"PASS"}); // that of the run before is gone
}

TEST_F(StorageProcedure, UnusableThresholdOfReadingIsBadParameters) {
    HostView const host =
        runStorageTest(stickPc(smallDisk()), with(readAndWrite, {{"USB11ReadThresholdPercent", "0.5"}}));
    EXPECT_EQ(host.result, "BADPARAMS");
    EXPECT_EQ(host.keys(), (Lines{"PARAMETER_VALUE_INVALID", "PEAK_WRITE_PERFORMANCE", "AVERAGE_WRITE_PERFORMANCE"}));
    EXPECT_EQ(collected(), (Lines{"BADPARAMS", "PASS"}));
}

TEST_F(StorageProcedure, UnusableThresholdOfWritingRepeatsTheResultOfReading) {
    Settings const badWriting{{"USB11WriteThresholdPercent", "101"}};
    HostView const passed = runStorageTest(stickPc(smallDisk()), with(readAndWrite, badWriting));
    EXPECT_EQ(passed.result, "PASS");
    EXPECT_EQ(raised(passed), readSummary + Lines{badPercent});
    EXPECT_EQ(collected(), (Lines{"PASS", "PASS"}));

    HostView const failed =
        runStorageTest(stickPc(smallDisk()), with(with(readAndWrite, tooHighForReading), badWriting));
    EXPECT_EQ(failed.result, "FAIL");
    EXPECT_EQ(collected(), (Lines{"FAIL", "FAIL"}));

    HostView const alone = runStorageTest(stickPc(smallDisk()),
                                          with(with(readAndWrite, {{"PerformReadPerformance", "false"}}), badWriting));
    EXPECT_EQ(alone.result, "BADPARAMS");
    EXPECT_EQ(raised(alone), Lines{badPercent});
    EXPECT_EQ(collected(), Lines{"BADPARAMS"});
}

TEST_F(StorageProcedure, DeviceOfUnknownSpeedHasNoThreshold) {
    Json description = stickPc(smallDisk());
    description["controllers"][0]["rootHub"]["ports"][0]["speed"] = 9;
    TracedRun const run = traceStorageTest(description, readAndWrite);
    EXPECT_EQ(run.host.result, "BADPARAMS");
    EXPECT_EQ(raised(run.host), (Lines{"warning DEVICE_SPEED_NOT_CONFIGURED PerformanceCalculator.cpp:643",
                                       "warning DEVICE_SPEED_NOT_CONFIGURED PerformanceCalculator.cpp:643"}));
    EXPECT_FALSE(wasMeasured(run.calls));
    EXPECT_EQ(collected(), (Lines{"BADPARAMS", "BADPARAMS"}));
}

TEST_F(StorageProcedure, NothingCollectedIsAPass) {
    nuvrusb::emptyCollectedResults();
    EXPECT_EQ(nuvrusb::mergeCollectedResults(), tkit5::TestResult::PASS());
    nuvrusb::collectedResults.append(tkit5::TestResult::CANNOTRUN());
    nuvrusb::collectedResults.append(tkit5::TestResult::NOMEDIA());
    EXPECT_EQ(nuvrusb::mergeCollectedResults(), tkit5::TestResult::CANNOTRUN());
    EXPECT_EQ(collected(), (Lines{"CANNOTRUN", "NOMEDIA"}));
}

// Write-protected media.

TEST_F(StorageProcedure, WriteProtectedMediumIsReadButNotWritten) {
    Json const description = stickPc(smallDisk({{"readOnlyVolume", true}}));
    TracedRun const run = traceStorageTest(description, readAndWrite, {"--log-level", "2"});
    EXPECT_EQ(run.host.result, "PASS");
    EXPECT_EQ(raised(run.host), readSummary + Lines{writeProtected});
    EXPECT_EQ(collected(), (Lines{"PASS", "PASS"}));
    ASSERT_TRUE(run.host.logged(writeProtectedLog));
    EXPECT_EQ(run.host.priorityOf.at(writeProtectedLog), 2);
    for (Json const & call : run.calls) {
        EXPECT_NE(call["call"], "write");
    }
}

TEST_F(StorageProcedure, WriteProtectionAfterAFailedReadingCannotRun) {
    HostView const host =
        runStorageTest(stickPc(smallDisk({{"readOnlyVolume", true}})), with(readAndWrite, tooHighForReading));
    EXPECT_EQ(host.result, "FAIL");
    EXPECT_EQ(raised(host), (readSummary + Lines{tooSlow, writeProtected}));
    EXPECT_EQ(collected(), (Lines{"FAIL", "CANNOTRUN"}));
}

TEST_F(StorageProcedure, WriteProtectionWithoutAReadingCannotRun) {
    TracedRun const run = traceStorageTest(stickPc(smallDisk({{"readOnlyVolume", true}})),
                                           with(readAndWrite, {{"PerformReadPerformance", "false"}}));
    EXPECT_EQ(run.host.result, "CANNOTRUN");
    EXPECT_EQ(raised(run.host), Lines{writeProtected});
    EXPECT_FALSE(wasMeasured(run.calls));
    EXPECT_EQ(collected(), Lines{"CANNOTRUN"});
}

TEST_F(StorageProcedure, WriteProtectionThatIsFalseSkipsTheWritingInSilenceButForTheLog) {
    FakeDevice device;
    device.has("HasReadOnlyVolume", false);
    {
        StorageCall call(stickPc(smallDisk()), with(readAndWrite, {{"PerformReadPerformance", "false"}}), 2);
        EXPECT_EQ(runOn(device), "BADPARAMS");
        EXPECT_EQ(collected(), Lines{});
        Lines const end(call.reporter.lines.end() - 2, call.reporter.lines.end());
        EXPECT_EQ(end, (Lines{std::string("log2 ") + writeProtectedLog, "warning OPERATIONS_TURNED_OFF 1542"}));
    }
    {
        StorageCall call(stickPc(smallDisk()), readAndWrite);
        EXPECT_EQ(runOn(device), "PASS");
        EXPECT_EQ(collected(), Lines{"PASS"});
        EXPECT_EQ(call.reporter.lines,
                  (Lines{"informative PEAK_READ_PERFORMANCE 382", "informative AVERAGE_READ_PERFORMANCE 387"}));
    }
}

// Identity and names.

std::string nameInTheLog(StorageCall const & call) {
    std::string const start = "log1 302 Starting Read Performance Test for the device: ";
    for (std::string const & line : call.reporter.lines) {
        if (line.find(start) == 0) {
            return line.substr(start.size());
        }
    }
    return "not measured";
}

TEST_F(StorageProcedure, MediumGoesByItsFriendlyNameElseByTheDevicesNameOrDescription) {
    struct Row {
        bool hidden;
        char const * name;
        char const * description;
        char const * expected;
    };
    for (Row const & row : {Row{false, "Given", "Described", diskModel}, Row{true, "Given", "Described", "Given"},
                            Row{true, "", "Described", "Described"}, Row{true, "", "", ""}}) {
        StorageCall call(stickPc(smallDisk({{"hidden", row.hidden}})), readOnce, 1);
        runOn(FakeDevice().called(row.name, row.description));
        EXPECT_EQ(nameInTheLog(call), row.expected);
    }
}

TEST_F(StorageProcedure, DeviceWithoutAnInstanceIdIsFoundByItsLocator) {
    StorageCall call(stickPc(smallDisk()), readOnce);
    EXPECT_EQ(runOn(FakeDevice().lacks("DeviceInstanceId")), "PASS");
    EXPECT_EQ(runOn(FakeDevice().atLocator("")), "PASS");
    EXPECT_EQ(runOn(FakeDevice().lacks("DeviceInstanceId").atLocator("")), "NODEVICE");
}

TEST_F(StorageProcedure, OperationsHaveTheirSites) {
    HostView const host = runStorageTest(stickPc(smallDisk()), readOnce, {"--log-level", "1"});
    EXPECT_EQ(host.scopeSites.at("USBStoragePerformanceTest"), std::string(procedureFile) + ":709");
    EXPECT_EQ(host.scopeSites.at("readPerformance"), std::string(procedureFile) + ":1495");
    EXPECT_EQ(host.scopeSites.at("PerformanceCalculator::getBufferSize"), std::string(calculatorFile) + ":799");
    EXPECT_EQ(host.scopeSites.at("PerformanceCalculator::getPerformanceResult"), std::string(calculatorFile) + ":564");
    for (char const * const operation : {"openHandle", "initDrive", "reopenForMediaCheck", "isMediaOperationReady"}) {
        EXPECT_EQ(host.scopeSites.count(std::string("PerformanceCalculator::") + operation), 1U) << operation;
    }
}

TEST_F(StorageProcedure, EveryDeviceOfARunIsTestedAndTheWorseResultKept) {
    Json const good = with(device("Good"), {{"disk", smallDisk({{"instanceId", "GOOD"}})}});
    Json const poor = with(device("Poor"), {{"disk", smallDisk({{"instanceId", "POOR"}, {"readRate", 0.05}})}});
    HostView const host =
        runTest("USBStoragePerformanceTest", pcWithPorts({port(1, "full", good), port(2, "full", poor)}),
                {"--device", "GOOD", "--device", "POOR", "--allow-destructive", "--set", "PerformReadPerformance=true",
                 "--set", "MaxTestRunTime=30", "--set", "USB11ReadThresholdPercent=4"}); // 0.06 MB/s
    EXPECT_EQ(host.deviceResults,
              (std::vector<std::pair<std::string, std::string>>{{"GOOD", "PASS"}, {"POOR", "FAIL"}}));
    EXPECT_EQ(host.result, "FAIL");
    EXPECT_EQ(raised(host), (readSummary + readSummary + Lines{tooSlow}));
    EXPECT_EQ(collected(), Lines{"FAIL"}); // those of the second device alone
}

// Ways out.

TEST_F(StorageProcedure, NothingStaysOpenAfterAnyWayOut) {
    std::vector<std::pair<Json, Settings>> const runs{
        {smallDisk(), readAndWrite},
        {smallDisk({{"sanitizing", true}}), readAndWrite},
        {smallDisk({{"openError", 5}}), readAndWrite},
        {smallDisk({{"media", "absent"}}), readAndWrite},
        {smallDisk({{"faults", {{{"call", "read"}, {"overlapped", true}, {"hangs", true}}}}}), readAndWrite},
        {smallDisk(), Settings{}}};
    for (auto const & [disk, settings] : runs) {
        runStorageTest(stickPc(disk), settings);
        EXPECT_EQ(kernel::openHandleCount(), 0U) << disk;
    }
}

TEST_F(StorageProcedure, ExceptionOfALibraryReachesTheFrameworkAndLeavesNothingOpen) {
    StorageCall call(stickPc(smallDisk()), readAndWrite);
    EXPECT_THROW(runOn(FakeDevice().throwsAt("DeviceInstanceId")), nuv::Exception);
    EXPECT_EQ(call.reporter.lines, Lines{});
    EXPECT_EQ(kernel::openHandleCount(), 0U);

    // After the read pass, which left the disk open.
    EXPECT_THROW(runOn(FakeDevice().throwsAt("HasReadOnlyVolume")), nuv::Exception);
    EXPECT_EQ(call.reporter.lines,
              (Lines{"informative PEAK_READ_PERFORMANCE 382", "informative AVERAGE_READ_PERFORMANCE 387"}));
    EXPECT_EQ(collected(), Lines{"PASS"});
    EXPECT_EQ(kernel::openHandleCount(), 0U);
}

} // namespace
} // namespace test
