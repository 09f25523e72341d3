#include "BusFixture.h"

#include <string>

namespace {

class BusTest : public support::BusFixture {
protected:
    static std::string controller(std::string const & members) {
        return R"({"instanceId": "PCI\\A", "rootHub": {"portCount": 2})" + members + "}";
    }
};

constexpr char const * hubOnPort1 = R"({"port": 1, "protocols": ["2.0"], "speed": "high", "hub": {
    "instanceId": "USB\\VID_05E3&PID_0610\\5", "symbolicName": "USB#OUTER", "product": "Outer hub", "portCount": 3,
    "ports": [
        {"port": 1, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\STICK\\1", "name": "Stick"}},
        {"port": 3, "protocols": ["2.0"], "speed": "full", "hub": {
            "instanceId": "USB\\HUB\\6", "symbolicName": "USB#INNER", "portCount": 1,
            "ports": [{"port": 1, "protocols": ["1.1"], "speed": "low", "device": {
                "instanceId": "USB\\MOUSE\\1", "name": "Mouse"}}]}}]}})";

TEST_F(BusTest, APcWithoutControllersIsReadAllTheSame) {
    describe("");
    EXPECT_EQ(read().controllers().size(), 0U);
}

TEST_F(BusTest, ControllersTellTheirNamesInTheOrderOfTheTree) {
    describe(controller(R"(, "name": "First", "description": "xHCI")") + "," +
             R"({"instanceId": "PCI\\B", "description": "EHCI", "rootHub": {"portCount": 1}})");
    auto const & controllers = read().controllers();
    ASSERT_EQ(controllers.size(), 2U);
    EXPECT_EQ(controllers[0]->getDisplayName(), nuv::String("First"));
    EXPECT_EQ(controllers[0]->getDeviceInstanceID(), nuv::String("PCI\\A"));
    EXPECT_EQ(controllers[0]->rootHub().ports().size(), 2U);
    EXPECT_EQ(controllers[1]->getDisplayName(), nuv::String("EHCI"));
    EXPECT_EQ(controllers[1]->rootHub().ports().size(), 1U);
}

TEST_F(BusTest, EnumeratingAgainReplacesWhatWasRead) {
    describe(controller(""));
    usbtopo::CUsbSystem system;
    EXPECT_TRUE(system.EnumerateHostControllers());
    EXPECT_TRUE(system.EnumerateHostControllers());
    EXPECT_EQ(system.controllers().size(), 1U);
}

TEST_F(BusTest, ADisabledControllerIsAnEmptySlot) {
    describe(controller(R"(, "disabled": true)") + "," + R"({"instanceId": "PCI\\B", "rootHub": {"portCount": 1}})");
    auto const & controllers = read().controllers();
    ASSERT_EQ(controllers.size(), 2U);
    EXPECT_FALSE(controllers[0]);
    EXPECT_TRUE(controllers[1]);
}

TEST_F(BusTest, AControllerWithAnotherProblemIsRead) {
    describe(controller(R"(, "problemCode": 10)"));
    EXPECT_TRUE(read().controllers()[0]);
}

TEST_F(BusTest, AControllerThatIsNotListedIsOnTheBusAllTheSame) {
    describe(controller(R"(, "listed": false)"));
    EXPECT_EQ(rootHub().ports().size(), 2U);
}

TEST_F(BusTest, AControllerWithoutAnInstanceIdIsReadByItsPath) {
    describe(R"({"instanceId": "", "interfacePath": "\\\\?\\ANONYMOUS", "rootHub": {"portCount": 2}})");
    EXPECT_TRUE(read().controllers()[0]->getDeviceInstanceID().empty());
    EXPECT_EQ(rootHub().ports().size(), 2U);
}

TEST_F(BusTest, AControllerThatCannotBeOpenedHasARootHubWithoutPorts) {
    describe(controller(R"(, "openError": 5)"));
    auto const & controllers = read().controllers();
    ASSERT_TRUE(controllers[0]);
    EXPECT_TRUE(controllers[0]->rootHub().ports().empty());
    EXPECT_EQ(controllers[0]->getUSBVersion(), 0.0F);
}

TEST_F(BusTest, WithoutTheRootHubsNameThereAreNoPorts) {
    describe(controller(R"(, "faults": [{"query": "rootHubName", "error": 31}])"));
    EXPECT_TRUE(rootHub().ports().empty());
    describe(controller(R"(, "faults": [{"query": "rootHubName", "text": ""}])"));
    EXPECT_TRUE(rootHub().ports().empty());
    describe(controller(R"(, "faults": [{"query": "rootHubName", "after": 1, "error": 31}])"));
    EXPECT_TRUE(rootHub().ports().empty());
}

TEST_F(BusTest, ARootHubThatCannotBeOpenedHasNoPorts) {
    describePorts("", R"(, "openError": 5)");
    EXPECT_TRUE(rootHub().ports().empty());
}

TEST_F(BusTest, PortsLieOneBelowTheirNumber) {
    describePorts(R"({"port": 3, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\D\\1"}})");
    ASSERT_EQ(rootHub().ports().size(), 8U);
    EXPECT_EQ(+port(3).connectionInformation().ConnectionIndex, 3U);
    EXPECT_EQ(+port(3).connectionInformation().ConnectionStatus, 1U);
    EXPECT_EQ(+port(2).connectionInformation().ConnectionStatus, 0U);
}

TEST_F(BusTest, APortThatCannotBeReadIsAnEmptySlot) {
    describePorts("", R"(, "faults": [{"query": "connection", "port": 2, "error": 31}])");
    auto const & ports = rootHub().ports();
    ASSERT_EQ(ports.size(), 8U);
    EXPECT_TRUE(ports[0]);
    EXPECT_FALSE(ports[1]);
    EXPECT_TRUE(ports[2]);
}

TEST_F(BusTest, AHubThatDoesNotTellItsPortsHasNone) {
    describePorts("", R"(, "faults": [{"query": "nodeInformation", "error": 31}])");
    EXPECT_TRUE(rootHub().ports().empty());
}

TEST_F(BusTest, HubsAreReadToAnyDepth) {
    describePorts(hubOnPort1);
    auto const & outer = port(1).childHub();
    ASSERT_TRUE(outer);
    EXPECT_EQ(outer->name(), nuv::String("USB#OUTER"));
    ASSERT_EQ(outer->ports().size(), 3U);
    EXPECT_EQ(outer->ports()[0]->device()->getDisplayName(), nuv::String("Stick"));
    EXPECT_FALSE(outer->ports()[0]->childHub());
    auto const & inner = outer->ports()[2]->childHub();
    ASSERT_TRUE(inner);
    EXPECT_EQ(inner->ports()[0]->device()->getDisplayName(), nuv::String("Mouse"));
}

TEST_F(BusTest, AHubOnAPortIsADeviceToo) {
    describePorts(hubOnPort1);
    ASSERT_TRUE(port(1).device());
    EXPECT_EQ(port(1).device()->getDisplayName(), nuv::String("Outer hub"));
}

TEST_F(BusTest, AChildHubWhoseNameCannotBeHadIsAbsent) {
    for (char const * const effect : {R"("error": 31)", R"("text": "")", R"("text": "USB#NOWHERE")"}) {
        describePorts(hubOnPort1, std::string(R"(, "faults": [{"query": "hubName", "port": 1, )") + effect + "}]");
        EXPECT_FALSE(port(1).childHub()) << effect;
        EXPECT_TRUE(port(1).device()) << effect;
        EXPECT_TRUE(rootHub().ports()[1]) << effect;
    }
}

TEST_F(BusTest, AChildHubThatCannotBeOpenedIsAbsent) {
    describePorts(R"({"port": 1, "protocols": ["2.0"], "speed": "high", "hub": {"instanceId": "USB\\HUB\\1",
                     "symbolicName": "USB#CLOSED", "portCount": 4, "openError": 32}})");
    EXPECT_FALSE(port(1).childHub());
    EXPECT_EQ(port(1).connectionInformation().DeviceIsHub, 1);
}

TEST_F(BusTest, AChildHubThatIsOpenButTellsNothingIsThere) {
    describePorts(R"({"port": 1, "protocols": ["2.0"], "speed": "high", "hub": {"instanceId": "USB\\HUB\\1",
                     "symbolicName": "USB#MUTE", "portCount": 4,
                     "faults": [{"query": "nodeInformation", "error": 31}]}})");
    ASSERT_TRUE(port(1).childHub());
    EXPECT_TRUE(port(1).childHub()->ports().empty());
}

TEST_F(BusTest, AHubCanBeReadAloneByItsName) {
    describePorts(hubOnPort1);
    for (char const * const name : {"USB#OUTER", "usb#outer", "\\\\?\\USB#OUTER"}) {
        nuv::String const text(name);
        usbtopo::CUsbHub const hub(&text, "HUB");
        EXPECT_EQ(hub.name(), text);
        ASSERT_EQ(hub.ports().size(), 3U) << name;
        EXPECT_TRUE(hub.ports()[2]->childHub());
        EXPECT_EQ(hub.ports()[0]->getMaxUSBVersion(), 2.0F);
    }
}

TEST_F(BusTest, AHubAloneThatCannotBeOpenedHasNoPorts) {
    describePorts(hubOnPort1);
    nuv::String const nobody("USB#NOBODY");
    nuv::String const empty;
    EXPECT_TRUE(usbtopo::CUsbHub(&nobody, "HUB").ports().empty());
    EXPECT_TRUE(usbtopo::CUsbHub(&empty, "HUB").ports().empty());
    EXPECT_TRUE(usbtopo::CUsbHub(nullptr, "HUB").ports().empty());
}

} // namespace
