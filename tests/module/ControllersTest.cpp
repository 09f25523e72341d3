// Host controllers of the whole-bus test: which are judged, which are skipped, and how a root hub's name is asked.
#include "SpeedTestFixture.h"

#include <algorithm>

namespace test {
namespace {

Json slowPorts() {
    return {port(1, "full", device("Mouse"))};
}

bool rootHubNameIs(HostView const & host, std::string const & name) {
    return host.logged("803 Debug::USBConnectionSpeedVerificationTest() Root Hub name " + name);
}

TEST_F(ConnectionSpeed, ControllerWithoutAnInstanceIdIsSkipped) {
    Json description = pcWithPorts(slowPorts());
    description["controllers"][0]["instanceId"] = "";
    HostView const host = runInMaxMode(description, {"--log-level", "1"});
    EXPECT_EQ(host.result, "PASS");
    EXPECT_TRUE(host.events.empty());
    EXPECT_TRUE(host.logged("785 Debug::getDeviceInstanceID() could not get Device Instance ID"));
}

TEST_F(ConnectionSpeed, ControllerThatCannotBeOpenedIsSkippedAndTheNextIsJudged) {
    Json description = pc(Json::array({controller(slowPorts(), "Locked"), controller(slowPorts(), "Open")}));
    description["controllers"][0]["openError"] = 5;
    HostView const host = runInMaxMode(description, {"--log-level", "1"});
    ASSERT_EQ(host.events.size(), 1U);
    EXPECT_EQ(host.events[0].variables.at("ControllerName"), "Open");
    EXPECT_TRUE(host.logged("793 Debug::USBConnectionSpeedVerificationTest() could not open handle for controller "
                            "Locked"));
}

TEST_F(ConnectionSpeed, ControllerWithoutALocatorCountsAsFoundAndFailsToOpen) {
    Json description = pcWithPorts(slowPorts());
    description["controllers"][0]["interfacePath"] = "";
    HostView const host = runInMaxMode(description, {"--log-level", "1"});
    EXPECT_TRUE(host.events.empty());
    EXPECT_TRUE(host.logged("793 Debug::USBConnectionSpeedVerificationTest() could not open handle for controller "
                            "Test Controller"));
}

TEST_F(ConnectionSpeed, ControllerThatTheSystemDoesNotListIsJudgedWithoutAHandle) {
    Json description = pcWithPorts(slowPorts());
    description["controllers"][0]["listed"] = false;
    HostView const host = runInMaxMode(description, {"--log-level", "1"});
    EXPECT_EQ(host.result, "FAIL");
    EXPECT_TRUE(host.logged("678 isController::Did not find the USB Controller we are looking for"));
    EXPECT_TRUE(rootHubNameIs(host, ""));
}

TEST_F(ConnectionSpeed, DisabledControllerIsAnEmptySlot) {
    Json description = pc(Json::array({controller(slowPorts(), "Disabled"), controller(slowPorts(), "Enabled")}));
    description["controllers"][0]["disabled"] = true;
    HostView const host = runInMaxMode(description, {"--log-level", "1"});
    ASSERT_EQ(host.events.size(), 1U);
    EXPECT_EQ(host.events[0].variables.at("ControllerName"), "Enabled");
}

TEST_F(ConnectionSpeed, RootHubNameLongerThanTheFirstBufferTakesASecondQuery) {
    std::string const longName = "USB#ROOT_HUB30#" + std::string(400, 'x');
    Json description = pcWithPorts(slowPorts());
    description["controllers"][0]["rootHub"]["symbolicName"] = longName;
    HostView const host = runInMaxMode(description, {"--log-level", "1"});
    EXPECT_TRUE(rootHubNameIs(host, "\\\\?\\" + longName));
    EXPECT_EQ(host.events.size(), 1U);
}

struct NameFault {
    char const * what;
    Json fault;
    char const * expected;
};

TEST_F(ConnectionSpeed, RootHubNameThatCannotBeHadIsEmptyAndThePortsAreJudged) {
    // The first two such queries read the topology; the faults hit the ones after it.
    std::vector<NameFault> const faults{
        {"failing query", {{"error", 31}}, ""},
        {"length that is too large once", {{"reportedLength", 60000}}, "\\\\?\\USB#ROOT_HUB30#Test Controller"},
        {"absurd length", {{"reportedLength", 4294967295U}}, ""},
        {"empty name", {{"text", ""}}, ""},
        {"name without terminator", {{"unterminated", true}}, "\\\\?\\USB#ROOT_HUB30#Test Controller"},
        {"length shorter than the name", {{"reportedLength", 8}}, "\\\\?\\USB#ROOT_HUB30#Test Controller"}};
    for (NameFault const & row : faults) {
        nuvrusb::speedMode = {};
        // Enumeration happens once for the list of devices and once in the test, with two queries each.
        Json fault = row.fault;
        fault["query"] = "rootHubName";
        fault["after"] = 4;
        Json description = pcWithPorts(slowPorts());
        description["controllers"][0]["faults"] = Json::array({fault});
        HostView const host = runInMaxMode(description, {"--log-level", "1"});
        EXPECT_TRUE(rootHubNameIs(host, row.expected)) << row.what;
        EXPECT_EQ(host.events.size(), 1U) << row.what;
    }
}

TEST_F(ConnectionSpeed, RootHubNameThatKeepsGrowingIsGivenUpAfterTheSecondQuery) {
    Json description = pcWithPorts(slowPorts());
    description["controllers"][0]["faults"] =
        Json::array({{{"query", "rootHubName"}, {"after", 4}, {"times", 1}, {"reportedLength", 1000}},
                     {{"query", "rootHubName"}, {"after", 5}, {"times", 1}, {"reportedLength", 2000}}});
    std::string const trace = testing::TempDir() + "growing-name-io.jsonl";
    HostView const host = runInMaxMode(description, {"--log-level", "1", "--trace-io", trace});
    EXPECT_TRUE(rootHubNameIs(host, ""));
    std::vector<Json> const calls = readLines(trace);
    auto const sizes = std::ranges::count_if(calls, [](Json const & call) {
        return call["call"] == "control" && (call["out"] == 512 || call["out"] == 1000 || call["out"] == 2000);
    });
    EXPECT_EQ(sizes, 2);
}

TEST_F(ConnectionSpeed, ControllerIsFoundWhateverTheLetterCase) {
    Json description = pcWithPorts(slowPorts());
    description["controllers"][0]["instanceId"] = "pci\\Ven_abcd&DEV_1234\\3&1";
    EXPECT_EQ(runInMaxMode(description).result, "FAIL");
}

TEST_F(ConnectionSpeed, ControllerIsOpenedForReadingAndWritingSharedAndClosedAgain) {
    HostView const host =
        runInMaxMode(pcWithPorts(slowPorts()), {"--trace-io", testing::TempDir() + "controller-io.jsonl"});
    ASSERT_EQ(host.result, "FAIL");
    std::vector<Json> const calls = readLines(testing::TempDir() + "controller-io.jsonl");
    auto const isModuleOpen = [](Json const & call) {
        return call["call"] == "open" && call["access"] == "0xC0000000" && call["share"] == "0x3" &&
               call["disposition"] == "0x3" && call["flags"] == "0x0";
    };
    EXPECT_EQ(std::ranges::count_if(calls, isModuleOpen), 1);
    auto const closes = std::ranges::count_if(calls, [](Json const & call) { return call["call"] == "close"; });
    auto const opens = std::ranges::count_if(
        calls, [](Json const & call) { return call["call"] == "open" && call.contains("handle"); });
    EXPECT_EQ(opens, closes);
}

} // namespace
} // namespace test
