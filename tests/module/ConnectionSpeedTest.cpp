// The whole-bus speed and power test, on described PCs through the real I/O controls.
#include "SpeedTestFixture.h"

#include <algorithm>

namespace test {
namespace {

using Keys = std::vector<std::string>;

TEST_F(ConnectionSpeed, PcWithoutControllersPasses) {
    HostView const host = runInMaxMode(pc(Json::array()));
    EXPECT_EQ(host.result, "PASS");
    EXPECT_EQ(host.exitCode, 0);
    EXPECT_TRUE(host.events.empty());
}

TEST_F(ConnectionSpeed, PcWithoutDevicesPasses) {
    HostView const host = runInMaxMode(pcWithPorts({emptyPort(1), emptyPort(2)}));
    EXPECT_EQ(host.result, "PASS");
    EXPECT_TRUE(host.events.empty());
}

TEST_F(ConnectionSpeed, SlowDeviceFailsInMaxModeWithItsNamesAndSpeeds) {
    HostView const host = runInMaxMode(pcWithPorts({port(1, "high", device("Stick"), {"1.1", "2.0", "3.0"})}));
    EXPECT_EQ(host.result, "FAIL");
    EXPECT_EQ(host.exitCode, 1);
    ASSERT_EQ(host.keys(), Keys{"CAPABLE_OF_RUNNING_AT_HIGHER_SPEED"});
    RaisedEvent const & event = host.events[0];
    EXPECT_EQ(event.severity, "error");
    EXPECT_EQ(event.variables, (std::map<std::string, std::string>{{"DeviceName", "Stick"},
                                                                   {"ControllerName", controllerName},
                                                                   {"OperatingSpeed", "2.0"},
                                                                   {"HigherSpeed", "USB 3.1 Gen 1 (SuperSpeed)"}}));
    EXPECT_EQ(event.file, siteFile);
    EXPECT_EQ(event.line, 1484);
}

TEST_F(ConnectionSpeed, WordMaxCountsInAnyLetterCase) {
    Json const slow = pcWithPorts({port(1, "high", device("Stick"), {"1.1", "2.0", "3.0"})});
    for (std::string const word : {"max", "Max", "MAX", "mAx"}) {
        nuvrusb::speedMode = {};
        EXPECT_EQ(run(slow, {"--set", "desiredVerificationSpeed=" + word}).result, "FAIL") << word;
    }
}

TEST_F(ConnectionSpeed, AnyOtherDesiredSpeedNeverFails) {
    Json const slow = pcWithPorts({port(1, "high", device("Stick"), {"1.1", "2.0", "3.0"})});
    for (std::string const word : {"MAXIMUM", "MA", "", "3.0", "DEFAULT", " MAX"}) {
        nuvrusb::speedMode = {};
        HostView const host = run(slow, {"--set", "desiredVerificationSpeed=" + word});
        EXPECT_EQ(host.result, "PASS") << word;
        EXPECT_TRUE(host.events.empty()) << word;
        EXPECT_TRUE(nuvrusb::speedMode.desiredSpeedIsDefault) << word;
    }
}

TEST_F(ConnectionSpeed, UnsetDesiredSpeedNeverFailsButStillWarnsOfPower) {
    HostView const host =
        run(pcWithPorts({port(1, "full", device("Mouse")),
                         with(port(2, "high", device("Lamp")), {{"status", "DeviceNotEnoughPower"}})}));
    EXPECT_EQ(host.result, "WARN");
    EXPECT_EQ(host.keys(), Keys{"NewDeviceNotEnoughPower"});
    EXPECT_TRUE(nuvrusb::speedMode.desiredSpeedIsDefault);
    EXPECT_FALSE(nuvrusb::speedMode.desiredSpeedIsMax);
}

TEST_F(ConnectionSpeed, DeviceAtItsPortsSpeedPasses) {
    HostView const host =
        runInMaxMode(pcWithPorts({port(1, "super", device("Stick"), {"3.0"}), port(2, "high", device("Camera"))}));
    EXPECT_EQ(host.result, "PASS");
    EXPECT_TRUE(host.events.empty());
}

TEST_F(ConnectionSpeed, DeviceFasterThanItsPortsMaximumPasses) {
    HostView const host = runInMaxMode(pcWithPorts({port(1, "high", device("Camera"), {"1.1"})}));
    EXPECT_EQ(host.result, "PASS");
    EXPECT_TRUE(host.events.empty());
}

TEST_F(ConnectionSpeed, CompanionPortRaisesWhatTheConnectorCanDo) {
    HostView const host = runInMaxMode(pcWithPorts({with(port(1, "high", device("Stick")), {{"companion", 5}}),
                                                    Json{{"port", 5}, {"protocols", {"3.0"}}, {"companion", 1}}}));
    ASSERT_EQ(host.keys(), Keys{"CAPABLE_OF_RUNNING_AT_HIGHER_SPEED"});
    EXPECT_EQ(host.events[0].variables.at("HigherSpeed"), "USB 3.1 Gen 1 (SuperSpeed)");
}

TEST_F(ConnectionSpeed, SuperSpeedDeviceOnASuperSpeedPlusPortFails) {
    HostView const host =
        runInMaxMode(pcWithPorts({with(port(1, "super", device("Disk"), {"3.0"}), {{"superSpeedPlus", true}})}));
    ASSERT_EQ(host.keys(), Keys{"CAPABLE_OF_RUNNING_AT_HIGHER_SPEED"});
    EXPECT_EQ(host.events[0].variables.at("OperatingSpeed"), "USB 3.1 Gen 1 (SuperSpeed)");
    EXPECT_EQ(host.events[0].variables.at("HigherSpeed"), "USB 3.1 Gen 2 (SuperSpeedPlus)");
}

TEST_F(ConnectionSpeed, SuperSpeedPlusDeviceRunsAtItsPortsMaximum) {
    EXPECT_EQ(runInMaxMode(pcWithPorts({port(1, "superPlus", device("Disk"), {"3.0"})})).result, "PASS");
}

TEST_F(ConnectionSpeed, FullSpeedDeviceOnAHighSpeedPortFailsInMaxMode) {
    HostView const host = runInMaxMode(pcWithPorts({port(1, "full", device("Mouse"))}), {"--set", "ignore1xdevices=0"});
    EXPECT_EQ(host.result, "FAIL");
    ASSERT_EQ(host.events.size(), 1U);
    EXPECT_EQ(host.events[0].variables.at("OperatingSpeed"), "1.1");
    EXPECT_EQ(host.events[0].variables.at("HigherSpeed"), "2.0");
}

TEST_F(ConnectionSpeed, FullSpeedDeviceIsSparedWhenOldDevicesAreIgnored) {
    HostView const host = runInMaxMode(pcWithPorts({port(1, "full", device("Mouse"))}),
                                       {"--set", "ignore1xdevices=1", "--log-level", "1"});
    EXPECT_EQ(host.result, "PASS");
    EXPECT_TRUE(host.events.empty());
    EXPECT_TRUE(host.logged("878 Debug::checkPortSpeed() ignoring device: Mouse running at speed 1.1"));
    EXPECT_TRUE(host.logged("1441 Debug::deviceOperationalStatus() ignoring device attached to controller "
                            "Test Controller"));
}

TEST_F(ConnectionSpeed, LowSpeedDeviceIsSparedWhenOldDevicesAreIgnored) {
    HostView const host =
        runInMaxMode(pcWithPorts({port(1, "low", device("Keyboard"))}), {"--set", "ignore1xdevices=7"});
    EXPECT_EQ(host.result, "PASS");
}

TEST_F(ConnectionSpeed, IgnoringOldDevicesAloneDemandsNothing) {
    HostView const host =
        run(pcWithPorts({with(port(1, "full", device("Mouse")), {{"status", "DeviceCausedOvercurrent"}})}),
            {"--set", "ignore1xdevices=1"});
    EXPECT_EQ(host.keys(), Keys{"NewDeviceCausedOvercurrent"}); // spared only together with MAX
}

TEST_F(ConnectionSpeed, PowerFaultsOfSparedDevicesAreSparedToo) {
    HostView const host =
        runInMaxMode(pcWithPorts({with(port(1, "full", device("Mouse")), {{"status", "DeviceCausedOvercurrent"}})}),
                     {"--set", "ignore1xdevices=1"});
    EXPECT_EQ(host.result, "PASS");
    EXPECT_TRUE(host.events.empty());
}

TEST_F(ConnectionSpeed, UnknownSpeedIsSparedBySpeedRuleButNotByPowerRule) {
    // The speed rule goes by the code (0 for an unknown byte), the power rule by the byte itself (7).
    Json unknown = port(1, "high", device("Gadget"));
    unknown["speed"] = 7;
    unknown["status"] = "DeviceNotEnoughPower";
    HostView const host = runInMaxMode(pcWithPorts({unknown}), {"--set", "ignore1xdevices=1", "--log-level", "1"});
    EXPECT_EQ(host.keys(), Keys{"NewDeviceNotEnoughPower"});
    EXPECT_EQ(host.result, "WARN");
    EXPECT_TRUE(host.logged("878 Debug::checkPortSpeed() ignoring device: Gadget running at speed unknown speed"));
}

TEST_F(ConnectionSpeed, UnknownSpeedIsNamedByItsText) {
    Json unknown = port(1, "high", device("Gadget"));
    unknown["speed"] = 5;
    HostView const host = runInMaxMode(pcWithPorts({unknown}), {"--language", "en"});
    ASSERT_EQ(host.keys(), Keys{"CAPABLE_OF_RUNNING_AT_HIGHER_SPEED"});
    EXPECT_EQ(host.events[0].variables.at("OperatingSpeed"), "unknown speed");
}

TEST_F(ConnectionSpeed, OvercurrentWarnsWithItsController) {
    HostView const host =
        run(pcWithPorts({with(port(1, "high", device("Lamp")), {{"status", "DeviceCausedOvercurrent"}})}));
    EXPECT_EQ(host.result, "WARN");
    EXPECT_EQ(host.exitCode, 2);
    ASSERT_EQ(host.keys(), Keys{"NewDeviceCausedOvercurrent"});
    EXPECT_EQ(host.events[0].severity, "warning");
    EXPECT_EQ(host.events[0].variables, (std::map<std::string, std::string>{{"ControllerName", controllerName}}));
    EXPECT_EQ(host.events[0].file, siteFile);
    EXPECT_EQ(host.events[0].line, 1456);
}

TEST_F(ConnectionSpeed, TooLittlePowerWarnsWithItsController) {
    HostView const host =
        run(pcWithPorts({with(port(1, "high", device("Lamp")), {{"status", "DeviceNotEnoughPower"}})}));
    EXPECT_EQ(host.result, "WARN");
    ASSERT_EQ(host.keys(), Keys{"NewDeviceNotEnoughPower"});
    EXPECT_EQ(host.events[0].severity, "warning");
    EXPECT_EQ(host.events[0].variables.at("ControllerName"), controllerName);
    EXPECT_EQ(host.events[0].file, siteFile);
    EXPECT_EQ(host.events[0].line, 1449);
}

TEST_F(ConnectionSpeed, SlowDeviceWithAPowerProblemYieldsBoth) {
    HostView const host = runInMaxMode(
        pcWithPorts({with(port(1, "high", device("Stick"), {"2.0", "3.0"}), {{"status", "DeviceCausedOvercurrent"}})}));
    EXPECT_EQ(host.keys(), (Keys{"NewDeviceCausedOvercurrent", "CAPABLE_OF_RUNNING_AT_HIGHER_SPEED"}));
    EXPECT_EQ(host.result, "FAIL");
}

TEST_F(ConnectionSpeed, EveryOtherStatusCountsAsADevicePresent) {
    for (Json const & status : {Json("DeviceGeneralFailure"), Json("DeviceNotEnoughBandwidth"), Json("DeviceReset"),
                                Json("DeviceEnumerating"), Json(77)}) {
        HostView const host =
            runInMaxMode(pcWithPorts({with(port(1, "high", device("Stick"), {"2.0", "3.0"}), {{"status", status}})}));
        EXPECT_EQ(host.keys(), Keys{"CAPABLE_OF_RUNNING_AT_HIGHER_SPEED"}) << status;
    }
}

TEST_F(ConnectionSpeed, FailedEnumerationIsNotTakenForALowSpeedDevice) {
    Json unknown = with(device("Unknown Device"), {{"descriptor", false}});
    HostView const host =
        runInMaxMode(pcWithPorts({with(port(6, "low", unknown), {{"status", "DeviceFailedEnumeration"}})}));
    EXPECT_EQ(host.result, "PASS");
    EXPECT_TRUE(host.events.empty());
}

TEST_F(ConnectionSpeed, DeviceWithAProblemChildIsPassedOver) {
    Json const sick = with(device("Printer"), {{"nodes", {{{"instanceId", "USB\\CHILD"}, {"problemCode", 10}}}}});
    Json const sickBelow =
        with(device("Scanner"),
             {{"nodes", {{{"instanceId", "USB\\A"}, {"nodes", {{{"instanceId", "USB\\B"}, {"problemCode", 28}}}}}}}});
    HostView const host = runInMaxMode(pcWithPorts({port(1, "full", sick), port(2, "full", sickBelow)}));
    EXPECT_EQ(host.result, "PASS");
    EXPECT_TRUE(host.events.empty());
}

TEST_F(ConnectionSpeed, DeviceWithoutANameIsCalledUnknown) {
    Json nameless = {{"instanceId", "USB\\NAMELESS"}};
    HostView const english = runInMaxMode(pcWithPorts({port(1, "full", nameless)}), {"--language", "en"});
    ASSERT_EQ(english.events.size(), 1U);
    EXPECT_EQ(english.events[0].variables.at("DeviceName"), "Unknown device");
}

TEST_F(ConnectionSpeed, DeviceBehindAHubIsJudgedLikeOneOnARootPort) {
    HostView const host = runInMaxMode(pcWithPorts({hubPort(1, hub("Outer", {port(1, "full", device("Mouse"))}))}));
    EXPECT_EQ(host.result, "FAIL");
    ASSERT_EQ(host.keys(), Keys{"CAPABLE_OF_RUNNING_AT_HIGHER_SPEED"});
    EXPECT_EQ(host.events[0].variables.at("DeviceName"), "Mouse");
}

TEST_F(ConnectionSpeed, ResultsOfAllHubPortsReachTheMerge) {
    // The failing device is on the first of several ports, so its result is collected, not returned.
    HostView const host = runInMaxMode(
        pcWithPorts({hubPort(1, hub("Outer", {port(1, "full", device("Mouse")), port(2, "high", device("Camera")),
                                              port(4, "high", device("Radio"))}))}));
    EXPECT_EQ(host.result, "FAIL");
    EXPECT_EQ(host.events.size(), 1U);
}

TEST_F(ConnectionSpeed, LastOccupiedPortOfAHubCountsThoughAnEmptyOneFollows) {
    HostView const host = runInMaxMode(pcWithPorts({hubPort(1, hub("Outer", {port(2, "full", device("Mouse"))}, 4))}));
    EXPECT_EQ(host.result, "FAIL");
    EXPECT_EQ(host.events.size(), 1U);
}

TEST_F(ConnectionSpeed, LastPortOfAHubIsReturnedToItsCaller) {
    HostView const host = runInMaxMode(
        pcWithPorts({hubPort(1, hub("Outer", {hubPort(4, hub("Inner", {port(4, "full", device("Mouse"))}))}))}));
    EXPECT_EQ(host.result, "FAIL");
    EXPECT_EQ(host.events.size(), 1U);
}

TEST_F(ConnectionSpeed, DeviceFiveHubsDeepIsFound) {
    Json ports = {port(1, "full", device("Mouse"))};
    for (int depth = 5; depth > 0; --depth) {
        ports = {hubPort(1, hub("Hub" + std::to_string(depth), ports))};
    }
    HostView const host = runInMaxMode(pcWithPorts(ports));
    EXPECT_EQ(host.result, "FAIL");
    EXPECT_EQ(host.events.size(), 1U);
}

TEST_F(ConnectionSpeed, PowerFaultOfAHubItselfIsReported) {
    HostView const host = run(pcWithPorts(
        {with(hubPort(1, hub("Outer", {port(1, "high", device("Camera"))})), {{"status", "DeviceNotEnoughPower"}})}));
    EXPECT_EQ(host.keys(), Keys{"NewDeviceNotEnoughPower"});
    EXPECT_EQ(host.result, "WARN");
}

TEST_F(ConnectionSpeed, HubWithoutDevicesPasses) {
    EXPECT_EQ(runInMaxMode(pcWithPorts({hubPort(1, hub("Outer", Json::array()))})).result, "PASS");
}

TEST_F(ConnectionSpeed, HubWithoutDataPassesAndTheWalkGoesOn) {
    Json const closed = with(hub("Closed", {port(1, "full", device("Hidden"))}), {{"openError", 5}});
    HostView const host = runInMaxMode(pcWithPorts({hubPort(1, closed), port(2, "full", device("Mouse"))}));
    ASSERT_EQ(host.events.size(), 1U);
    EXPECT_EQ(host.events[0].variables.at("DeviceName"), "Mouse");
}

TEST_F(ConnectionSpeed, HubThatDoesNotTellItsNamePasses) {
    Json description = pcWithPorts(
        {hubPort(1, hub("Nameless", {port(1, "full", device("Hidden"))})), port(2, "full", device("Mouse"))});
    description["controllers"][0]["rootHub"]["faults"] = {{{"query", "hubName"}, {"port", 1}, {"error", 31}}};
    HostView const host = runInMaxMode(description);
    ASSERT_EQ(host.events.size(), 1U);
    EXPECT_EQ(host.events[0].variables.at("DeviceName"), "Mouse");
}

TEST_F(ConnectionSpeed, PortWhoseQueryFailsIsSkipped) {
    Json description = pcWithPorts({port(1, "full", device("Silent")), port(2, "full", device("Mouse"))});
    description["controllers"][0]["rootHub"]["faults"] = {{{"query", "connection"}, {"port", 1}, {"error", 31}}};
    HostView const host = runInMaxMode(description);
    ASSERT_EQ(host.events.size(), 1U);
    EXPECT_EQ(host.events[0].variables.at("DeviceName"), "Mouse");
}

TEST_F(ConnectionSpeed, HubThatHangsIsNotAskedAgainAndTheRunGoesOn) {
    Json description = pc(Json::array({controller({port(1, "full", device("Before")), port(2, "full", device("Stuck")),
                                                   port(3, "full", device("After"))}),
                                       controller({port(1, "full", device("Elsewhere"))}, "Second Controller")}));
    description["controllers"][0]["rootHub"]["faults"] = {{{"query", "connection"}, {"port", 2}, {"hangs", true}}};
    HostView const host = runInMaxMode(description);
    ASSERT_EQ(host.events.size(), 1U); // the list of devices met the silence first
    EXPECT_EQ(host.events[0].variables.at("DeviceName"), "Elsewhere");
}

TEST_F(ConnectionSpeed, EventsCarryTheVariablesOfTheirOwnRaise) {
    HostView const host =
        runInMaxMode(pc(Json::array({controller({port(1, "full", device("Mouse"))}, "First"),
                                     controller({port(1, "high", device("Stick"), {"2.0", "3.0"})}, "Second")})));
    ASSERT_EQ(host.events.size(), 2U);
    EXPECT_EQ(host.events[0].variables.at("DeviceName"), "Mouse");
    EXPECT_EQ(host.events[0].variables.at("ControllerName"), "First");
    EXPECT_EQ(host.events[1].variables.at("DeviceName"), "Stick");
    EXPECT_EQ(host.events[1].variables.at("ControllerName"), "Second");
    EXPECT_NE(host.events[0].text, host.events[1].text);
}

TEST_F(ConnectionSpeed, LogTellsOfEveryDeviceInOrder) {
    HostView const host = runInMaxMode(pcWithPorts({port(1, "super", device("Stick"), {"3.0"})}), {"--log-level", "1"});
    std::vector<std::string> const expected{
        "797 USBConnectionSpeedVerificationTest::Controller: Test Controller",
        "799 Debug::USBConnectionSpeedVerificationTest() getControllerSpeed() returned USB 3.1 Gen 1 (SuperSpeed)",
        "801 Debug::USBConnectionSpeedVerificationTest() there are 8 ports attached to the Controller",
        "803 Debug::USBConnectionSpeedVerificationTest() Root Hub name \\\\?\\USB#ROOT_HUB30#Test Controller",
        "874 Debug::checkPortSpeed() device: Stick running at speed USB 3.1 Gen 1 (SuperSpeed)",
        "883 Debug::checkPortSpeed() device: Stick max speed USB 3.1 Gen 1 (SuperSpeed)"};
    EXPECT_EQ(host.log, expected);
    for (std::string const & line : expected) {
        EXPECT_EQ(host.priorityOf.at(line), 1) << line;
    }
}

TEST_F(ConnectionSpeed, SitesOfScopesAreStable) {
    HostView const host = runInMaxMode(pcWithPorts({port(1, "full", device("Mouse"))}), {"--log-level", "1"});
    std::string const file = std::string(siteFile) + ":";
    EXPECT_EQ(host.scopeSites, (std::map<std::string, std::string>{{"USBConnectionSpeedVerificationTest", file + "770"},
                                                                   {"readDesiredVerificationSpeed", file + "596"},
                                                                   {"getControllerOSLocator", file + "660"},
                                                                   {"getRootHubName", file + "612"},
                                                                   {"checkPortSpeed", file + "840"},
                                                                   {"deviceOperationalStatus", file + "1436"},
                                                                   {"verifyDesiredVerificationSpeed", file + "1464"}}));
}

TEST_F(ConnectionSpeed, PowerFaultBelowAHubIsReported) {
    HostView const host = run(pcWithPorts(
        {hubPort(1, hub("Outer", {with(port(2, "high", device("Lamp")), {{"status", "DeviceNotEnoughPower"}})}))}));
    EXPECT_EQ(host.keys(), Keys{"NewDeviceNotEnoughPower"});
    EXPECT_EQ(host.result, "WARN");
}

TEST_F(ConnectionSpeed, MoreSevereLogLevelsAreSilentHere) {
    HostView const host = runInMaxMode(pcWithPorts({port(1, "full", device("Mouse"))}), {"--log-level", "2"});
    EXPECT_TRUE(host.log.empty());
    EXPECT_TRUE(host.trace.empty());
    EXPECT_EQ(host.events.size(), 1U);
}

TEST_F(ConnectionSpeed, TraceScopesAreEnteredAndLeft) {
    HostView const host = runInMaxMode(pcWithPorts({port(1, "full", device("Mouse"))}), {"--log-level", "1"});
    using Scope = std::pair<bool, std::string>;
    auto const has = [&host](Scope const & scope) { return std::ranges::count(host.trace, scope); };
    for (std::string const operation : {speedTest, "checkPortSpeed", "deviceOperationalStatus",
                                        "verifyDesiredVerificationSpeed", "readDesiredVerificationSpeed"}) {
        EXPECT_EQ(has({true, operation}), 1) << operation;
        EXPECT_EQ(has({false, operation}), 1) << operation;
    }
    EXPECT_EQ(host.trace.front(), (Scope{true, speedTest}));
    EXPECT_EQ(host.trace.back(), (Scope{false, speedTest}));
}

} // namespace
} // namespace test
