// Judging a hub by the ports that it feeds, and those of the hubs directly on it.
#include "DeviceStatus.h"
#include "DirectCall.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace test {
namespace {

using Lines = std::vector<std::string>;

Json lamp(int number, Json const & status) {
    return with(port(number, "high", device("Lamp" + std::to_string(number))), {{"status", status}});
}

struct Verdict {
    std::string result;
    Lines lines;
};

Verdict checkHubOnPort(Json const & pc, std::uint32_t number, int logPriority = 5) {
    DirectCall call(pc, logPriority);
    nuv::FileHandleResManager const parent = call.openRootHub();
    tkit5::TestResult const result = nuvrusb::getPowerConsumptionStatus(parent.get(), number);
    return {tkit5::resultName(result), call.reporter.lines};
}

// The hub under test on root port 1, with these ports.
Verdict checkHub(Json ports, int logPriority = 5) {
    return checkHubOnPort(pcWithPorts({hubPort(1, hub("Tested", std::move(ports)))}), 1, logPriority);
}

struct PortStatus {
    Json status;
    char const * ownEvent; // null: no fault
    char const * childEvent;
};

std::vector<PortStatus> const & statuses() {
    static std::vector<PortStatus> const table{
        {"DeviceConnected", nullptr, nullptr},
        {"DeviceFailedEnumeration", nullptr, nullptr},
        {"DeviceGeneralFailure", nullptr, nullptr},
        {"DeviceCausedOvercurrent", "warning DeviceCausedOvercurrent 1111", "warning DeviceCausedOvercurrent 1127"},
        {"DeviceNotEnoughPower", "warning DeviceNotEnoughPower 1106", "warning DeviceNotEnoughPower 1122"},
        {"DeviceNotEnoughBandwidth", nullptr, nullptr},
        {"DeviceHubNestedTooDeeply", nullptr, nullptr},
        {"DeviceInLegacyHub", nullptr, nullptr},
        {"DeviceEnumerating", nullptr, nullptr},
        {"DeviceReset", nullptr, nullptr},
        {55, nullptr, nullptr}};
    return table;
}

TEST(HubPower, FirstFaultyPortDecides) {
    for (PortStatus const & first : statuses()) {
        for (PortStatus const & second : statuses()) {
            Verdict const verdict = checkHub({lamp(1, first.status), lamp(3, second.status)});
            char const * const expected = first.ownEvent != nullptr ? first.ownEvent : second.ownEvent;
            EXPECT_EQ(verdict.result, expected != nullptr ? "WARN" : "PASS") << first.status << second.status;
            EXPECT_EQ(verdict.lines, expected != nullptr ? Lines{expected} : Lines{}) << first.status << second.status;
        }
    }
}

TEST(HubPower, PortsOfAChildHubAreExaminedBeforeTheNextPort) {
    for (PortStatus const & inner : statuses()) {
        for (PortStatus const & next : statuses()) {
            Verdict const verdict = checkHub({hubPort(1, hub("Child", {lamp(2, inner.status)})), lamp(2, next.status)});
            char const * const expected = inner.childEvent != nullptr ? inner.childEvent : next.ownEvent;
            EXPECT_EQ(verdict.result, expected != nullptr ? "WARN" : "PASS") << inner.status << next.status;
            EXPECT_EQ(verdict.lines, expected != nullptr ? Lines{expected} : Lines{}) << inner.status << next.status;
        }
    }
}

TEST(HubPower, FaultOfAChildHubsOwnPortComesBeforeItsPorts) {
    Verdict const verdict = checkHub(
        {with(hubPort(1, hub("Child", {lamp(1, "DeviceCausedOvercurrent")})), {{"status", "DeviceNotEnoughPower"}})});
    EXPECT_EQ(verdict.lines, Lines{"warning DeviceNotEnoughPower 1106"});
}

TEST(HubPower, FaultTwoHubsBelowIsNotFound) {
    Verdict const verdict =
        checkHub({hubPort(1, hub("Child", {hubPort(1, hub("Grandchild", {lamp(1, "DeviceNotEnoughPower")}))}))});
    EXPECT_EQ(verdict.result, "PASS");
    EXPECT_TRUE(verdict.lines.empty());
}

TEST(HubPower, HubWithoutPortsPasses) {
    Verdict const verdict = checkHubOnPort(pcWithPorts({hubPort(1, hub("Tested", Json::array(), 0))}), 1);
    EXPECT_EQ(verdict.result, "PASS");
    EXPECT_TRUE(verdict.lines.empty());
}

TEST(HubPower, FaultsAreLogged) {
    EXPECT_EQ(checkHub({lamp(1, "DeviceNotEnoughPower")}, 1).lines,
              (Lines{"log1 1105 getPortsStatus() caught power exceed", "warning DeviceNotEnoughPower 1106"}));
    EXPECT_EQ(checkHub({lamp(1, "DeviceCausedOvercurrent")}, 1).lines,
              (Lines{"log1 1110 getPortsStatus caught overcurrent", "warning DeviceCausedOvercurrent 1111"}));
    EXPECT_EQ(checkHub({hubPort(1, hub("Child", {lamp(1, "DeviceNotEnoughPower")}))}, 1).lines,
              (Lines{"log1 1121 getPortsStatus() caught power exceed", "warning DeviceNotEnoughPower 1122"}));
    EXPECT_EQ(checkHub({hubPort(1, hub("Child", {lamp(1, "DeviceCausedOvercurrent")}))}, 1).lines,
              (Lines{"log1 1126 getPortsStatus caught overcurrent", "warning DeviceCausedOvercurrent 1127"}));
}

TEST(HubPower, HubWhoseNameCannotBeLearnedPassesInSilence) {
    std::vector<Json> const faults{
        {{"error", 31}}, {{"after", 1}, {"error", 31}},     {{"reportedLength", 0}}, {{"reportedLength", 10}},
        {{"text", ""}},  {{"reportedLength", 4294967295U}}, {{"hangs", true}}};
    for (Json fault : faults) {
        fault["query"] = "hubName";
        Json description = pcWithPorts({hubPort(1, hub("Tested", {lamp(1, "DeviceNotEnoughPower")}))});
        description["controllers"][0]["rootHub"]["faults"] = Json::array({fault});
        Verdict const verdict = checkHubOnPort(description, 1, 1);
        EXPECT_EQ(verdict.result, "PASS") << fault;
        EXPECT_TRUE(verdict.lines.empty()) << fault;
    }
}

TEST(HubPower, PortWithoutAHubPassesInSilence) {
    EXPECT_EQ(checkHubOnPort(pcWithPorts({port(1, "high", device("Stick"))}), 1, 1).result, "PASS");
    EXPECT_EQ(checkHubOnPort(pcWithPorts({emptyPort(1)}), 1, 1).result, "PASS");
}

TEST(HubPower, HubThatCannotBeOpenedHasNoPortsAndPasses) {
    Json const closed = with(hub("Tested", {lamp(1, "DeviceNotEnoughPower")}), {{"openError", 5}});
    EXPECT_EQ(checkHubOnPort(pcWithPorts({hubPort(1, closed)}), 1).result, "PASS");
}

TEST(HubPower, ChildHubThatCannotBeOpenedIsPassedOver) {
    Json const closed = with(hub("Child", {lamp(1, "DeviceNotEnoughPower")}), {{"openError", 5}});
    EXPECT_EQ(checkHub({hubPort(1, closed), lamp(2, "DeviceCausedOvercurrent")}).lines,
              Lines{"warning DeviceCausedOvercurrent 1111"});
}

TEST(HubPower, NameLengthsAreBelievedOnlyAsFarAsTheyCanBe) {
    for (auto const & [length, result] : std::vector<std::pair<int, char const *>>{
             {1, "PASS"}, {8, "PASS"}, {9, "PASS"}, {12, "PASS"}, {13, "PASS"}, {60000, "WARN"}}) {
        Json description = pcWithPorts({hubPort(1, hub("Tested", {lamp(1, "DeviceNotEnoughPower")}))});
        description["controllers"][0]["rootHub"]["faults"] =
            Json::array({{{"query", "hubName"}, {"reportedLength", length}}});
        EXPECT_EQ(checkHubOnPort(description, 1).result, result) << length;
    }
}

TEST(HubPower, PortThatCannotBeReadIsPassedOver) {
    Json tested = hub("Tested", {lamp(1, "DeviceNotEnoughPower"), lamp(2, "DeviceCausedOvercurrent")});
    tested["faults"] = Json::array({{{"query", "connection"}, {"port", 1}, {"error", 31}}});
    EXPECT_EQ(checkHubOnPort(pcWithPorts({hubPort(1, tested)}), 1).lines,
              Lines{"warning DeviceCausedOvercurrent 1111"});
    Json child = hub("Child", {lamp(1, "DeviceNotEnoughPower"), lamp(2, "DeviceCausedOvercurrent")});
    child["faults"] = Json::array({{{"query", "connection"}, {"port", 1}, {"error", 31}}});
    EXPECT_EQ(checkHub({hubPort(1, child)}).lines, Lines{"warning DeviceCausedOvercurrent 1127"});
}

TEST(HubPower, FirstFaultyPortOfAChildHubDecides) {
    EXPECT_EQ(
        checkHub({hubPort(1, hub("Child", {lamp(1, "DeviceCausedOvercurrent"), lamp(2, "DeviceNotEnoughPower")}))})
            .lines,
        Lines{"warning DeviceCausedOvercurrent 1127"});
}

TEST(HubPower, OperationsTraceTheirScopes) {
    DirectCall call(pcWithPorts({hubPort(1, hub("Tested", Json::array()))}), 1);
    nuv::FileHandleResManager const parent = call.openRootHub();
    nuvrusb::getPowerConsumptionStatus(parent.get(), 1);
    EXPECT_EQ(call.reporter.scopes, (Lines{"+getPowerConsumptionStatus:1096", "+getHubDeviceName:1049",
                                           "-getHubDeviceName:1049", "-getPowerConsumptionStatus:1096"}));
}

TEST(HubPower, NameWithoutATerminatorIsReadWithinItsRecord) {
    Json description = pcWithPorts({hubPort(1, hub("Tested", {lamp(1, "DeviceNotEnoughPower")}))});
    description["controllers"][0]["rootHub"]["faults"] = Json::array({{{"query", "hubName"}, {"unterminated", true}}});
    EXPECT_EQ(checkHubOnPort(description, 1).result, "WARN");
}

} // namespace
} // namespace test
