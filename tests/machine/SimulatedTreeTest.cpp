// The device tree that a simulated PC makes of its description.
#include "support/Describe.h"

#include <gtest/gtest.h>

namespace {

using namespace machine;

class SimulatedTree : public testing::Test {
protected:
    // Describes one device on port 1 by its members.
    void device(std::string const & members) {
        describe(R"("portCount": 2, "ports": [{"port": 1, "protocols": ["2.0"], "speed": "high", "device": {)" +
                 members + "}}]");
    }
    void describe(std::string const & rootHub) {
        pc = support::describedPc(R"({"name": "PC", "controllers": [{"instanceId": "PCI\\X\\1", "rootHub": {)" +
                                  rootHub + "}}]}");
    }
    DeviceNode const & node(std::u16string_view instanceId) const {
        return pc->devices()[pc->devices().findByInstanceId(instanceId)];
    }
    DiskFacts const & disk(std::u16string_view instanceId) const {
        return *pc->devices().disk(pc->devices().findByInstanceId(instanceId));
    }

    std::unique_ptr<Machine> pc;
};

TEST_F(SimulatedTree, DevicesHangBelowTheirHubsAndHubsBelowTheController) {
    describe(R"("portCount": 2, "ports": [{"port": 1, "protocols": ["2.0"], "speed": "high",
        "hub": {"instanceId": "USB\\H\\1", "portCount": 2, "nodes": [{"instanceId": "USB\\N\\1"}],
            "ports": [{"port": 2, "protocols": ["2.0"], "speed": "full", "device": {"instanceId": "USB\\A\\1"}}]}}])");
    DeviceTree const & tree = pc->devices();

    EXPECT_EQ(node(u"PCI\\X\\1").parent, tree.root());
    EXPECT_EQ(node(u"PCI\\X\\1").nodeClass, NodeClass::HostController);
    EXPECT_EQ(tree[node(u"USB\\ROOT_HUB30\\1").parent].instanceId, u"PCI\\X\\1");
    EXPECT_EQ(node(u"USB\\ROOT_HUB30\\1").nodeClass, NodeClass::Hub);
    EXPECT_EQ(tree[node(u"USB\\H\\1").parent].instanceId, u"USB\\ROOT_HUB30\\1");
    EXPECT_EQ(node(u"USB\\H\\1").nodeClass, NodeClass::Hub);
    EXPECT_EQ(tree[node(u"USB\\H\\1").firstChild].instanceId, u"USB\\N\\1");
    EXPECT_EQ(tree[node(u"USB\\N\\1").nextSibling].instanceId, u"USB\\A\\1");
    EXPECT_EQ(node(u"USB\\A\\1").nodeClass, NodeClass::UsbDevice);
}

TEST_F(SimulatedTree, NodesCarryWhatIsDescribed) {
    device(R"("instanceId": "USB\\A\\1", "driverKey": "K", "name": "Mine", "description": "Driver's",
              "product": " Its own", "interfacePath": "P", "problemCode": 10, "hidden": true,
              "nodes": [{"instanceId": "N1", "description": "First", "disabled": true,
                         "nodes": [{"instanceId": "N2", "driverKey": "NK"}]}])");

    DeviceNode const & top = node(u"USB\\A\\1");
    EXPECT_EQ(top.driverKey, u"K");
    EXPECT_EQ(top.friendlyName, u"Mine");
    EXPECT_EQ(top.description, u"Driver's");
    EXPECT_EQ(top.busReportedDescription, u" Its own");
    EXPECT_EQ(top.interfacePath, u"P");
    EXPECT_EQ(top.problem, 10U);
    EXPECT_TRUE(top.hidden);
    EXPECT_TRUE(top.present);
    EXPECT_TRUE(top.listed);
    EXPECT_EQ(node(u"N1").description, u"First");
    EXPECT_EQ(node(u"N1").problem, problemDisabled);
    EXPECT_TRUE(node(u"N1").driverKey.empty());
    EXPECT_EQ(node(u"N2").driverKey, u"NK");
    EXPECT_EQ(pc->devices()[node(u"N2").parent].instanceId, u"N1");
}

TEST_F(SimulatedTree, PathsAreDerivedAsWindowsDoesIt) {
    device(R"("instanceId": "USB\\VID_0781&PID_5591\\ABC")");

    EXPECT_EQ(node(u"PCI\\X\\1").interfacePath, u"\\\\?\\PCI#X#1#{3abf6f2d-71c4-462a-8a92-1e6861e6af27}");
    EXPECT_EQ(node(u"USB\\ROOT_HUB30\\1").interfacePath,
              u"\\\\?\\USB#ROOT_HUB30#1#{f18a0e88-c30c-11d0-8815-00a0c906bed8}");
    EXPECT_EQ(node(u"USB\\VID_0781&PID_5591\\ABC").interfacePath,
              u"\\\\?\\USB#VID_0781&PID_5591#ABC#{a5dcbf10-6530-11d2-901f-00c04fb951ed}");
}

TEST_F(SimulatedTree, EmptyPathIsNoPath) {
    device(R"("instanceId": "USB\\A\\1", "interfacePath": "")");

    EXPECT_TRUE(node(u"USB\\A\\1").interfacePath.empty());
}

TEST_F(SimulatedTree, ControllerWithoutInstanceIdHasNoPathUnlessGiven) {
    pc = support::describedPc(R"({"name": "PC", "controllers": [
        {"instanceId": "", "rootHub": {"portCount": 1}},
        {"instanceId": "", "interfacePath": "own", "listed": false, "rootHub": {"portCount": 1}}]})");
    DeviceTree const & tree = pc->devices();
    DeviceNode const & first = tree[tree[tree.root()].firstChild];
    DeviceNode const & second = tree[first.nextSibling];

    EXPECT_TRUE(first.interfacePath.empty());
    EXPECT_TRUE(first.listed);
    EXPECT_EQ(second.interfacePath, u"own");
    EXPECT_FALSE(second.listed);
    EXPECT_EQ(node(u"USB\\ROOT_HUB30\\2").parent, first.nextSibling);
}

TEST_F(SimulatedTree, DriverKeysLeftOutAreUniqueAndDoNotTakeADescribedOne) {
    describe(R"("portCount": 2, "ports": [
        {"port": 1, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\A\\1"}},
        {"port": 2, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\A\\2",
            "driverKey": "{36fc9e60-c465-11cf-8056-444553540000}\\0001"}}])");

    EXPECT_EQ(node(u"PCI\\X\\1").driverKey, u"{36fc9e60-c465-11cf-8056-444553540000}\\0000");
    EXPECT_EQ(node(u"USB\\ROOT_HUB30\\1").driverKey, u"{36fc9e60-c465-11cf-8056-444553540000}\\0002");
    EXPECT_EQ(node(u"USB\\A\\1").driverKey, u"{36fc9e60-c465-11cf-8056-444553540000}\\0003");
}

TEST_F(SimulatedTree, DeviceWithTwoFunctionsIsComposite) {
    device(R"("instanceId": "USB\\A\\1", "nodes": [{"instanceId": "USB\\A&MI_00\\1"},
                                                  {"instanceId": "USB\\A&mi_01\\1"}])");
    EXPECT_EQ(node(u"USB\\A\\1").nodeClass, NodeClass::UsbComposite);

    device(R"("instanceId": "USB\\A\\1", "nodes": [{"instanceId": "USB\\A&MI_00\\1"}, {"instanceId": "HID\\A\\1"}])");
    EXPECT_EQ(node(u"USB\\A\\1").nodeClass, NodeClass::UsbDevice);
}

TEST_F(SimulatedTree, DescriptionDecidesWhatIsComposite) {
    device(R"("instanceId": "USB\\A\\1", "composite": true)");
    EXPECT_EQ(node(u"USB\\A\\1").nodeClass, NodeClass::UsbComposite);

    device(R"("instanceId": "USB\\A\\1", "composite": false, "nodes": [{"instanceId": "USB\\A&MI_00\\1"},
                                                                      {"instanceId": "USB\\A&MI_01\\1"}])");
    EXPECT_EQ(node(u"USB\\A\\1").nodeClass, NodeClass::UsbDevice);
}

TEST_F(SimulatedTree, DiskIsTheFirstNodeBelowItsDevice) {
    device(R"("instanceId": "USB\\A\\1", "nodes": [{"instanceId": "N"}],
              "disk": {"instanceId": "USBSTOR\\D\\1", "name": "Model", "number": 7, "serialNumber": "S"})");

    EXPECT_EQ(pc->devices()[node(u"USB\\A\\1").firstChild].instanceId, u"USBSTOR\\D\\1");
    EXPECT_EQ(node(u"USBSTOR\\D\\1").nodeClass, NodeClass::Disk);
    EXPECT_EQ(node(u"USBSTOR\\D\\1").friendlyName, u"Model");
    EXPECT_EQ(node(u"USBSTOR\\D\\1").interfacePath, u"\\\\.\\PhysicalDrive7");
    EXPECT_EQ(disk(u"USBSTOR\\D\\1").number, 7U);
    EXPECT_EQ(disk(u"USBSTOR\\D\\1").serialNumber, u"S");
}

TEST_F(SimulatedTree, DiskNumbersLeftOutCountFromOneAroundDescribedOnes) {
    describe(R"("portCount": 3, "ports": [
        {"port": 1, "protocols": ["2.0"], "speed": "high",
         "device": {"instanceId": "USB\\A\\1", "serialNumber": "OF-DEVICE", "disk": {"instanceId": "D1"}}},
        {"port": 2, "protocols": ["2.0"], "speed": "high",
         "device": {"instanceId": "USB\\A\\2", "disk": {"instanceId": "D2"}}},
        {"port": 3, "protocols": ["2.0"], "speed": "high",
         "device": {"instanceId": "USB\\A\\3", "disk": {"instanceId": "D3", "number": 2}}}])");

    EXPECT_EQ(disk(u"D1").number, 1U);
    EXPECT_EQ(disk(u"D2").number, 3U);
    EXPECT_EQ(disk(u"D3").number, 2U);
    EXPECT_EQ(disk(u"D1").serialNumber, u"OF-DEVICE");
}

TEST_F(SimulatedTree, DiskFactsAreFalseUnlessDescribed) {
    device(R"("instanceId": "USB\\A\\1", "disk": {"instanceId": "D"})");
    EXPECT_FALSE(disk(u"D").isSystemDrive || disk(u"D").isApplicationDrive || disk(u"D").isNuvMud ||
                 disk(u"D").hasReadOnlyVolume || disk(u"D").reportsAtaSecurity);

    device(R"("instanceId": "USB\\A\\1", "disk": {"instanceId": "D", "system": true, "application": true,
        "nuvMud": true, "readOnlyVolume": true,
        "ataSecurity": {"supported": true, "passwordSet": true, "locked": true}})");
    EXPECT_TRUE(disk(u"D").isSystemDrive && disk(u"D").isApplicationDrive && disk(u"D").isNuvMud &&
                disk(u"D").hasReadOnlyVolume && disk(u"D").reportsAtaSecurity);
    EXPECT_TRUE(disk(u"D").securityPasswordSupported && disk(u"D").securityPasswordSet && disk(u"D").ataSecurityLocked);
}

TEST_F(SimulatedTree, TwoDevicesMayHaveTheSameInstanceId) {
    describe(R"("portCount": 2, "ports": [
        {"port": 1, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\A\\1"}},
        {"port": 2, "protocols": ["2.0"], "speed": "high", "device": {"instanceId": "USB\\A\\1"}}])");

    EXPECT_EQ(pc->devices().size(), 5U);
    EXPECT_EQ(pc->devices()[node(u"USB\\A\\1").nextSibling].instanceId, u"USB\\A\\1");
}

} // namespace
