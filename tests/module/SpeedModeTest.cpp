// State that outlives a run: the speed demands of earlier runs stay, the collected results do not.
#include "SpeedTestFixture.h"

#include "CollectedResults.h"

#include <gtest/gtest.h>

namespace test {
namespace {

Json slowPc() {
    return pcWithPorts({port(1, "full", device("Mouse"))});
}

TEST_F(ConnectionSpeed, MaxModeOfAnEarlierRunStays) {
    EXPECT_EQ(runInMaxMode(slowPc()).result, "FAIL");
    EXPECT_EQ(run(slowPc()).result, "FAIL");
    EXPECT_TRUE(nuvrusb::speedMode.desiredSpeedIsMax);
    EXPECT_TRUE(nuvrusb::speedMode.desiredSpeedIsDefault);
}

TEST_F(ConnectionSpeed, SparingOldDevicesInAnEarlierRunStays) {
    EXPECT_EQ(runInMaxMode(slowPc(), {"--set", "ignore1xdevices=1"}).result, "PASS");
    EXPECT_EQ(runInMaxMode(slowPc(), {"--set", "ignore1xdevices=0"}).result, "PASS");
    EXPECT_TRUE(nuvrusb::speedMode.ignore1x);
}

TEST_F(ConnectionSpeed, DefaultModeDoesNotBecomeMaxByItself) {
    EXPECT_EQ(run(slowPc()).result, "PASS");
    EXPECT_EQ(run(slowPc()).result, "PASS");
    EXPECT_FALSE(nuvrusb::speedMode.desiredSpeedIsMax);
}

TEST_F(ConnectionSpeed, ResultsOfAnEarlierRunAreForgotten) {
    EXPECT_EQ(runInMaxMode(slowPc()).result, "FAIL");
    EXPECT_EQ(runInMaxMode(pcWithPorts({port(1, "high", device("Camera"))})).result, "PASS");
    EXPECT_EQ(nuvrusb::collectedResults.size(), 1U);
}

TEST_F(ConnectionSpeed, ResultOfTheLastOccupiedHubPortIsInTheListTwice) {
    runInMaxMode(pcWithPorts({hubPort(1, hub("Outer", {port(2, "full", device("Mouse"))}, 4))}));
    ASSERT_EQ(nuvrusb::collectedResults.size(), 2U);
    EXPECT_EQ(nuvrusb::collectedResults[0], tkit5::TestResult::FAIL());
    EXPECT_EQ(nuvrusb::collectedResults[1], tkit5::TestResult::FAIL());
}

TEST_F(ConnectionSpeed, ResultOfAHubsLastPortIsInTheListOnce) {
    runInMaxMode(pcWithPorts({hubPort(1, hub("Outer", {port(4, "full", device("Mouse"))}, 4))}));
    EXPECT_EQ(nuvrusb::collectedResults.size(), 1U);
}

TEST_F(ConnectionSpeed, CollectedResultsGrowFromEightByDoubling) {
    Json ports = Json::array();
    for (int number = 1; number <= 20; ++number) {
        ports.push_back(port(number, "high", device("Camera" + std::to_string(number))));
    }
    runInMaxMode(pc(Json::array({controller(ports, controllerName, 20)})));
    EXPECT_EQ(nuvrusb::collectedResults.size(), 20U);
    EXPECT_EQ(nuvrusb::collectedResults.capacity(), 32U);
}

} // namespace
} // namespace test
