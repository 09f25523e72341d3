// The status test as a host runs it, and its checks of what the framework hands it.
#include "Catalogue.h"
#include "DirectCall.h"
#include "ModuleRun.h"

#include "kernel/Runtime.h"
#include "tkit5/Registry.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace test {
namespace {

using Lines = std::vector<std::string>;
using tkit5::TestResult;

char const * const statusTest = "StatusTest";

// A device whose facts the test chooses, true or not.
class ClaimedDevice final : public tkit5::DiagDevice, public tkit5::IDeviceImp {
public:
    nuv::String name() const override { return "Claimed"; }
    nuv::String description() const override { return "Claimed"; }
    nuv::String hwLocator() const override { return id; }
    nuv::String osLocator() const override { return path; }
    tkit5::DeviceProperty const * property(char const * property) const override {
        return parentPort && property == std::string("ParentPort") ? &*parentPort : nullptr;
    }
    bool hasCapability(tkit5::DeviceCapability all) const override { return capabilities.contains(all); }
    tkit5::IDeviceImp const & imp() const override { return *this; }

    nuv::String connectHubIdentifier() const override { return hubId; }
    nuv::String identifier() const override { return id; }
    nuv::String osName() const override { return path; }
    nuv::Array<nuv::SharedResourceManager<tkit5::IDeviceImp>> children() const override { return below; }

    nuv::String id;
    nuv::String path;
    nuv::String hubId;
    std::optional<tkit5::DeviceProperty> parentPort;
    tkit5::DeviceCapability capabilities = tkit5::DeviceCapability::USB();
    nuv::Array<nuv::SharedResourceManager<tkit5::IDeviceImp>> below;
};

void addChild(ClaimedDevice & hub, nuv::String const & id, nuv::String const & path) {
    auto * const child = new ClaimedDevice;
    child->id = id;
    child->path = path;
    hub.below.append(nuv::SharedResourceManager<tkit5::IDeviceImp>(child));
}

// A stick on port 1 of a real root hub; each test spoils one thing.
class StatusTestChecks : public testing::Test {
protected:
    StatusTestChecks() {
        device.id = "USB\\STICK";
        device.path = "\\\\?\\stick";
        device.hubId = "USB\\HUB";
        device.parentPort.emplace(tkit5::Value(std::uint32_t{1}));
        parent.id = "USB\\HUB";
        parent.path = std::string("\\\\?\\USB#ROOT_HUB30#") + controllerName;
        addChild(parent, device.id, device.path);
        optionalDevices = {&device, &parent};
    }

    // The result, and what was raised and logged.
    std::string run(Json const & pc = pcWithPorts({port(1, "high", test::device("Stick"))}), int logPriority = 5) {
        DirectCall call(pc, logPriority);
        tkit5::RegisteredTest test;
        test.name = statusTest;
        test.entry = nuvrusb::StatusTest;
        TestResult const result = tkit5::Session::active()->runTest(test, device, optionalDevices);
        lines = call.reporter.lines;
        return tkit5::resultName(result);
    }

    ClaimedDevice device;
    ClaimedDevice parent;
    std::vector<tkit5::DiagDevice const *> optionalDevices;
    Lines lines;
};

TEST_F(StatusTestChecks, HealthyDevicePasses) {
    EXPECT_EQ(run(), "PASS");
    EXPECT_TRUE(lines.empty());
}

TEST_F(StatusTestChecks, DeviceWithoutAParentPortCannotBeTested) {
    device.parentPort.reset();
    device.hubId = ""; // not even looked at
    EXPECT_EQ(run(), "CANNOTRUN");
    EXPECT_EQ(lines, Lines{"warning CannotGetDeviceProperty 900"});
    run(pcWithPorts(Json::array()), 2);
    EXPECT_EQ(lines, (Lines{"log2 899 StatusTest::Can't get property for parent port",
                            "warning CannotGetDeviceProperty 900"}));
}

TEST_F(StatusTestChecks, DeviceWithoutAHubIdentifierCannotBeTested) {
    device.hubId = "";
    EXPECT_EQ(run(pcWithPorts(Json::array()), 4), "CANNOTRUN");
    EXPECT_EQ(lines, (Lines{"warning InvalidDeviceGuid 913", "log4 914 StatusTest::connectHubGuid is empty"}));
}

TEST_F(StatusTestChecks, RunWithoutOptionalDevicesFindsNoHub) {
    optionalDevices.clear();
    EXPECT_EQ(run(), "NODEVICE");
    EXPECT_EQ(lines, Lines{"warning DeviceNotConnected 952"});
}

TEST_F(StatusTestChecks, HubIdentifierIsComparedExactly) {
    device.hubId = "usb\\hub";
    EXPECT_EQ(run(), "NODEVICE");
    EXPECT_EQ(lines, Lines{"warning DeviceNotConnected 952"});
}

TEST_F(StatusTestChecks, FirstOfTwoHubsWithTheSameIdentifierIsTaken) {
    ClaimedDevice impostor;
    impostor.id = parent.id;
    impostor.path = parent.path;
    optionalDevices = {&device, &impostor, &parent};
    EXPECT_EQ(run(), "NODEVICE"); // a child only of the second
    EXPECT_EQ(lines, Lines{"warning DeviceNotConnected 952"});
    optionalDevices = {&device, &parent, &impostor};
    EXPECT_EQ(run(), "PASS");
}

TEST_F(StatusTestChecks, ChildMustMatchInIdentifierAndName) {
    device.path = "\\\\?\\another name";
    EXPECT_EQ(run(), "NODEVICE");
    EXPECT_EQ(lines, Lines{"warning DeviceNotConnected 952"});
    device.path = "\\\\?\\stick";
    device.id = "USB\\ANOTHER";
    EXPECT_EQ(run(), "NODEVICE");
}

TEST_F(StatusTestChecks, HubWithoutANameCannotBeOpened) {
    parent.path = "";
    EXPECT_EQ(run(), "CANNOTRUN");
    EXPECT_EQ(lines, Lines{"warning InvalidDeviceName 959"});
}

TEST_F(StatusTestChecks, HubThatCannotBeOpenedIsReported) {
    parent.path = "\\\\?\\no such hub";
    EXPECT_EQ(run(), "CANNOTRUN");
    EXPECT_EQ(lines, Lines{"warning InvalidDeviceHandle 967"});
}

TEST_F(StatusTestChecks, LogTellsOfTheSearch) {
    run(pcWithPorts({port(1, "high", test::device("Stick"))}), 1);
    EXPECT_EQ(lines,
              (Lines{"log1 923 StatusTest::Optional Devices = 2", "log1 924 StatusTest::looking for guid = USB\\HUB",
                     "log1 928 StatusTest::looking parentHub guid = USB\\STICK",
                     "log1 928 StatusTest::looking parentHub guid = USB\\HUB",
                     "log1 935 StatusTest::FOUND parentHub guid = USB\\HUB children = 1"}));
}

TEST_F(StatusTestChecks, HubUnderTestIsJudgedByItsPortsNotByItsOwn) {
    device.capabilities = tkit5::DeviceCapability::USB() | tkit5::DeviceCapability::HUB();
    Json const broken = with(hubPort(1, hub("Tested", Json::array())), {{"status", "DeviceGeneralFailure"}});
    EXPECT_EQ(run(pcWithPorts({broken})), "PASS");
    EXPECT_TRUE(lines.empty());
}

TEST_F(StatusTestChecks, NothingStaysOpenOnAnyWayOut) {
    run();
    EXPECT_EQ(kernel::openHandleCount(), 0U);
    run(pcWithPorts({emptyPort(1)}));
    EXPECT_EQ(kernel::openHandleCount(), 0U);
    run(pcWithPorts({with(port(1, "high", test::device("Stick")), {{"status", 99}})}));
    EXPECT_EQ(kernel::openHandleCount(), 0U);
    device.capabilities = tkit5::DeviceCapability::USB() | tkit5::DeviceCapability::HUB();
    run(pcWithPorts({hubPort(1, hub("Tested", Json::array()))}));
    EXPECT_EQ(kernel::openHandleCount(), 0U);
}

// The whole of it: what the port says, whether it is configured, what is below the device.
TEST_F(StatusTestChecks, EveryStateOfPortAndChildHasItsEventsAndResult) {
    struct PortState {
        Json status;
        char const * result;
        Lines lines; // all but those of the child
    };
    struct ChildState {
        char const * name;
        Json members;
        char const * result;
        Lines lines;
    };
    std::string const no = "warning DeviceNotConnected 537";
    std::vector<PortState> const ports{
        {"NoDeviceConnected", "NODEVICE", {no}},
        {"DeviceFailedEnumeration", "CANNOTRUN", {no, "warning DeviceFailedEnumeration 1005"}},
        {"DeviceGeneralFailure", "CANNOTRUN", {no, "warning DeviceGeneralFailure 1010"}},
        {"DeviceCausedOvercurrent", "WARN", {no, "warning DeviceCausedOvercurrent 1015"}},
        {"DeviceNotEnoughPower", "CANNOTRUN", {no, "warning DeviceNotEnoughPower 1020"}},
        {"DeviceNotEnoughBandwidth", "INTERNALERROR", {no}},
        {"DeviceHubNestedTooDeeply", "INTERNALERROR", {no}},
        {"DeviceInLegacyHub", "INTERNALERROR", {no}},
        {"DeviceEnumerating", "CANNOTRUN", {no, "warning DeviceEnumerating 1025"}},
        {"DeviceReset", "CANNOTRUN", {no, "warning DeviceResetting 1030"}},
        {11, "INTERNALERROR", {no}},
        {4294967291U, "INTERNALERROR", {no}}};
    auto const child = [](Json members) {
        Json node = {{"instanceId", "C"}};
        node.update(members);
        return Json{{"nodes", Json::array({node})}};
    };
    Json keyless = child({{"problemCode", 10}});
    keyless["driverKey"] = "";
    std::vector<ChildState> const children{
        {"healthy", child(Json::object()), "PASS", {}},
        {"disabled", child({{"disabled", true}}), "CANNOTRUN", {"warning ChildDeviceIsDisabled 579"}},
        {"problem", child({{"problemCode", 10}}), "MISCONFIGURED", {"error ChildDeviceHasConfigManagerProblem 585"}},
        {"disabled, with the problem code of that",
         child({{"problemCode", 22}}),
         "CANNOTRUN",
         {"warning ChildDeviceIsDisabled 579"}},
        {"missing", Json::object(), "PASS", {}},
        {"without a driver key", keyless, "PASS", {}}};
    for (ChildState const & state : children) {
        for (int const configuration : {0, 1}) {
            Json stick = test::device("Stick");
            stick.update(state.members);
            stick["configuration"] = configuration;
            bool const configured = configuration != 0;
            EXPECT_EQ(run(pcWithPorts({port(1, "high", stick)})), configured ? state.result : "MISCONFIGURED")
                << state.name;
            EXPECT_EQ(lines, configured ? state.lines : Lines{"warning DeviceConfigurationError 532"}) << state.name;
            for (PortState const & row : ports) {
                EXPECT_EQ(run(pcWithPorts({with(port(1, "high", stick), {{"status", row.status}})})), row.result)
                    << row.status << " " << state.name;
                EXPECT_EQ(lines, row.lines) << row.status << " " << state.name;
            }
        }
    }
}

TEST_F(StatusTestChecks, UnknownStatusIsLogged) {
    run(pcWithPorts({with(port(1, "high", test::device("Stick")), {{"status", "DeviceNotEnoughBandwidth"}})}), 3);
    EXPECT_EQ(lines, (Lines{"log3 536 Device connection failure; status 6", "warning DeviceNotConnected 537",
                            "log3 1041 Unknown status"}));
}

TEST_F(StatusTestChecks, EveryOtherOutcomeHasItsResult) {
    struct Row {
        char const * what;
        Json device;
        Json fault;
        char const * result;
        Lines lines;
    };
    auto const childWith = [](char const * member, Json value) {
        return with(test::device("Stick"), {{"nodes", Json::array({{{"instanceId", "C"}, {member, value}}})}});
    };
    std::vector<Row> const rows{
        {"disabled child", childWith("disabled", true), nullptr, "CANNOTRUN", {"warning ChildDeviceIsDisabled 579"}},
        {"problem child",
         childWith("problemCode", 43),
         nullptr,
         "MISCONFIGURED",
         {"error ChildDeviceHasConfigManagerProblem 585"}},
        {"not configured",
         with(test::device("Stick"), {{"configuration", 0}}),
         nullptr,
         "MISCONFIGURED",
         {"warning DeviceConfigurationError 532"}},
        {"second query fails",
         test::device("Stick"),
         {{"after", 1}, {"error", 31}},
         "INTERNALERROR",
         {"error DeviceIORequestFail 556"}},
        {"query says not connected",
         test::device("Stick"),
         {{"error", 1167}},
         "NODEVICE",
         {"error DeviceIORequestFail 517"}},
        {"query fails",
         test::device("Stick"),
         {{"error", 31}},
         "CANNOTRUN",
         {"error DeviceIORequestFail 517", "warning DeviceGeneralFailure 1010"}}};
    for (Row const & row : rows) {
        Json description = pcWithPorts({port(1, "high", row.device)});
        if (!row.fault.is_null()) {
            Json fault = row.fault;
            fault["query"] = "connection";
            description["controllers"][0]["rootHub"]["faults"] = Json::array({fault});
        }
        EXPECT_EQ(run(description), row.result) << row.what;
        EXPECT_EQ(lines, row.lines) << row.what;
    }
}

// As a host runs it.

TEST(StatusTestRun, DeviceThatFailsAfterItWasListedIsReported) {
    // The list of devices takes the first query of each port; the test's own two come after it.
    Json description = pcWithPorts({port(1, "high", device("Stick"))});
    description["controllers"][0]["rootHub"]["faults"] =
        Json::array({{{"query", "connection"}, {"port", 1}, {"after", 1}, {"error", 1167}}});
    HostView const host = runTest(statusTest, description, {"--device", "USB\\VID_1234&PID_5678\\Stick"});
    EXPECT_EQ(host.result, "NODEVICE");
    EXPECT_EQ(host.keys(), Lines{"DeviceIORequestFail"});
}

TEST(StatusTestRun, DeviceOfVendor2034IsNotOffered) {
    Json description =
        pcWithPorts({port(1, "high", with(device("Ours"), {{"vendorId", "2034"}})), port(2, "high", device("Theirs"))});
    HostView const host = runTest(statusTest, description);
    EXPECT_EQ(host.deviceResults,
              (std::vector<std::pair<std::string, std::string>>{{"USB\\VID_1234&PID_5678\\Theirs", "PASS"}}));
}

TEST(StatusTestRun, ControllersAndRootHubsHaveNoParentPortAndAreNotOffered) {
    HostView const host = runTest(statusTest, pcWithPorts(Json::array()));
    EXPECT_EQ(host.result, "NODEVICE");
    EXPECT_TRUE(host.deviceResults.empty());
}

TEST(StatusTestRun, HubsDevicesAndCompositesAreEachJudgedOnce) {
    HostView const host =
        runTest(statusTest, pcWithPorts({hubPort(1, hub("Outer", {port(2, "high", device("Inner"))})),
                                         port(3, "full", with(device("Combo"), {{"composite", true}}))}));
    EXPECT_EQ(host.result, "PASS");
    EXPECT_EQ(host.deviceResults.size(), 3U);
}

TEST(StatusTestRun, HubWithAFaultyPortWarnsAndTheDeviceOnItToo) {
    HostView const host =
        runTest(statusTest, pcWithPorts({hubPort(1, hub("Outer", {with(port(2, "high", device("Heater")),
                                                                       {{"status", "DeviceCausedOvercurrent"}})}))}));
    EXPECT_EQ(host.result, "WARN");
    EXPECT_EQ(host.keys(), (Lines{"DeviceCausedOvercurrent", "DeviceNotConnected", "DeviceCausedOvercurrent"}));
}

TEST(StatusTestRun, FindingsPcShowsEveryFindingThatAPortCanHave) {
    HostView const host = runTestOnBundled(statusTest, "status-findings.json");
    std::vector<std::string> const raised = host.keys();
    EXPECT_EQ(std::set<std::string>(raised.begin(), raised.end()),
              (std::set<std::string>{"DeviceNotConnected", "DeviceFailedEnumeration", "DeviceGeneralFailure",
                                     "DeviceCausedOvercurrent", "DeviceNotEnoughPower", "DeviceEnumerating",
                                     "DeviceResetting", "DeviceConfigurationError", "ChildDeviceIsDisabled",
                                     "ChildDeviceHasConfigManagerProblem", "DeviceIORequestFail"}));
    std::set<std::string> results;
    for (auto const & [identifier, result] : host.deviceResults) {
        results.insert(result);
    }
    EXPECT_EQ(results,
              (std::set<std::string>{"PASS", "WARN", "CANNOTRUN", "MISCONFIGURED", "NODEVICE", "INTERNALERROR"}));
    for (RaisedEvent const & event : host.events) {
        EXPECT_EQ(event.file, "modules/src/windows/diag/nuvrusb/nuvrusb.cpp") << event.key;
    }
}

TEST(StatusTestRun, RealDesktopsDevicesAllPass) {
    HostView const host = runTestOnBundled(statusTest, "desktop-usb3-nested-hubs.json");
    EXPECT_EQ(host.result, "PASS");
    EXPECT_TRUE(host.events.empty());
    std::vector<std::string> vendors;
    for (auto const & [identifier, result] : host.deviceResults) {
        EXPECT_EQ(result, "PASS") << identifier;
        vendors.push_back(identifier.substr(0, identifier.find('\\', 4)));
    }
    EXPECT_EQ(vendors, (Lines{"USB\\VID_05E3&PID_0610", "USB\\VID_0424&PID_2906", "USB\\VID_1E7D&PID_2E24",
                              "USB\\VID_046D&PID_C52B", "USB\\VID_0BDA&PID_8153", "USB\\VID_0424&PID_284C",
                              "USB\\VID_0B05&PID_19AF", "USB\\VID_8087&PID_0029", "USB\\VID_0781&PID_5591"}));
}

TEST(StatusTestRun, RealLaptopsFailedEnumerationIsReported) {
    HostView const host = runTestOnBundled(statusTest, "laptop-failed-enumeration.json");
    EXPECT_EQ(host.result, "CANNOTRUN");
    EXPECT_EQ(host.keys(), (Lines{"DeviceNotConnected", "DeviceFailedEnumeration"}));
}

} // namespace
} // namespace test
