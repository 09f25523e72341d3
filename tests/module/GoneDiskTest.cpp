// A disk that is pulled out in the middle of a run.
#include "StoragePc.h"

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

} // namespace
} // namespace test
