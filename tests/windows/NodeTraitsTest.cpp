// Which kind of device a device node is.
#include "machine/windows/NodeTraits.h"

#include <gtest/gtest.h>

namespace {

using machine::NodeClass;
using machine::windows::classify;
using machine::windows::interfacePath;
using machine::windows::isRootNode;
using machine::windows::NodeTraits;

NodeTraits device(std::u16string instanceId, std::vector<std::u16string> ids = {}) {
    NodeTraits traits;
    traits.instanceId = std::move(instanceId);
    traits.ids = std::move(ids);
    return traits;
}

TEST(NodeTraits, RootHasOneName) {
    EXPECT_TRUE(isRootNode(u"HTREE\\ROOT\\0"));
    EXPECT_TRUE(isRootNode(u"htree\\Root\\0"));
    EXPECT_FALSE(isRootNode(u"HTREE\\ROOT\\01"));
    EXPECT_FALSE(isRootNode(u"ROOT\\SYSTEM\\0000"));
    EXPECT_FALSE(isRootNode(u""));
}

TEST(NodeTraits, InterfaceTellsTheKind) {
    NodeTraits traits = device(u"ROOT\\VENDOR\\0000");
    traits.usbDevicePath = u"\\\\?\\device";
    EXPECT_EQ(classify(traits), NodeClass::UsbDevice);
    traits.hubPath = u"\\\\?\\hub";
    EXPECT_EQ(classify(traits), NodeClass::Hub);
    traits.controllerPath = u"\\\\?\\controller";
    EXPECT_EQ(classify(traits), NodeClass::HostController);
    traits.diskPath = u"\\\\?\\disk";
    EXPECT_EQ(classify(traits), NodeClass::Disk);
}

TEST(NodeTraits, PathIsThatOfTheKind) {
    NodeTraits traits;
    traits.usbDevicePath = u"\\\\?\\device";
    traits.hubPath = u"\\\\?\\hub";
    EXPECT_EQ(interfacePath(traits, NodeClass::Hub), u"\\\\?\\hub");
    EXPECT_EQ(interfacePath(traits, NodeClass::UsbComposite), u"\\\\?\\device");
    EXPECT_EQ(interfacePath(traits, NodeClass::HostController), u"");
}

TEST(NodeTraits, DisabledControllerIsKnownByItsIds) {
    EXPECT_EQ(classify(device(u"PCI\\VEN_8086&DEV_A0ED\\3&11583659&0&A0",
                              {u"PCI\\VEN_8086&DEV_A0ED&SUBSYS_00000000", u"PCI\\CC_0C0330"})),
              NodeClass::HostController);
    EXPECT_EQ(classify(device(u"ACPI\\QCOM0304\\0", {u"ACPI\\QCOM0304", u"acpi\\pnp0d15"})), NodeClass::HostController);
    EXPECT_EQ(classify(device(u"PCI\\VEN_8086&DEV_A0E0\\3", {u"PCI\\CC_078000"})), NodeClass::Other);
}

TEST(NodeTraits, DisabledHubIsKnownByItsIds) {
    EXPECT_EQ(classify(device(u"USB\\ROOT_HUB30\\4&1", {u"USB\\ROOT_HUB30&VID8086", u"USB\\ROOT_HUB30"})),
              NodeClass::Hub);
    EXPECT_EQ(
        classify(device(u"USB\\VID_05E3&PID_0610\\5&1", {u"USB\\VID_05E3&PID_0610", u"USB\\Class_09&SubClass_00"})),
        NodeClass::Hub);
}

TEST(NodeTraits, WholeDevicesAreDevicesAndTheirFunctionsAreNot) {
    EXPECT_EQ(classify(device(u"USB\\VID_0781&PID_5591\\4C53", {u"USB\\Class_08"})), NodeClass::UsbDevice);
    EXPECT_EQ(classify(device(u"USB\\VID_046D&PID_C52B\\6&2", {u"USB\\DevClass_00", u"USB\\COMPOSITE"})),
              NodeClass::UsbComposite);
    EXPECT_EQ(classify(device(u"USB\\VID_046D&PID_C52B&MI_00\\7&1", {u"USB\\Class_03"})), NodeClass::Other);
    EXPECT_EQ(classify(device(u"usb\\vid_0000&pid_0002\\5&1")), NodeClass::UsbDevice);
}

TEST(NodeTraits, EverythingElseIsOther) {
    EXPECT_EQ(classify(device(u"HID\\VID_046D&PID_C52B\\8&1")), NodeClass::Other);
    EXPECT_EQ(classify(device(u"USBSTOR\\DISK&VEN_SANDISK\\1")), NodeClass::Other);
    EXPECT_EQ(classify({}), NodeClass::Other);
}

} // namespace
