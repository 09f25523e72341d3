// Judging one port and the device node below its device: status codes, events and their order.
#include "AnsweringHub.h"
#include "DeviceNodes.h"
#include "DeviceStatus.h"
#include "DirectCall.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace test {
namespace {

using Lines = std::vector<std::string>;

Json childNode(Json members = Json::object()) {
    Json node = {{"instanceId", "USB\\CHILD\\0"}, {"description", "Child Description"}};
    node.update(members);
    return node;
}

Json deviceWithChild(Json members = Json::object()) {
    return with(device("Gadget"), {{"driverKey", "{key}\\0001"}, {"nodes", Json::array({childNode(members)})}});
}

// The status code and what was raised for a PC with this device on root port 1.
struct Verdict {
    std::int32_t code;
    Lines events;
};

Verdict check(Json const & pc, std::uint32_t portNumber = 1) {
    DirectCall call(pc);
    nuv::FileHandleResManager const hub = call.openRootHub();
    EXPECT_TRUE(hub.isValid());
    std::int32_t const code = nuvrusb::CheckDeviceStatus(hub.get(), portNumber);
    return {code, call.reporter.lines};
}

struct Child {
    char const * name;
    Json device;
    std::int32_t code; // when the port is connected and configured
    Lines events;
};

std::vector<Child> const & children() {
    static std::vector<Child> const table{
        {"healthy", deviceWithChild(), 0, {}},
        {"disabled", deviceWithChild({{"disabled", true}}), 2, {"warning ChildDeviceIsDisabled 579"}},
        {"problem", deviceWithChild({{"problemCode", 10}}), 3, {"error ChildDeviceHasConfigManagerProblem 585"}},
        // One device node has one problem code, so a disabled node's other problem is on a second child, never asked.
        {"disabledBesideAProblem",
         with(device("Gadget"), {{"nodes", Json::array({childNode({{"disabled", true}}),
                                                        {{"instanceId", "USB\\CHILD\\1"}, {"problemCode", 10}}})}}),
         2,
         {"warning ChildDeviceIsDisabled 579"}},
        {"missing", device("Gadget"), 0, {}},
        {"withoutDriverKey", with(deviceWithChild({{"problemCode", 10}}), {{"driverKey", ""}}), 0, {}}};
    return table;
}

struct Status {
    Json status;
    std::int32_t code;
};

std::vector<Status> const & faultyStatuses() {
    static std::vector<Status> const table{{"NoDeviceConnected", 5},
                                           {"DeviceFailedEnumeration", 7},
                                           {"DeviceGeneralFailure", 8},
                                           {"DeviceCausedOvercurrent", 9},
                                           {"DeviceNotEnoughPower", 10},
                                           {"DeviceNotEnoughBandwidth", 11},
                                           {"DeviceHubNestedTooDeeply", 12},
                                           {"DeviceInLegacyHub", 13},
                                           {"DeviceEnumerating", 14},
                                           {"DeviceReset", 15},
                                           {11, -1},
                                           {77, -1},
                                           {4294967291U, -1}, // 5 more would wrap to 0
                                           {4294967295U, -1}};
    return table;
}

TEST(DeviceStatus, ConnectedAndConfiguredPortIsAsHealthyAsItsChildNode) {
    for (Child const & child : children()) {
        Verdict const verdict = check(pcWithPorts({port(1, "high", child.device)}));
        EXPECT_EQ(verdict.code, child.code) << child.name;
        EXPECT_EQ(verdict.events, child.events) << child.name;
    }
}

TEST(DeviceStatus, UnconfiguredDeviceIsMisconfiguredWhateverItsChildNode) {
    for (Child const & child : children()) {
        Verdict const verdict = check(pcWithPorts({port(1, "high", with(child.device, {{"configuration", 0}}))}));
        EXPECT_EQ(verdict.code, 3) << child.name;
        EXPECT_EQ(verdict.events, Lines{"warning DeviceConfigurationError 532"}) << child.name;
    }
}

TEST(DeviceStatus, PortsReportWinsOverTheDeviceTree) {
    for (Status const & status : faultyStatuses()) {
        for (Child const & child : children()) {
            for (int const configuration : {0, 1}) {
                Json const gadget = with(child.device, {{"configuration", configuration}});
                Verdict const verdict =
                    check(pcWithPorts({with(port(1, "high", gadget), {{"status", status.status}})}));
                EXPECT_EQ(verdict.code, status.code) << status.status << " " << child.name;
                EXPECT_EQ(verdict.events, Lines{"warning DeviceNotConnected 537"}) << status.status;
            }
        }
    }
}

TEST(DeviceStatus, EmptyPortIsNotConnected) {
    Verdict const verdict = check(pcWithPorts({emptyPort(1)}));
    EXPECT_EQ(verdict.code, 5);
    EXPECT_EQ(verdict.events, Lines{"warning DeviceNotConnected 537"});
}

Json withConnectionFault(Json fault) {
    Json description = pcWithPorts({port(1, "high", deviceWithChild())});
    fault["query"] = "connection";
    description["controllers"][0]["rootHub"]["faults"] = Json::array({fault});
    return description;
}

TEST(DeviceStatus, QueryThatFailsWithNotConnectedGivesTheCodeOfAnEmptyPort) {
    Verdict const verdict = check(withConnectionFault({{"error", 1167}}));
    EXPECT_EQ(verdict.code, 5);
    EXPECT_EQ(verdict.events, Lines{"error DeviceIORequestFail 517"});
}

TEST(DeviceStatus, QueryThatFailsOtherwiseGivesTheCodeOfAGeneralFailure) {
    for (int const error : {1, 5, 31, 87, 121, 995, 1117}) {
        Verdict const verdict = check(withConnectionFault({{"error", error}}));
        EXPECT_EQ(verdict.code, 8) << error;
        EXPECT_EQ(verdict.events, Lines{"error DeviceIORequestFail 517"}) << error;
    }
}

TEST(DeviceStatus, QueryThatHangsFailsAfterItsTime) {
    Verdict const verdict = check(withConnectionFault({{"hangs", true}}));
    EXPECT_EQ(verdict.code, 8);
}

TEST(DeviceStatus, SecondQueryThatFailsHasACodeOfItsOwn) {
    for (int const error : {31, 1167}) {
        Verdict const verdict = check(withConnectionFault({{"after", 1}, {"error", error}}));
        EXPECT_EQ(verdict.code, 4) << error;
        EXPECT_EQ(verdict.events, Lines{"error DeviceIORequestFail 556"}) << error;
    }
}

TEST(DeviceStatus, SecondQueryWithAnotherStatusIsOnlyLogged) {
    DirectCall call(pcWithPorts(Json::array()), 1);
    Answers answers;
    answers.connection(1).connection(9);
    fuzz::FuzzedHub const hub = answers.open();
    EXPECT_EQ(nuvrusb::CheckDeviceStatus(hub.get(), 1), 0);
    EXPECT_EQ(call.reporter.lines,
              (Lines{"log1 561 Bad connection status: 9", "log1 568 No child device description found"}));
}

TEST(DeviceStatus, EveryCodeHasItsResultAndEvent) {
    struct Row {
        std::int32_t code;
        char const * result;
        Lines lines;
    };
    Lines const unknown{"log3 1041 Unknown status"};
    std::vector<Row> const rows{{-1, "INTERNALERROR", unknown},
                                {0, "PASS", {}},
                                {1, "CANNOTRUN", {}},
                                {2, "CANNOTRUN", {}},
                                {3, "MISCONFIGURED", {}},
                                {4, "INTERNALERROR", {}},
                                {5, "NODEVICE", {}},
                                {6, "INTERNALERROR", unknown},
                                {7, "CANNOTRUN", {"warning DeviceFailedEnumeration 1005"}},
                                {8, "CANNOTRUN", {"warning DeviceGeneralFailure 1010"}},
                                {9, "WARN", {"warning DeviceCausedOvercurrent 1015"}},
                                {10, "CANNOTRUN", {"warning DeviceNotEnoughPower 1020"}},
                                {11, "INTERNALERROR", unknown},
                                {12, "INTERNALERROR", unknown},
                                {13, "INTERNALERROR", unknown},
                                {14, "CANNOTRUN", {"warning DeviceEnumerating 1025"}},
                                {15, "CANNOTRUN", {"warning DeviceResetting 1030"}},
                                {16, "INTERNALERROR", unknown},
                                {2147483647, "INTERNALERROR", unknown}};
    for (Row const & row : rows) {
        DirectCall call(pcWithPorts(Json::array()), 3);
        EXPECT_STREQ(tkit5::resultName(nuvrusb::resultOfStatusCode(row.code)), row.result) << row.code;
        EXPECT_EQ(call.reporter.lines, row.lines) << row.code;
    }
}

TEST(DeviceStatus, FirstQueryOfAnInvalidHandleFails) {
    DirectCall call(pcWithPorts(Json::array()));
    EXPECT_EQ(nuvrusb::CheckDeviceStatus(kernel::INVALID_HANDLE_VALUE, 1), 8);
    EXPECT_EQ(call.reporter.lines, Lines{"error DeviceIORequestFail 517"});
}

TEST(DeviceStatus, LogTellsMoreThanTheEvents) {
    struct Row {
        Json pc;
        Lines lines;
    };
    std::vector<Row> const rows{
        {withConnectionFault({{"error", 1167}}), {"error DeviceIORequestFail 517", "log3 520 Device is not connected"}},
        {pcWithPorts({with(port(1, "high", device("Gadget")), {{"status", "DeviceGeneralFailure"}})}),
         {"log3 536 Device connection failure; status 3", "warning DeviceNotConnected 537"}},
        {pcWithPorts({port(1, "high", with(device("Gadget"), {{"configuration", 0}}))}),
         {"log3 531 Device is misconfigured as the CurrentConfigurationValue is ZERO. The value should be non zero.",
          "warning DeviceConfigurationError 532"}},
        {pcWithPorts({port(1, "high", deviceWithChild({{"disabled", true}}))}),
         {"log3 577 Child device is disabled", "log1 578 Device: Child Description",
          "warning ChildDeviceIsDisabled 579"}},
        {pcWithPorts({port(1, "high", deviceWithChild({{"problemCode", 28}}))}),
         {"log3 584 Child device has configuration manager problem: 0x1c, Device: Child Description",
          "error ChildDeviceHasConfigManagerProblem 585"}},
        {pcWithPorts({port(1, "high", with(deviceWithChild(), {{"driverKey", ""}}))}),
         {"log1 568 No child device description found"}},
        {pcWithPorts({port(1, "high", device("Gadget"))}), {}}};
    for (Row const & row : rows) {
        DirectCall call(row.pc, 1);
        nuv::FileHandleResManager const hub = call.openRootHub();
        nuvrusb::CheckDeviceStatus(hub.get(), 1);
        EXPECT_EQ(call.reporter.lines, row.lines);
    }
}

TEST(DeviceStatus, OperationsTraceTheirScopes) {
    DirectCall call(pcWithPorts({port(1, "high", deviceWithChild())}), 1);
    nuv::FileHandleResManager const hub = call.openRootHub();
    nuvrusb::CheckDeviceStatus(hub.get(), 1);
    Lines entered;
    std::ranges::copy_if(call.reporter.scopes, std::back_inserter(entered),
                         [](std::string const & scope) { return scope[0] == '+' && scope != "+WalkDevNodeTree:270"; });
    EXPECT_EQ(entered,
              (Lines{"+CheckDeviceStatus:492", "+GetDeviceDescriptionOfChild:350", "+GetDriverKeyName:389",
                     "+GetDevNodeDeviceDescription:332", "+FindDevNodeChild:302", "+GetStatusProblemOfChild:465",
                     "+GetDriverKeyName:389", "+GetDevNodeStatusAndProblemCode:441", "+FindDevNodeChild:302"}));
}

// Driver keys.

nuv::String driverKeyWith(Json fault) {
    Json description = pcWithPorts({port(1, "high", with(device("Gadget"), {{"driverKey", "{class}\\0007"}}))});
    if (!fault.is_null()) {
        fault["query"] = "driverKey";
        description["controllers"][0]["rootHub"]["faults"] = Json::array({fault});
    }
    DirectCall call(description);
    nuv::FileHandleResManager const hub = call.openRootHub();
    return nuvrusb::GetDriverKeyName(hub.get(), 1);
}

TEST(DriverKey, IsReadFromTheHub) {
    EXPECT_EQ(driverKeyWith(nullptr), "{class}\\0007");
}

TEST(DriverKey, IsEmptyWhenEitherQueryFails) {
    EXPECT_EQ(driverKeyWith({{"error", 31}}), "");
    EXPECT_EQ(driverKeyWith({{"after", 1}, {"error", 31}}), "");
}

TEST(DriverKey, OfTenBytesOrLessIsMissing) {
    for (int const length : {0, 1, 8, 9, 10}) {
        EXPECT_EQ(driverKeyWith({{"reportedLength", length}}), "") << length;
    }
}

TEST(DriverKey, WithALyingLengthIsReadWithinItsBuffer) {
    EXPECT_EQ(driverKeyWith({{"reportedLength", 12}}), "{c"); // two characters fit
    EXPECT_EQ(driverKeyWith({{"reportedLength", 13}}), "{c"); // an odd length ends inside a character
    EXPECT_EQ(driverKeyWith({{"reportedLength", 60000}}), "{class}\\0007");
    EXPECT_EQ(driverKeyWith({{"reportedLength", 4294967295U}}), "");
}

TEST(DriverKey, WithoutATerminatorEndsAtWhatWasReturned) {
    EXPECT_EQ(driverKeyWith({{"unterminated", true}}), "{class}\\0007");
}

// The device tree.

TEST(DeviceTreeWalk, FindsTheFirstChildOfTheNodeWithTheKey) {
    DirectCall call(pcWithPorts({port(1, "high", deviceWithChild()), port(2, "high", device("Other"))}));
    auto const node = nuvrusb::FindDevNodeChild("{key}\\0001");
    nuv::String description;
    ASSERT_TRUE(libHostOS::ConfigManager::getDescription(node, description));
    EXPECT_EQ(description, "Child Description");
    EXPECT_EQ(nuvrusb::GetDevNodeDeviceDescription("{key}\\0001"), "Child Description");
}

TEST(DeviceTreeWalk, KeysAreComparedExactly) {
    DirectCall call(pcWithPorts({port(1, "high", deviceWithChild())}));
    EXPECT_EQ(nuvrusb::FindDevNodeChild("{KEY}\\0001"), 0U);
    EXPECT_EQ(nuvrusb::FindDevNodeChild(""), 0U);
}

TEST(DeviceTreeWalk, NodeWithoutAChildGivesNone) {
    DirectCall call(pcWithPorts({port(1, "high", with(device("Gadget"), {{"driverKey", "{leaf}\\0"}}))}));
    EXPECT_EQ(nuvrusb::FindDevNodeChild("{leaf}\\0"), 0U);
    EXPECT_EQ(nuvrusb::GetDevNodeDeviceDescription("{leaf}\\0"), "");
}

TEST(DeviceTreeWalk, VisitsEachNodeOnceAndStopsAfterTheLast) {
    Json ports = Json::array();
    for (int number = 1; number <= 8; ++number) {
        ports.push_back(port(number, "high", deviceWithChild({{"instanceId", "USB\\C" + std::to_string(number)}})));
    }
    DirectCall call(pcWithPorts(ports), 1);
    std::size_t nodes = 0;
    // Controller, root hub, eight devices and their children, below the root.
    constexpr std::size_t expectedNodes = 1 + 1 + 1 + 8 + 8;
    EXPECT_EQ(nuvrusb::FindDevNodeChild("{no such key}"), 0U);
    nodes = static_cast<std::size_t>(std::ranges::count(call.reporter.scopes, "+WalkDevNodeTree:270"));
    EXPECT_EQ(nodes, expectedNodes); // one step from each node
}

TEST(DeviceTreeWalk, FindsTheDeepestNode) {
    Json node = {{"instanceId", "DEEP31"}, {"description", "Deepest"}};
    for (int depth = 30; depth >= 1; --depth) {
        node = {{"instanceId", "DEEP" + std::to_string(depth)},
                {"driverKey", "{deep}\\" + std::to_string(depth)},
                {"nodes", Json::array({node})}};
    }
    DirectCall call(pcWithPorts({port(1, "high", with(device("Gadget"), {{"nodes", Json::array({node})}}))}));
    EXPECT_EQ(nuvrusb::GetDevNodeDeviceDescription("{deep}\\30"), "Deepest");
}

TEST(ChildStatus, WithoutADriverKeyLeavesTheOutputsAlone) {
    DirectCall call(pcWithPorts({emptyPort(1)}));
    nuv::FileHandleResManager const hub = call.openRootHub();
    std::uint32_t problem = 4711;
    std::uint8_t disabled = 9;
    EXPECT_EQ(nuvrusb::GetStatusProblemOfChild(hub.get(), 1, problem, disabled), 0);
    EXPECT_EQ(problem, 4711U);
    EXPECT_EQ(disabled, 9);
}

TEST(ChildStatus, DisabledChildLeavesTheProblemCodeAlone) {
    DirectCall call(pcWithPorts({port(1, "high", deviceWithChild({{"disabled", true}}))}));
    nuv::FileHandleResManager const hub = call.openRootHub();
    std::uint32_t problem = 4711;
    std::uint8_t disabled = 0;
    EXPECT_EQ(nuvrusb::GetStatusProblemOfChild(hub.get(), 1, problem, disabled), 1);
    EXPECT_EQ(problem, 4711U);
    EXPECT_EQ(disabled, 1);
}

TEST(ChildStatus, ProblemCodeIsWrittenAndTheFlagLeftAlone) {
    DirectCall call(pcWithPorts({port(1, "high", deviceWithChild({{"problemCode", 43}}))}));
    nuv::FileHandleResManager const hub = call.openRootHub();
    std::uint32_t problem = 0;
    std::uint8_t disabled = 9;
    EXPECT_EQ(nuvrusb::GetStatusProblemOfChild(hub.get(), 1, problem, disabled), 1);
    EXPECT_EQ(problem, 43U);
    EXPECT_EQ(disabled, 9);
}

TEST(ChildStatus, HealthyOrMissingChildClearsTheOutputs) {
    DirectCall call(pcWithPorts({port(1, "high", deviceWithChild()), port(2, "high", device("Childless"))}));
    nuv::FileHandleResManager const hub = call.openRootHub();
    for (std::uint32_t const number : {1U, 2U}) {
        std::uint32_t problem = 4711;
        std::uint8_t disabled = 9;
        EXPECT_EQ(nuvrusb::GetStatusProblemOfChild(hub.get(), number, problem, disabled), 0);
        EXPECT_EQ(problem, 0U);
        EXPECT_EQ(disabled, 0);
    }
}

} // namespace
} // namespace test
