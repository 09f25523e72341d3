// A disk that is pulled out in the middle of a run.
#include "StorageCall.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace test {
namespace {

Settings const bothPasses = with(readOnce, writePreserved);

TEST(GoneDisk, IsToldFromOneThatCannotBeOpened) {
    Json const pulledOut = smallDisk({{"mediaChanges", {{{"media", "unplugged"}, {"atTransfer", 3}}}}});
    HostView const host = runStorageTest(stickPc(pulledOut), bothPasses, {"--log-level", "1"});
    EXPECT_EQ(host.result, "NODEVICE") << "NOMEDIA of the read pass, NODEVICE of the write pass";
    EXPECT_EQ(host.keys(), std::vector<std::string>{});
    EXPECT_TRUE(host.logged("701 PerformanceCalculator::getHardwareLocator() was not successful in finding the "
                            "OSLocator Stick"));
}

TEST(GoneDisk, OneThatIsThereAndCannotBeOpenedIsFound) {
    Json const refusing = smallDisk({{"faults", {{{"call", "open"}, {"after", 1}, {"error", 5}}}}}); // the gate gets in
    HostView const host = runStorageTest(stickPc(refusing), readOnce, {"--log-level", "1"});
    EXPECT_EQ(host.result, "CANNOTRUN");
    EXPECT_EQ(host.keys(), std::vector<std::string>{"InvalidDeviceHandle"});
    EXPECT_FALSE(host.logged("701 PerformanceCalculator::getHardwareLocator() was not successful in finding the "
                             "OSLocator Stick"));
}

// A disk that refuses to open and is not among the disks any more. Opens come in this order: pass, probe and reopen; a
// pass that preserves has the latter two before the backup and again before the write.
TEST(GoneDisk, OneThatIsNoLongerListedWhenItIsOpenedAgainHasGone) {
    struct Row {
        std::uint32_t operation;
        int opens;
        Lines reports;
    };
    for (Row const & row :
         {Row{nuvrusb::operation::read, 2, {}}, Row{nuvrusb::operation::write, 2, {}},
          Row{nuvrusb::operation::write, 4, {"warning CANNOT_RESTORE_DATA 880"}}}) { // there is no handle to restore by
        Json const disk =
            smallDisk({{"hidden", true}, {"faults", {{{"call", "open"}, {"after", row.opens}, {"error", 2}}}}});
        StorageCall call(stickPc(disk), bothPasses);
        tkit5::TestResult result;
        call.calculator()->calculate(result, row.operation);
        EXPECT_EQ(result, tkit5::TestResult::NODEVICE()) << row.operation << " " << row.opens;
        EXPECT_EQ(call.reporter.lines, row.reports) << row.operation << " " << row.opens;
    }
}

} // namespace
} // namespace test
