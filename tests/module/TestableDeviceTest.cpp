// From the device under test to its USB port, on described PCs.
#include "StorageCall.h"

#include "SpeedMode.h"
#include "TestableDevice.h"

#include <gtest/gtest.h>

#include <string>

namespace test {
namespace {

std::string matched(std::string const & what) {
    return "log1 124 TestableDevice::findMatchingDevice() device matched: " + what;
}
std::string visited(std::string const & controller) {
    return "log1 46 TestableDevice::enumeratePorts() working on controller: " + controller;
}
std::string tested(std::string const & parent) {
    return "log1 136 TestableDevice::findMatchingDevice() deviceBeingTested instance ID: " + parent;
}
std::string onPort(std::string const & usbId) {
    return "log1 142 TestableDevice::findMatchingDevice() deviceInstanceID from CUsbDevice: " + usbId;
}
std::string paired(std::string const & name, std::string const & version) {
    return "log1 146 TestableDevice::findMatchingDevice() device: " + name + " matched with port Speed: " + version;
}

constexpr char const * otherDiskId = "USBSTOR\\DISK&VEN_OTHER\\2&0";
constexpr char const * otherModel = "Other Disk";

Json stick(Json disk = smallDisk()) {
    return with(device("Stick"), {{"disk", std::move(disk)}});
}
Json otherStick() {
    return with(device("Other"), {{"disk", smallDisk({{"instanceId", otherDiskId}, {"name", otherModel}})}});
}

// The search for a device under test, and what it logged.
class DeviceSearch {
public:
    explicit DeviceSearch(Json const & pc, char const * deviceInstanceId = diskId, char const * hwLocator = diskId,
                          Settings const & settings = {})
        : call_(pc, settings, 1), system_(new usbtopo::CUsbSystem) {
        nuvrusb::speedMode = {};
        EXPECT_TRUE(system_->EnumerateHostControllers());
        device_.emplace(system_, nuv::String(deviceInstanceId), nuv::String(hwLocator));
        device_->enumeratePorts();
    }

    nuvrusb::TestableDevice & device() { return *device_; }
    StorageReporter & reporter() { return call_.reporter; }
    Lines const & lines() const { return call_.reporter.lines; }
    std::string friendlyName() const { return device_->friendlyName().getUTF8String(); }
    std::string osLocator() const { return device_->osLocator().getUTF8String(); }
    std::string controllerName() const { return device_->controllerName().getUTF8String(); }
    std::string controllerId() const { return device_->controllerInstanceId().getUTF8String(); }

    // The instance ID of the device on the matched port; "none" without a match.
    std::string portDevice() const {
        return device_->port() ? device_->port()->device()->getDeviceInstanceID().getUTF8String() : "none";
    }

private:
    StorageCall call_;
    nuv::SharedResourceManager<usbtopo::CUsbSystem> system_;
    std::optional<nuvrusb::TestableDevice> device_;
};

TEST(TestableDevice, FindsItsPortAndSaysSo) {
    DeviceSearch const search(stickPc(smallDisk()));
    EXPECT_EQ(search.portDevice(), stickId);
    EXPECT_EQ(search.friendlyName(), diskModel);
    EXPECT_EQ(search.osLocator(), diskLocator);
    EXPECT_EQ(search.controllerName(), controllerName);
    EXPECT_EQ(search.controllerId(), std::string("PCI\\VEN_1111&DEV_2222\\") + controllerName);
    EXPECT_EQ(search.lines(), (Lines{visited(controllerName), matched(diskModel), tested(stickId), onPort(stickId),
                                     paired(diskModel, "1.1")}));
}

TEST(TestableDevice, NamesThePortsPresentVersion) {
    struct Row {
        char const * speed;
        char const * protocol;
        char const * version;
    };
    for (Row const & row : {Row{"low", "1.1", "1"}, Row{"full", "1.1", "1.1"}, Row{"high", "2.0", "2"},
                            Row{"super", "3.0", "3"}, Row{"superPlus", "3.0", "3.1"}}) {
        DeviceSearch const search(stickPc(smallDisk(), row.speed, {row.protocol}));
        ASSERT_FALSE(search.lines().empty());
        EXPECT_EQ(search.lines().back(), paired(diskModel, row.version)) << row.speed;
    }
}

TEST(TestableDevice, EitherIdentityWillDo) {
    for (auto const & [instanceId, hwLocator] :
         {std::pair(diskId, ""), std::pair("", diskId), std::pair(diskId, "no such device"),
          std::pair("no such device", diskId)}) {
        DeviceSearch const search(stickPc(smallDisk()), instanceId, hwLocator);
        EXPECT_EQ(search.portDevice(), stickId) << instanceId << "/" << hwLocator;
        EXPECT_EQ(search.osLocator(), diskLocator) << instanceId << "/" << hwLocator;
    }
}

TEST(TestableDevice, LetterCaseOfTheIdentityDoesNotMatter) {
    DeviceSearch const search(stickPc(smallDisk()), "", "usbstor\\disk&ven_test&prod_stick\\1&0");
    EXPECT_EQ(search.portDevice(), stickId);
    EXPECT_EQ(search.friendlyName(), diskModel);
}

TEST(TestableDevice, ParentThatDiffersFromThePortsDeviceInLetterCaseOnlyIsTheSame) {
    // The port's driver key leads to a node whose instance ID is written otherwise than that of the disk's parent.
    Json const keyHolder =
        with(device("Holder"),
             {{"nodes", {{{"instanceId", "USB\\VID_1234&PID_5678\\STICK"}, {"driverKey", "{36fc9e60}\\0099"}}}}});
    Json const description =
        pcWithPorts({port(1, "high", keyHolder), port(2, "high", with(stick(), {{"driverKey", "{36fc9e60}\\0099"}}))});
    DeviceSearch const search(description, "");
    EXPECT_EQ(search.portDevice(), "USB\\VID_1234&PID_5678\\STICK");
    EXPECT_EQ(search.lines(), (Lines{visited(controllerName), matched(diskModel), tested(stickId),
                                     onPort("USB\\VID_1234&PID_5678\\Holder"), tested(stickId),
                                     onPort("USB\\VID_1234&PID_5678\\STICK"), paired(diskModel, "2")}));
}

TEST(TestableDevice, NothingElseOfTheIdentityIsNormalised) {
    for (char const * const nearly : {"USBSTOR\\DISK&VEN_TEST&PROD_STICK\\1&0 ", "USBSTOR/DISK&VEN_TEST&PROD_STICK/1&0",
                                      "USBSTOR\\DISK&VEN_TEST&PROD_STICK\\1"}) {
        DeviceSearch const search(stickPc(smallDisk()), nearly, nearly);
        EXPECT_EQ(search.portDevice(), "none") << nearly;
    }
}

TEST(TestableDevice, HardwareLocatorGoesBeforeTheInstanceId) {
    Json const description = pcWithPorts({port(1, "high", stick()), port(2, "high", otherStick())});
    DeviceSearch const search(description, otherDiskId, diskId);
    EXPECT_EQ(search.portDevice(), stickId);
    EXPECT_EQ(search.friendlyName(), diskModel);
    DeviceSearch const turned(description, diskId, otherDiskId);
    EXPECT_EQ(turned.friendlyName(), otherModel);
}

TEST(TestableDevice, UnknownIdentitiesVisitEveryControllerAndFindNothing) {
    Json const description =
        pc(Json::array({controller({port(1, "high", stick())}, "First"),
                        controller({port(1, "high", device("Mouse"))}, "Second"), controller(Json::array(), "Third")}));
    for (char const * const identity : {"", "no such device"}) {
        DeviceSearch const search(description, identity, identity);
        EXPECT_EQ(search.portDevice(), "none");
        EXPECT_EQ(search.friendlyName(), "");
        EXPECT_EQ(search.osLocator(), "");
        EXPECT_EQ(search.controllerName(), "Third");
        EXPECT_EQ(search.lines(), (Lines{visited("First"), visited("Second"), visited("Third")}));
    }
}

TEST(TestableDevice, WalkEndsBeforeTheControllerAfterTheMatch) {
    Json const description = pc(Json::array({controller({port(1, "high", device("Mouse"))}, "First"),
                                             controller({port(1, "high", stick())}, "Second"),
                                             controller({port(1, "high", otherStick())}, "Third")}));
    DeviceSearch const search(description);
    EXPECT_EQ(search.controllerName(), "Second");
    EXPECT_EQ(search.controllerId(), "PCI\\VEN_1111&DEV_2222\\Second");
    // The disk is found among the operating system's devices on the first port already, the port later.
    EXPECT_EQ(search.lines(),
              (Lines{visited("First"), matched(diskModel), tested(stickId), onPort("USB\\VID_1234&PID_5678\\Mouse"),
                     tested(stickId), onPort("USB\\VID_1234&PID_5678\\Mouse"), visited("Second"), tested(stickId),
                     onPort(stickId), paired(diskModel, "2")}));
}

TEST(TestableDevice, NamelessControllerLeavesTheNamesOfTheOneBefore) {
    Json nameless = controller({port(1, "high", stick())}, "Second");
    nameless["name"] = "";
    nameless["instanceId"] = "";
    nameless["interfacePath"] = "\\\\?\\PCI#NAMELESS";
    DeviceSearch const search(pc(Json::array({controller(Json::array(), "First"), nameless})));
    EXPECT_EQ(search.portDevice(), stickId);
    EXPECT_EQ(search.controllerName(), "First");
    EXPECT_EQ(search.controllerId(), "PCI\\VEN_1111&DEV_2222\\First");
}

TEST(TestableDevice, DisabledControllerIsAnEmptySlot) {
    Json disabled = controller({port(1, "high", device("Mouse"))}, "First");
    disabled["disabled"] = true;
    DeviceSearch const search(pc(Json::array({disabled, controller({port(1, "high", stick())}, "Second")})));
    EXPECT_EQ(search.portDevice(), stickId);
    EXPECT_EQ(search.lines().front(), visited("Second"));
}

TEST(TestableDevice, ControllersSpeedIsThatOfItsFastestPort) {
    struct Row {
        Json ports;
        nuvrusb::SpeedCode speed;
    };
    auto const empty = [](int number, Json protocols) { return Json{{"port", number}, {"protocols", protocols}}; };
    std::vector<Row> const rows{{{empty(1, {"1.1"})}, 2},
                                {{empty(1, {"1.1"}), empty(2, {"1.1", "2.0"})}, 3},
                                {{empty(1, {"1.1", "2.0"}), empty(2, {"3.0"})}, 5},
                                {{empty(1, {"1.1", "2.0"}), with(empty(2, {"3.0"}), {{"superSpeedPlus", true}})}, 6}};
    for (Row const & row : rows) {
        Json only = controller(row.ports);
        only["rootHub"]["portCount"] = row.ports.size();
        EXPECT_EQ(DeviceSearch(pc(Json::array({only}))).device().controllerSpeed(), row.speed) << row.ports;
    }
    EXPECT_EQ(DeviceSearch(pc(Json::array({controller(Json::array(), "Portless", 0)}))).device().controllerSpeed(), 0);
}

TEST(TestableDevice, DeviceBehindHubsIsFound) {
    Json const inner = hub("Inner", {port(2, "high", device("Mouse")), port(3, "high", stick())});
    DeviceSearch search(pcWithPorts({hubPort(1, hub("Outer", {hubPort(4, inner)}))}));
    EXPECT_EQ(search.portDevice(), stickId);
    EXPECT_EQ(search.device().port()->connectionInformation().ConnectionIndex, 3U);
}

TEST(TestableDevice, HubThatCannotBeReadIsSkippedWithAllBehindIt) {
    Json const broken = with(hub("Broken", {port(1, "high", otherStick())}), {{"openError", 5}});
    Json const description = pcWithPorts({hubPort(1, broken), port(2, "high", stick())});
    std::string const skipped = "log4 70 USB External Hub is not initialized correctly";

    DeviceSearch const beside(description);
    EXPECT_EQ(beside.portDevice(), stickId);
    EXPECT_EQ(beside.lines(), (Lines{visited(controllerName), skipped, matched(diskModel), tested(stickId),
                                     onPort(stickId), paired(diskModel, "2")}));

    DeviceSearch const behind(description, otherDiskId, otherDiskId);
    EXPECT_EQ(behind.portDevice(), "none");
}

TEST(TestableDevice, DeviceWithAProblemIsNeverMatched) {
    std::vector<Json> const sick{
        with(stick(), {{"problemCode", 10}}), with(stick(), {{"disabled", true}}),
        with(stick(), {{"nodes", {{{"instanceId", "C"}, {"problemCode", 28}}}}}),
        with(stick(), {{"nodes", {{{"instanceId", "C"}, {"nodes", {{{"instanceId", "D"}, {"problemCode", 28}}}}}}}})};
    for (Json const & device : sick) {
        DeviceSearch const search(pcWithPorts({port(1, "high", device)}));
        EXPECT_EQ(search.portDevice(), "none") << device;
        EXPECT_EQ(search.lines(), Lines{visited(controllerName)}) << device;
    }
}

TEST(TestableDevice, PortWithoutConnectionIsNotLookedAt) {
    DeviceSearch const search(pcWithPorts({with(port(1, "high", stick()), {{"status", "NoDeviceConnected"}})}));
    EXPECT_EQ(search.portDevice(), "none");
    EXPECT_EQ(search.lines(), Lines{visited(controllerName)});
}

TEST(TestableDevice, PortInAnyOtherStatusIsLookedAt) {
    for (char const * const status : {"DeviceCausedOvercurrent", "DeviceNotEnoughPower", "DeviceGeneralFailure"}) {
        DeviceSearch const search(pcWithPorts({with(port(1, "high", stick()), {{"status", status}})}));
        EXPECT_EQ(search.portDevice(), stickId) << status;
    }
}

TEST(TestableDevice, PortWithoutADeviceDescriptorIsPassedOver) {
    DeviceSearch const search(
        pcWithPorts({with(port(1, "high", with(stick(), {{"descriptor", false}})), {{"status", 2}})}));
    EXPECT_EQ(search.portDevice(), "none");
    EXPECT_EQ(search.lines(), Lines{visited(controllerName)});
}

TEST(TestableDevice, PortWhoseDeviceHasNoKnownNodeIsNoMatch) {
    DeviceSearch const search(pcWithPorts({port(1, "high", with(stick(), {{"driverKey", ""}}))}));
    EXPECT_EQ(search.portDevice(), "none");
    EXPECT_EQ(search.friendlyName(), diskModel); // found all the same
    EXPECT_EQ(search.lines(), (Lines{visited(controllerName), matched(diskModel), tested(stickId), tested(stickId)}));
}

TEST(TestableDevice, HiddenDiskIsMatchedWithItsPortButNotFound) {
    Json const description =
        pc(Json::array({controller({port(1, "high", stick(smallDisk({{"hidden", true}})))}, "First"),
                        controller({port(1, "high", device("Mouse"))}, "Second")}));
    DeviceSearch const search(description);
    EXPECT_EQ(search.portDevice(), stickId);
    EXPECT_EQ(search.friendlyName(), "");
    EXPECT_EQ(search.osLocator(), "");
    EXPECT_EQ(search.lines(),
              (Lines{visited("First"), tested(stickId), onPort(stickId), paired("", "2"), visited("Second")}));
}

TEST(TestableDevice, HiddenDiskHidesNoOtherOfTheSameIdentity) {
    Json const shown = with(device("Other"), {{"disk", smallDisk({{"name", otherModel}})}});
    DeviceSearch const search(
        pcWithPorts({port(1, "high", stick(smallDisk({{"hidden", true}}))), port(2, "high", shown)}));
    EXPECT_EQ(search.friendlyName(), otherModel);
    EXPECT_EQ(search.osLocator(), "\\\\.\\PhysicalDrive2");
}

TEST(TestableDevice, OneIdentityMayBeFoundAndTheOtherMatched) {
    Json const unwell = with(otherStick(), {{"problemCode", 10}});
    DeviceSearch const search(pcWithPorts({port(1, "high", unwell), port(2, "high", stick())}), diskId, otherDiskId);
    EXPECT_EQ(search.friendlyName(), otherModel);
    EXPECT_EQ(search.portDevice(), stickId);
    EXPECT_EQ(search.lines(),
              (Lines{visited(controllerName), matched(otherModel), tested("USB\\VID_1234&PID_5678\\Other"),
                     onPort(stickId), tested(stickId), onPort(stickId), paired(otherModel, "2")}));
}

// The speed of the matched port.

struct SpeedVerdict {
    bool isValid;
    std::string result;
    Lines events;
};

SpeedVerdict judged(DeviceSearch & search, bool demandsMaximum) {
    nuvrusb::speedMode.desiredSpeedIsMax = demandsMaximum;
    search.reporter().lines.clear();
    bool const isValid = search.device().validPortSpeed();
    return {isValid, tkit5::resultName(search.device().portResult()), search.lines()};
}

TEST(TestableDeviceSpeed, DeviceBelowItsPortsSpeedOnlyWarnsAndOnlyOnDemand) {
    DeviceSearch search(stickPc(smallDisk(), "high", {"1.1", "2.0", "3.0"}));
    SpeedVerdict const demanded = judged(search, true);
    EXPECT_FALSE(demanded.isValid);
    EXPECT_EQ(demanded.result, "WARN");
    EXPECT_EQ(demanded.events, Lines{"error CAPABLE_OF_RUNNING_AT_HIGHER_SPEED 1484"});
    ASSERT_EQ(search.reporter().variables.size(), 1U);
    EXPECT_EQ(search.reporter().variables[0].at("DeviceName"), "Stick");
    EXPECT_EQ(search.reporter().variables[0].at("ControllerName"), controllerName);

    SpeedVerdict const content = judged(search, false);
    EXPECT_TRUE(content.isValid);
    EXPECT_EQ(content.result, "PASS");
    EXPECT_EQ(content.events, Lines{});
}

TEST(TestableDeviceSpeed, EverySpeedIsComparedWithThePortsHighest) {
    std::vector<char const *> const speeds{"low", "full", "high", "super", "superPlus"};
    struct Highest {
        Json protocols;
        bool superSpeedPlus;
        std::size_t fastest; // index of the speed that is enough
    };
    std::vector<Highest> const ports{{{"1.1"}, false, 1},
                                     {{"1.1", "2.0"}, false, 2},
                                     {{"1.1", "2.0", "3.0"}, false, 3},
                                     {{"1.1", "2.0", "3.0"}, true, 4}};
    for (Highest const & highest : ports) {
        for (std::size_t speed = 0; speed < speeds.size(); ++speed) {
            Json root = with(port(1, speeds[speed], stick()), {{"protocols", highest.protocols}});
            if (highest.superSpeedPlus) {
                root["superSpeedPlus"] = true;
            }
            DeviceSearch search(pcWithPorts({root}));
            bool const isEnough = speed >= highest.fastest;
            SpeedVerdict const verdict = judged(search, true);
            EXPECT_EQ(verdict.isValid, isEnough) << speeds[speed] << highest.protocols;
            EXPECT_EQ(verdict.result, isEnough ? "PASS" : "WARN") << speeds[speed] << highest.protocols;
        }
    }
}

TEST(TestableDeviceSpeed, WithoutADeviceToJudgeTheResultStaysUnwritten) {
    DeviceSearch search(pcWithPorts({port(1, "high", device("Mouse"))}));
    SpeedVerdict const verdict = judged(search, true);
    EXPECT_FALSE(verdict.isValid);
    EXPECT_EQ(verdict.result, "INTERNALERROR"); // what nobody has judged
    EXPECT_EQ(verdict.events, Lines{"log4 157 TestableDevice::validPortSpeed() was not able to verify port speed due "
                                    "the device connected to the port not being valid."});
}

} // namespace
} // namespace test
