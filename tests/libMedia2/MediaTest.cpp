#include "libMedia2.h"
#include "support/DiskPc.h"

#include <gtest/gtest.h>

#include <string>

using libMedia2::OSDrive;
using support::disk1;
using support::DiskPc;

namespace {

// The state that a drive tells, three times over: as a number, as present, as loading.
struct State {
    int number;
    bool present;
    bool loading;

    friend bool operator==(State const & a, State const & b) = default;
};
constexpr State none{0, false, false};
constexpr State ready{1, true, false};
constexpr State loading{2, false, true};

State stateOf(OSDrive & drive) {
    return {drive.mediaState(), drive.isMediaPresent(), drive.isMediaLoading()};
}

State stateOfDisk(std::string const & disk) {
    DiskPc const pc({disk});
    nuv::SharedFileHandle slot = support::openShared(disk1);
    OSDrive drive(slot, nullptr);
    return stateOf(drive);
}

TEST(MediaTest, StatesAreThoseOfTheDisk) {
    EXPECT_EQ(stateOfDisk(""), ready);
    EXPECT_EQ(stateOfDisk(R"("media": "absent")"), none);
    EXPECT_EQ(stateOfDisk(R"("media": "loading")"), loading);
}

TEST(MediaTest, AnyOtherErrorIsNoMedium) {
    for (char const * const error : {"5", "31", "121", "1112", "1117", "1167"}) {
        EXPECT_EQ(stateOfDisk(std::string(R"("faults": [{"call": "checkVerify", "error": )") + error + "}]"), none)
            << error;
    }
}

// An empty drive and one that is not ready yet answer with the same error.
TEST(MediaTest, ADriveThatIsNotReadyIsAskedWhy) {
    std::string const notReady = R"({"call": "checkVerify", "error": 21})";
    EXPECT_EQ(stateOfDisk(R"("media": "absent", "faults": [)" + notReady + "]"), none);
    EXPECT_EQ(stateOfDisk(R"("faults": [)" + notReady + "]"), loading); // and says that nothing is wrong
}

TEST(MediaTest, ADriveThatCannotBeAskedWhyMayBecomeReady) {
    DiskPc const pc({R"("media": "absent")"});
    nuv::SharedFileHandle slot(new nuv::FileHandleResManager(support::openFile(disk1, kernel::GENERIC_READ)));
    OSDrive drive(slot, nullptr);
    kernel::SetLastError(42);
    EXPECT_EQ(stateOf(drive), loading); // nothing is passed through for who may not write
    EXPECT_EQ(kernel::GetLastError(), 42U);
}

TEST(MediaTest, ADeviceThatWasPulledOutHasNone) {
    DiskPc pc({R"("mediaChanges": [{"media": "unplugged", "atMilliseconds": 1000}])"});
    nuv::SharedFileHandle slot = support::openShared(disk1);
    OSDrive drive(slot, nullptr);
    EXPECT_EQ(stateOf(drive), ready);
    pc.clock().sleep(std::chrono::seconds(1));
    EXPECT_EQ(stateOf(drive), none);
}

TEST(MediaTest, AChangedMediumIsAskedForOnceMore) {
    DiskPc const pc({R"("faults": [{"call": "checkVerify", "times": 1, "error": 1110}])"});
    nuv::SharedFileHandle slot = support::openShared(disk1);
    OSDrive drive(slot, nullptr);
    EXPECT_EQ(drive.mediaState(), 1);
}

TEST(MediaTest, AChangedMediumIsNotAskedForAThirdTime) {
    DiskPc const pc({R"("faults": [{"call": "checkVerify", "times": 2, "error": 1110}])"});
    nuv::SharedFileHandle slot = support::openShared(disk1);
    OSDrive drive(slot, nullptr);
    EXPECT_EQ(drive.mediaState(), 0);
    EXPECT_EQ(drive.mediaState(), 1);
}

TEST(MediaTest, AMediumThatChangesAllTheTimeIsNone) {
    EXPECT_EQ(stateOfDisk(R"("faults": [{"call": "checkVerify", "error": 1110}])"), none);
}

TEST(MediaTest, AnEmptySlotHasNone) {
    DiskPc const pc({""});
    nuv::SharedFileHandle slot;
    OSDrive drive(slot, nullptr);
    EXPECT_EQ(stateOf(drive), none);
}

TEST(MediaTest, AskingLeavesTheLastErrorAsItWas) {
    DiskPc pc(
        {R"("mediaChanges": [{"media": "absent", "atMilliseconds": 1000}, {"media": "loading", "atMilliseconds": 2000}])"});
    nuv::SharedFileHandle slot = support::openShared(disk1);
    OSDrive drive(slot, nullptr);
    for (State const & expected : {ready, none, loading}) {
        kernel::SetLastError(1117);
        EXPECT_EQ(stateOf(drive), expected);
        EXPECT_EQ(kernel::GetLastError(), 1117U);
        pc.clock().sleep(std::chrono::seconds(1));
    }
    slot.release();
    EXPECT_EQ(stateOf(drive), none);
    EXPECT_EQ(kernel::GetLastError(), 1117U);
}

TEST(MediaTest, LeavesTheKindOfTheLastFailureAlone) {
    DiskPc const pc({R"("readOnly": true)"});
    nuv::SharedFileHandle slot = support::openShared(disk1);
    OSDrive drive(slot, nullptr);
    support::Pages page(512);
    EXPECT_FALSE(drive.writeSector(0, 1, page.data(), 512));
    EXPECT_EQ(stateOf(drive), ready);
    EXPECT_EQ(drive.lastErrorType(), libMedia2::Drive::WriteProtected);
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_WRITE_PROTECT);
}

TEST(LoadTest, TellsWhetherTheDriveObeys) {
    DiskPc const pc({R"("faults": [{"call": "load", "after": 1, "error": 1}])"});
    nuv::SharedFileHandle slot = support::openShared(disk1);
    OSDrive drive(slot, nullptr);
    kernel::SetLastError(77);
    EXPECT_TRUE(drive.loadDrive());
    EXPECT_EQ(kernel::GetLastError(), 77U);
    EXPECT_FALSE(drive.loadDrive());
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_FUNCTION);
    slot.release();
    EXPECT_FALSE(drive.loadDrive());
    EXPECT_EQ(kernel::GetLastError(), kernel::ERROR_INVALID_HANDLE);
}

} // namespace
