// How a simulated PC opens its devices and passes its time.
#include "HubFixture.h"

#include <chrono>

namespace {

using namespace std::chrono_literals;

constexpr char const * smallPc = R"({"name": "Small PC", "controllers": [{"instanceId": "PCI\\X\\1", "rootHub": {
    "portCount": 2, "ports": [
        {"port": 1, "protocols": ["3.0"], "superSpeedPlus": true, "speed": "super", "device":
            {"instanceId": "USB\\A\\1", "disk": {"instanceId": "USBSTOR\\D\\1"}}},
        {"port": 2, "protocols": ["2.0"], "speed": "high", "hub":
            {"instanceId": "USB\\H\\1", "portCount": 1, "interfacePath": "\\\\?\\own#path"}}]}}]})";

constexpr std::u16string_view rootHub = u"USB#ROOT_HUB30#1#{f18a0e88-c30c-11d0-8815-00a0c906bed8}";

class Opening : public testing::Test {
protected:
    std::unique_ptr<machine::Machine> pc = support::describedPc(smallPc);
};

TEST_F(Opening, PrefixOfAPathDoesNotMatter) {
    std::u16string const name(rootHub);

    EXPECT_EQ(openForAll(*pc, name).error, 0U);
    EXPECT_EQ(openForAll(*pc, u"\\\\?\\" + name).error, 0U);
    EXPECT_EQ(openForAll(*pc, u"\\\\.\\" + name).error, 0U);
    EXPECT_EQ(openForAll(*pc, u"\\\\?\\\\\\?\\" + name).error, 2U);
}

TEST_F(Opening, DevicesAndDisksOpenButAnswerNoHubQuery) {
    auto const device = openForAll(*pc, u"\\\\?\\USB#A#1#{a5dcbf10-6530-11d2-901f-00c04fb951ed}");
    auto const disk = openForAll(*pc, u"\\\\.\\PhysicalDrive1");

    EXPECT_EQ(ask(*device.file, kernel::IOCTL_USB_GET_NODE_INFORMATION, {}, 76).error, 1U);
    EXPECT_EQ(ask(*disk.file, kernel::IOCTL_USB_GET_NODE_INFORMATION, {}, 76).error, 1U);
}

TEST_F(Opening, BothPathsOfAHubObeyOneShareMode) {
    auto const first = pc->open({.path = u"\\\\?\\own#path",
                                 .access = kernel::GENERIC_WRITE,
                                 .share = 0,
                                 .disposition = kernel::OPEN_EXISTING,
                                 .flags = 0});

    EXPECT_EQ(first.error, 0U);
    EXPECT_EQ(openForAll(*pc, u"USB#H#1#{f18a0e88-c30c-11d0-8815-00a0c906bed8}").error, 32U);
}

TEST_F(Opening, DispositionThatWindowsDoesNotKnowIsAnInvalidParameter) {
    EXPECT_EQ(pc->open({.path = rootHub, .access = 0, .share = 0, .disposition = 0, .flags = 0}).error, 87U);
    EXPECT_EQ(pc->open({.path = rootHub, .access = 0, .share = 0, .disposition = 6, .flags = 0}).error, 87U);
}

TEST_F(Opening, OpenErrorMeetsEveryOpenOfTheDevice) {
    auto const locked = support::describedPc(R"({"name": "PC", "controllers": [{"instanceId": "PCI\\X\\1",
        "openError": 5, "rootHub": {"symbolicName": "HUB", "portCount": 0, "openError": 1450}}]})");

    EXPECT_EQ(openForAll(*locked, u"PCI#X#1#{3abf6f2d-71c4-462a-8a92-1e6861e6af27}").error, 5U);
    EXPECT_EQ(openForAll(*locked, u"HUB").error, 1450U);
    EXPECT_EQ(openForAll(*locked, u"HUB").error, 1450U);
}

TEST_F(Opening, OnlyTheDescribedPortDoesSuperSpeedPlus) {
    EXPECT_TRUE(pc->portDoesSuperSpeedPlus(u"\\\\?\\" + std::u16string(rootHub), 1));
    EXPECT_TRUE(pc->portDoesSuperSpeedPlus(rootHub, 1));
    EXPECT_FALSE(pc->portDoesSuperSpeedPlus(rootHub, 2));
    EXPECT_FALSE(pc->portDoesSuperSpeedPlus(rootHub, 0));
    EXPECT_FALSE(pc->portDoesSuperSpeedPlus(rootHub, 3));
    EXPECT_FALSE(pc->portDoesSuperSpeedPlus(u"no hub", 1));
    EXPECT_FALSE(pc->portDoesSuperSpeedPlus(u"\\\\.\\PhysicalDrive1", 1));
}

TEST_F(Opening, VirtualTimeStartsAtZeroAndMovesByOpensAndControls) {
    EXPECT_TRUE(pc->clock().isVirtual());
    EXPECT_EQ(pc->clock().now(), 0s);

    auto const hub = openForAll(*pc, rootHub);
    EXPECT_EQ(pc->clock().now(), 20us);

    ask(*hub.file, kernel::IOCTL_USB_GET_NODE_INFORMATION, {}, 76);
    EXPECT_EQ(pc->clock().now(), 70us);
    ask(*hub.file, 0, {}, 0); // a failed one too
    EXPECT_EQ(pc->clock().now(), 120us);
}

TEST_F(Opening, SleepMovesTheClockByItsTimeAndNeverBack) {
    pc->clock().sleep(3h);
    pc->clock().sleep(-1h);
    EXPECT_EQ(pc->clock().now(), 3h);

    pc->clock().sleep(machine::Duration::max());
    EXPECT_EQ(pc->clock().now(), machine::Duration::max());
}

TEST_F(Opening, MachineIsNamedAsDescribed) {
    EXPECT_EQ(pc->name(), "Small PC");
}

} // namespace
