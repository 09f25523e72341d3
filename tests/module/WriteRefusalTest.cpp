// What keeps a write pass from beginning: nothing is written then, and nobody is asked.
#include "PassRun.h"
#include "StorageCall.h"

#include <gtest/gtest.h>

namespace test {

namespace {

Json volume(std::initializer_list<std::pair<char const *, Json>> members) {
    return with({{"firstSector", 64}, {"sectorCount", 2000}}, members);
}
Json withVolumes(std::vector<Json> const & volumes) {
    return diskToWrite(10, {{"readRate", 1}, {"volumes", volumes}});
}

struct Refusal {
    char const * name;
    Json disk;
    Settings settings; // besides those of a pass that preserves
    Lines reports;
    char const * result;
    bool opensTheDisk = false; // exclusively
};

void PrintTo(Refusal const & row, std::ostream * stream) {
    *stream << row.name;
}

std::vector<Refusal> refusals() {
    Json const healthy = diskToWrite(10);
    return {
        {"BitLocker",
         withVolumes({volume({{"encryption", "bitLocker"}})}),
         {},
         {"warning EncryptedDriveDetected 403"},
         "CANNOTRUN"},
        {"BitLockerToGo",
         withVolumes({volume({{"encryption", "bitLockerToGo"}})}),
         {},
         {"warning EncryptedDriveDetected 403"},
         "CANNOTRUN"},
        {"BitLockerOnTheSecondVolume",
         withVolumes({volume({}), volume({{"firstSector", 4000}, {"encryption", "bitLocker"}})}),
         {},
         {"warning EncryptedDriveDetected 403"},
         "CANNOTRUN"},
        {"VolumeInUse", withVolumes({volume({{"inUse", true}})}), {}, {"warning DEVICE_IS_BUSY 407"}, "DEVICEBUSY"},
        {"SecondVolumeInUse",
         withVolumes({volume({}), volume({{"firstSector", 4000}, {"inUse", true}})}),
         {},
         {"warning DEVICE_IS_BUSY 407"},
         "DEVICEBUSY"},
        {"ReadyBoost",
         withVolumes({volume({{"readyBoost", true}})}),
         {},
         {"warning CANNOT_OPEN_ACCESS_DENIED 825"},
         "CANNOTRUN"},
        {"BitLockerBeforeAllElse",
         withVolumes({volume({{"encryption", "bitLocker"}, {"inUse", true}, {"readyBoost", true}})}),
         {{"MaxTestRunTime", "29"}},
         {"warning EncryptedDriveDetected 403"},
         "CANNOTRUN"},
        {"VolumesInUseBeforeReadyBoost",
         withVolumes({volume({{"inUse", true}, {"readyBoost", true}})}),
         {{"MaxTestRunTime", "29"}},
         {"warning DEVICE_IS_BUSY 407"},
         "DEVICEBUSY"},
        {"ReadyBoostBeforeTheOpen",
         with(withVolumes({volume({{"readyBoost", true}})}),
              {{"faults", Json::array({fault("checkVerify", {{"error", 1112}})})}}),
         {{"MaxTestRunTime", "29"}},
         {"warning CANNOT_OPEN_ACCESS_DENIED 825"},
         "CANNOTRUN"},
        {"NoOpen", with(healthy, {{"openError", 5}}), {}, {"warning InvalidDeviceHandle 729"}, "CANNOTRUN"},
        {"NoMedium",
         with(healthy, {{"media", "absent"}}),
         {{"MaxTestRunTime", "29"}},
         {"warning NO_MEDIA_PRESENT 776"},
         "NOMEDIA",
         true},
        {"NoSectorSize",
         with(healthy, {{"faults", Json::array({fault("geometry", {{"error", 1}})})}}),
         {},
         {"warning CANNOT_GET_SECTOR_SIZE 783"},
         "CANNOTRUN",
         true},
        {"RunTimeTooShort",
         healthy,
         {{"MaxTestRunTime", "29"}},
         {"warning INVALID_PARAMETER_RANGE 261 minRange=30 maxRange=60"},
         "BADPARAMS",
         true},
        {"RunTimeTooLong",
         healthy,
         {{"MaxTestRunTime", "61"}},
         {"warning INVALID_PARAMETER_RANGE 261 minRange=30 maxRange=60"},
         "BADPARAMS",
         true},
    };
}

class WriteRefusalTest : public testing::TestWithParam<Refusal> {};
INSTANTIATE_TEST_SUITE_P(Rows, WriteRefusalTest, testing::ValuesIn(refusals()),
                         [](auto const & row) { return std::string(row.param.name); });

TEST_P(WriteRefusalTest, EndsThePassBeforeAnythingIsWritten) {
    PassRun const run = runPass(GetParam().disk, with(writePreserved, GetParam().settings));

    EXPECT_EQ(run.reports, GetParam().reports);
    EXPECT_EQ(run.said({"box", "log1 444"}), Lines{});
    EXPECT_EQ(only(run.disk, {"write", "read", "probe"}), Lines{});
    EXPECT_EQ(run.fromFirstOpen(), GetParam().opensTheDisk ? (Lines{"open", "close"}) : Lines{});
    EXPECT_EQ(run.result, GetParam().result);
}

TEST(WriteRefusalTest, WhoDeclinesTheFirstQuestionLosesNothing) {
    PassRun const run = runPass(diskToWrite(10), writePreserved, {{"answers", {"no"}}});

    EXPECT_EQ(run.said({"box", "answer", "log1 444"}), (Lines{"box Data at risk", "answer no"}));
    EXPECT_EQ(run.reports, Lines{});
    EXPECT_EQ(run.fromFirstOpen(), (Lines{"open", "close"}));
    EXPECT_EQ(run.result, "USERABORTED");
}

TEST(WriteRefusalTest, WithoutALocatorNothingIsAskedOfThePc) {
    StorageCall call(stickPc(diskToWrite(10)), writePreserved, 1);
    auto const calculator = call.calculator("");
    std::size_t const callsBefore = call.calls.size();
    tkit5::TestResult result;
    calculator->calculate(result, nuvrusb::operation::write);

    EXPECT_EQ(call.reporter.lines, (Lines{"log1 394 Starting Write Performance Test for the device: The Stick",
                                          "warning INVALID_HW_LOCATOR 398"}));
    EXPECT_EQ(call.reporter.files, Lines{calculatorFile});
    EXPECT_EQ(call.calls.size(), callsBefore);
    EXPECT_EQ(call.reporter.boxes.size(), 0U);
    EXPECT_EQ(result, tkit5::TestResult::CANNOTRUN());
}

// A disk that cannot be found any more is told from one that cannot be opened.
TEST(WriteRefusalTest, ADiskThatIsNoLongerBelowItsPortIsNoDevice) {
    StorageCall call(stickPc(diskToWrite(10, {{"hidden", true}, {"openError", 2}})), overwriting);
    tkit5::TestResult result;
    call.calculator()->calculate(result, nuvrusb::operation::write);

    EXPECT_EQ(call.reporter.lines, Lines{});
    EXPECT_EQ(result, tkit5::TestResult::NODEVICE());
}

// The read pass has the disk open exclusively; the checks of the volumes read the disk, too.
TEST(WriteRefusalTest, TheChecksCanReadTheDiskAfterAReadPass) {
    Settings const both = with(readOnce, overwriting);
    PassRun const healthy = runPass(withVolumes({volume({})}), both);
    EXPECT_EQ(healthy.said({"warning", "error"}), Lines{});
    EXPECT_EQ(healthy.result, "PASS");

    PassRun const encrypted = runPass(withVolumes({volume({{"encryption", "bitLocker"}})}), both);
    EXPECT_EQ(encrypted.said({"warning", "error"}), Lines{"warning EncryptedDriveDetected 403"});
    EXPECT_EQ(only(encrypted.disk, {"write"}), Lines{});
    EXPECT_EQ(encrypted.result, "CANNOTRUN");
}

} // namespace

} // namespace test
