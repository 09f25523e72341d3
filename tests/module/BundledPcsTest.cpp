// Real PCs that ship with the program, and what a correct judge says of them.
#include "SpeedTestFixture.h"

#include <algorithm>
#include <set>

namespace test {
namespace {

std::vector<std::string> slowDevices(HostView const & host) {
    std::vector<std::string> names;
    for (RaisedEvent const & event : host.events) {
        if (event.key == "CAPABLE_OF_RUNNING_AT_HIGHER_SPEED") {
            names.push_back(event.variables.at("DeviceName"));
        }
    }
    return names;
}

HostView maxModeOn(std::string const & file, std::vector<std::string> arguments = {}) {
    arguments.insert(arguments.end(), {"--set", "desiredVerificationSpeed=MAX"});
    return runTestOnBundled(speedTest, file, arguments);
}

TEST_F(ConnectionSpeed, DesktopWithNestedHubsHasFourFullSpeedDevicesThatCouldRunFaster) {
    HostView const host = maxModeOn("desktop-usb3-nested-hubs.json");
    EXPECT_EQ(host.result, "FAIL");
    // On ports 10.2.3, 10.2.4, 11 and 14, in the order of the walk.
    EXPECT_EQ(slowDevices(host), (std::vector<std::string>{"ROCCAT Kone EMP", "USB Receiver", "AURA LED Controller",
                                                           "Intel(R) Wireless Bluetooth(R)"}));
    EXPECT_EQ(host.events.size(), 4U);
    for (RaisedEvent const & event : host.events) {
        EXPECT_EQ(event.variables.at("OperatingSpeed"), "1.1");
        EXPECT_EQ(event.variables.at("HigherSpeed"), "2.0");
    }
}

TEST_F(ConnectionSpeed, DesktopWithNestedHubsPassesWhenOldDevicesAreIgnored) {
    HostView const host = maxModeOn("desktop-usb3-nested-hubs.json", {"--set", "ignore1xdevices=1"});
    EXPECT_EQ(host.result, "PASS");
    EXPECT_TRUE(host.events.empty());
}

TEST_F(ConnectionSpeed, DesktopWithNestedHubsPassesWithoutADemand) {
    EXPECT_EQ(runTestOnBundled(speedTest, "desktop-usb3-nested-hubs.json").result, "PASS");
}

TEST_F(ConnectionSpeed, LaptopWithAFailedEnumerationHasNoSlowDevice) {
    HostView const host = maxModeOn("laptop-failed-enumeration.json");
    EXPECT_EQ(host.result, "PASS");
    EXPECT_TRUE(host.events.empty());
}

TEST_F(ConnectionSpeed, LaptopWithATenPortHubHasTwoFullSpeedDevices) {
    HostView const host = maxModeOn("laptop-ten-port-hub.json");
    EXPECT_EQ(slowDevices(host).size(), 2U);
    EXPECT_EQ(host.events.size(), 2U);
    EXPECT_EQ(maxModeOn("laptop-ten-port-hub.json", {"--set", "ignore1xdevices=1"}).result, "PASS");
}

TEST_F(ConnectionSpeed, SingleBoardComputerRunsEverythingAtPortSpeed) {
    HostView const host = maxModeOn("single-board-card-reader.json");
    EXPECT_EQ(host.result, "PASS");
    EXPECT_TRUE(host.events.empty());
}

TEST_F(ConnectionSpeed, DiskAtHighSpeedOnATenGigabitConnectorIsFound) {
    HostView const host = maxModeOn("desktop-disk-at-high-speed.json", {"--set", "ignore1xdevices=1"});
    EXPECT_EQ(host.result, "FAIL");
    ASSERT_EQ(slowDevices(host), std::vector<std::string>{"Seagate RSS LLC Expansion Portable"});
    EXPECT_EQ(host.events[0].variables.at("OperatingSpeed"), "2.0");
    EXPECT_EQ(host.events[0].variables.at("HigherSpeed"), "USB 3.1 Gen 2 (SuperSpeedPlus)");
    EXPECT_EQ(slowDevices(maxModeOn("desktop-disk-at-high-speed.json", {"--set", "ignore1xdevices=0"})).size(), 1U)
        << "a spared device stays spared in the same process";
}

TEST_F(ConnectionSpeed, FindingsPcShowsEveryKeyOfThisTest) {
    HostView const host = maxModeOn("findings.json");
    EXPECT_EQ(host.result, "FAIL");
    std::vector<std::string> const keys = host.keys();
    EXPECT_EQ(std::set<std::string>(keys.begin(), keys.end()),
              (std::set<std::string>{"CAPABLE_OF_RUNNING_AT_HIGHER_SPEED", "NewDeviceNotEnoughPower",
                                     "NewDeviceCausedOvercurrent"}));
}

TEST_F(ConnectionSpeed, SameInputGivesTheSameBytes) {
    HostView const first = maxModeOn("findings.json", {"--log-level", "1"});
    HostView const second = maxModeOn("findings.json", {"--log-level", "1"});
    EXPECT_FALSE(first.output.empty());
    EXPECT_EQ(first.output, second.output);
}

TEST_F(ConnectionSpeed, EveryEventOfEveryBundledPcIsInTheCatalogueWithItsVariables) {
    std::map<std::string, std::set<std::string>> const catalogue{
        {"CAPABLE_OF_RUNNING_AT_HIGHER_SPEED", {"DeviceName", "ControllerName", "OperatingSpeed", "HigherSpeed"}},
        {"NewDeviceNotEnoughPower", {"ControllerName"}},
        {"NewDeviceCausedOvercurrent", {"ControllerName"}}};
    for (std::string const file : {"desktop-usb3-nested-hubs.json", "findings.json", "laptop-ten-port-hub.json",
                                   "desktop-disk-at-high-speed.json"}) {
        for (RaisedEvent const & event : maxModeOn(file).events) {
            ASSERT_EQ(catalogue.count(event.key), 1U) << event.key;
            std::set<std::string> variables;
            for (auto const & [name, value] : event.variables) {
                variables.insert(name);
            }
            EXPECT_EQ(variables, catalogue.at(event.key)) << event.key;
        }
    }
}

} // namespace
} // namespace test
