// Hubs that lie, loop and fall silent.
#include "BusFixture.h"

#include "machine/TracingMachine.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace {

class HostileBusTest : public support::BusFixture {
protected:
    // A hub with a stick behind it on port 1 of the root hub, and a stick on port 2.
    void describeHub(std::string const & rootFaults, std::string const & hubFaults = "") {
        describePorts(R"({"port": 1, "protocols": ["2.0"], "speed": "high", "hub": {"instanceId": "USB\\HUB\\1",
            "symbolicName": "USB#HUB", "portCount": 2, "ports": [
                {"port": 1, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\D\\1"}}],
            "faults": [)" +
                          hubFaults + R"(]}},
           {"port": 2, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\D\\2"}})",
                      R"(, "faults": [)" + rootFaults + "]");
    }

    double secondsFor(auto const & action) {
        machine::Duration const start = pc().clock().now();
        action();
        return std::chrono::duration<double>(pc().clock().now() - start).count();
    }
};

TEST_F(HostileBusTest, ALengthThatLiesDoesNotHideTheName) {
    describeHub(R"({"query": "hubName", "reportedLength": 65000}, {"query": "driverKey", "reportedLength": 65536})");
    EXPECT_TRUE(port(1).childHub());
    EXPECT_EQ(port(2).device()->getDeviceInstanceID(), nuv::String("USB\\D\\2"));
}

TEST_F(HostileBusTest, AnOddLengthDoesNotHurt) {
    describeHub(R"({"query": "hubName", "reportedLength": 65001})");
    EXPECT_TRUE(port(1).childHub());
    describeHub(R"({"query": "driverKey", "reportedLength": 11})"); // room for one character
    EXPECT_EQ(port(2).getDriverKey().length(), 1U);
    EXPECT_TRUE(port(2).device()->getDeviceInstanceID().empty());
}

TEST_F(HostileBusTest, AnUnbelievableLengthIsAFailedQuery) {
    for (char const * const length : {"65537", "4294967295"}) {
        std::string const lie = std::string(R"("reportedLength": )") + length;
        describeHub(R"({"query": "hubName", )" + lie + R"(}, {"query": "driverKey", )" + lie + "}");
        EXPECT_FALSE(port(1).childHub());
        EXPECT_TRUE(port(2).getDriverKey().empty());
    }
}

TEST_F(HostileBusTest, ALengthWithoutRoomForANameIsNoName) {
    for (char const * const length : {"0", "1", "10"}) {
        std::string const lie = std::string(R"("reportedLength": )") + length;
        describeHub(R"({"query": "hubName", )" + lie + R"(}, {"query": "driverKey", )" + lie + "}");
        EXPECT_FALSE(port(1).childHub());
        EXPECT_TRUE(port(2).getDriverKey().empty());
    }
}

TEST_F(HostileBusTest, ANameWithoutATerminatorEndsWithTheBytes) {
    describeHub(R"({"query": "hubName", "unterminated": true}, {"query": "driverKey", "unterminated": true},
                   {"query": "connector", "unterminated": true})");
    EXPECT_TRUE(port(1).childHub());
    EXPECT_EQ(port(2).device()->getDeviceInstanceID(), nuv::String("USB\\D\\2"));
}

TEST_F(HostileBusTest, AHubThatNamesItselfIsReadOnce) {
    describePorts(R"({"port": 1, "protocols": ["2.0"], "speed": "high", "hub": {"instanceId": "USB\\HUB\\1",
                      "symbolicName": "USB#HUB", "portCount": 1}},
                     {"port": 2, "protocols": ["2.0"], "speed": "high", "hub": {"instanceId": "USB\\HUB\\2",
                      "symbolicName": "USB#HUB2", "portCount": 1}})",
                  R"(, "faults": [{"query": "hubName", "text": "root"}])");
    EXPECT_FALSE(port(1).childHub());
    EXPECT_FALSE(port(2).childHub());
}

TEST_F(HostileBusTest, APortThatLeadsToTheHubOfAnotherPortHasNone) {
    describePorts(R"({"port": 1, "protocols": ["2.0"], "speed": "high", "hub": {"instanceId": "USB\\HUB\\1",
                      "symbolicName": "USB#HUB", "portCount": 1}},
                     {"port": 2, "protocols": ["2.0"], "speed": "high", "hub": {"instanceId": "USB\\HUB\\2",
                      "symbolicName": "USB#HUB2", "portCount": 1}})",
                  R"(, "faults": [{"query": "hubName", "port": 2, "text": "USB#HUB"}])");
    EXPECT_TRUE(port(1).childHub());
    EXPECT_FALSE(port(2).childHub());
}

TEST_F(HostileBusTest, AHubThatFallsSilentCostsFiveSecondsOnce) {
    describeHub("", R"({"query": "connection", "port": 1, "hangs": true})");
    double const seconds = secondsFor([this] { read(); });
    EXPECT_GE(seconds, 5.0);
    EXPECT_LT(seconds, 5.1);

    auto const & hub = port(1).childHub(); // read again in the same run: not asked again
    ASSERT_TRUE(hub);
    EXPECT_TRUE(hub->ports().empty());
    EXPECT_TRUE(port(2).device());
    EXPECT_LT(secondsFor([this] { read(); }), 0.1);
}

TEST_F(HostileBusTest, AfterTheSilenceThePortsOfAHubAreEmptySlots) {
    describeHub("", R"({"query": "connection", "port": 1, "hangs": true})");
    auto const & hub = port(1).childHub();
    ASSERT_TRUE(hub);
    ASSERT_EQ(hub->ports().size(), 2U);
    EXPECT_FALSE(hub->ports()[0]);
    EXPECT_FALSE(hub->ports()[1]);
}

TEST_F(HostileBusTest, APortWhoseFirstAnswerCameStaysThoughItsHubFallsSilent) {
    describeHub("", R"({"query": "connectionV2", "port": 1, "hangs": true})");
    auto const & hub = port(1).childHub();
    ASSERT_TRUE(hub->ports()[0]);
    EXPECT_EQ(hub->ports()[0]->getMaxUSBVersion(), 0.0F);
    EXPECT_FALSE(hub->ports()[1]);
}

TEST_F(HostileBusTest, ASilentControllerHasNoPorts) {
    describe(R"({"instanceId": "PCI\\A", "faults": [{"query": "rootHubName", "hangs": true}],
                 "rootHub": {"portCount": 2}})");
    double const seconds = secondsFor([this] { EXPECT_TRUE(rootHub().ports().empty()); });
    EXPECT_LT(seconds, 5.1);
}

TEST_F(HostileBusTest, OnlyOneHubIsOpenAtATimeAndEachIsReadBeforeThoseBelowIt) {
    describeHub("");
    std::vector<std::string> opens;
    int openNow = 0;
    int mostOpen = 0;
    machine::TracingMachine traced(pc(), [&](std::string_view line) {
        if (line.find(R"("call":"open")") != std::string_view::npos) {
            mostOpen = std::max(mostOpen, ++openNow);
            opens.emplace_back(line.substr(line.find(R"("path":)"), 24));
        } else if (line.find(R"("call":"close")") != std::string_view::npos) {
            --openNow;
        }
    });
    machine::InUse const inUse(traced);
    read();
    EXPECT_EQ(mostOpen, 1);
    EXPECT_EQ(openNow, 0);
    ASSERT_EQ(opens.size(), 3U);
    EXPECT_EQ(opens[0].substr(0, 20), R"("path":"\\\\?\\PCI#A)");
    EXPECT_EQ(opens[1].substr(0, 19), R"("path":"\\\\?\\ROOT)");
    EXPECT_EQ(opens[2].substr(0, 22), R"("path":"\\\\?\\USB#HUB)");
}

} // namespace
