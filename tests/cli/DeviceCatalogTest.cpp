// Devices as tests are offered them, from described PCs.
#include "tkit5/DeviceCatalog.h"
#include "tkit5/Names.h"

#include "support/Describe.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using namespace tkit5;

class Catalog : public testing::Test {
protected:
    // A PC with one controller and these ports on its root hub of eight.
    DeviceCatalog const & read(std::string const & ports, std::string const & rootHubMore = "",
                               std::string const & controllerMore = "") {
        return readPc(R"({"name": "PC", "controllers": [{"name": "Controller", "instanceId": "PCI\\1", )" +
                      controllerMore + R"("rootHub": {"instanceId": "USB\\ROOT_HUB30\\1", )" + rootHubMore +
                      R"("portCount": 8, "ports": [)" + ports + "]}}]}");
    }

    DeviceCatalog const & readPc(std::string const & json) {
        machine_ = support::describedPc(json);
        inUse_ = std::make_unique<machine::InUse>(*machine_);
        catalog_ = std::make_unique<DeviceCatalog>();
        return *catalog_;
    }

    CatalogDevice const & device(std::string const & identifier) const {
        auto const found = catalog_->find(identifier);
        if (found.empty()) {
            throw std::runtime_error("no device " + identifier);
        }
        return *found.front();
    }

    static std::string property(CatalogDevice const & device, char const * name) {
        DeviceProperty const * const property = device.property(name);
        return property == nullptr ? "(none)" : property->value().valueString().getUTF8Buffer();
    }

    std::vector<std::string> identifiers() const {
        std::vector<std::string> result;
        for (auto const & entry : catalog_->devices()) {
            result.push_back(entry->facts().identifier.getUTF8String());
        }
        return result;
    }

    static std::string capabilities(CatalogDevice const & device) {
        return fmt::format("{}", fmt::join(capabilityNames(device.facts().capabilities), " "));
    }

private:
    std::unique_ptr<machine::Machine> machine_;
    std::unique_ptr<machine::InUse> inUse_;
    std::unique_ptr<DeviceCatalog> catalog_;
};

std::string port(int number, std::string const & what, std::string const & speed = "high") {
    return fmt::format(R"({{"port": {}, "protocols": ["1.1", "2.0"], "speed": "{}", {}}})", number, speed, what);
}

std::string usbDevice(std::string const & id, std::string const & more = "") {
    return fmt::format(R"("device": {{"instanceId": "{}", "vendorId": "0781"{}}})", id, more);
}

std::string const stick = usbDevice("USB\\\\STICK", R"(, "product": "Stick",
    "disk": {"instanceId": "USBSTOR\\DISK", "name": "Stick Disk"})");

TEST_F(Catalog, PcWithoutControllersHasItsPortsAsOneDevice) {
    auto const & catalog = readPc(R"({"name": "PC", "controllers": []})");
    EXPECT_EQ(identifiers(), std::vector<std::string>{"USB-PORTS"});
    EXPECT_EQ(capabilities(*catalog.devices().front()), "USBPorts");
    EXPECT_EQ(catalog.devices().front()->name().getUTF8String(), "USB ports");
}

TEST_F(Catalog, OrderIsThatOfTheTreeWithDisksBehindTheirDevices) {
    read(port(2, stick) + "," +
         port(4, R"("hub": {"instanceId": "USB\\HUB", "portCount": 2, "ports": [)" + port(2, usbDevice("USB\\\\DEEP")) +
                     "]}") +
         "," + port(5, usbDevice("USB\\\\LAST")));
    EXPECT_EQ(identifiers(), (std::vector<std::string>{"USB-PORTS", "PCI\\1", "USB\\ROOT_HUB30\\1", "USB\\STICK",
                                                       "USBSTOR\\DISK", "USB\\HUB", "USB\\DEEP", "USB\\LAST"}));
}

TEST_F(Catalog, CapabilitiesFollowWhatADeviceIsAndHowFastItRuns) {
    read(port(1, usbDevice("USB\\\\LOW"), "low") + "," + port(2, stick) + "," +
         port(3, R"("hub": {"instanceId": "USB\\HUB", "portCount": 1})") + "," +
         port(4, usbDevice("USB\\\\PARTS", R"(, "composite": true)"), "full") + "," +
         port(5, usbDevice("USB\\\\SUPER"), "super"));
    EXPECT_EQ(capabilities(device("PCI\\1")), "USBController");
    EXPECT_EQ(capabilities(device("USB\\ROOT_HUB30\\1")), "USB HUB");
    EXPECT_EQ(capabilities(device("USB\\HUB")), "USB HUB");
    EXPECT_EQ(capabilities(device("USB\\LOW")), "USB");
    EXPECT_EQ(capabilities(device("USB\\STICK")), "USB USB2");
    EXPECT_EQ(capabilities(device("USB\\SUPER")), "USB USB2");
    EXPECT_EQ(capabilities(device("USB\\PARTS")), "USB USBComposite");
    EXPECT_EQ(capabilities(device("USBSTOR\\DISK")), "USBMassStorage");
}

TEST_F(Catalog, OnlyWhatIsOnAHubPortHasAParentPort) {
    read(port(2, stick));
    EXPECT_EQ(property(device("USB\\STICK"), "ParentPort"), "2");
    EXPECT_EQ(device("USB\\STICK").property("ParentPort")->value().valueUint32(), 2U);
    EXPECT_EQ(property(device("PCI\\1"), "ParentPort"), "(none)");
    EXPECT_EQ(property(device("USB\\ROOT_HUB30\\1"), "ParentPort"), "(none)");
    EXPECT_EQ(property(device("USB-PORTS"), "ParentPort"), "(none)");
}

// Neither the hub nor the device tree has a driver key for it.
TEST_F(Catalog, DeviceWithoutDriverIsFoundByItsPort) {
    read(port(2, usbDevice("USB\\\\FIRST", R"(, "driverKey": "")")) + "," +
         port(3, usbDevice("USB\\\\NEW", R"(, "driverKey": "", "product": "Gadget", "problemCode": 28)")));
    EXPECT_EQ(identifiers(),
              (std::vector<std::string>{"USB-PORTS", "PCI\\1", "USB\\ROOT_HUB30\\1", "USB\\FIRST", "USB\\NEW"}));
    EXPECT_EQ(device("USB\\NEW").name().getUTF8String(), "Gadget");
    EXPECT_EQ(property(device("USB\\NEW"), "ParentPort"), "3");
    EXPECT_EQ(property(device("USB\\FIRST"), "ParentPort"), "2");
}

// A hub that tells no driver key of a device that has one: the device may be another one than the tree knows.
TEST_F(Catalog, DeviceWithDriverIsNotTakenForTheOneOnAPort) {
    read(port(3, usbDevice("USB\\\\OLD")), R"("faults": [{"query": "driverKey", "error": 31}], )");
    EXPECT_EQ(property(device("USB\\OLD"), "ParentPort"), "(none)");
    EXPECT_EQ(property(device("port 3 of USB\\ROOT_HUB30\\1"), "ParentPort"), "3");
}

TEST_F(Catalog, VendorIsFourHexDigitsOfTheDescriptor) {
    read(port(1, R"("device": {"instanceId": "USB\\A", "vendorId": "05e3"})"));
    EXPECT_EQ(property(device("USB\\A"), "DeviceVendorID"), "05E3");
}

TEST_F(Catalog, VendorIsReadFromTheInstanceIdWhereThereIsNoDescriptor) {
    read(port(1, R"("device": {"instanceId": "USB\\VID_2034&PID_0002\\5", "descriptor": false})"));
    EXPECT_EQ(property(device("USB\\VID_2034&PID_0002\\5"), "DeviceVendorID"), "2034");
}

TEST_F(Catalog, ImpNamesItselfItsHubAndTheHubsChildrenInPortOrder) {
    read(port(3, R"("hub": {"instanceId": "USB\\HUB", "portCount": 4, "ports": [)" + port(1, usbDevice("USB\\\\A")) +
                     "," + port(4, usbDevice("USB\\\\B")) + "]}"));
    IDeviceImp const & hub = device("USB\\HUB").imp();
    auto const children = hub.children();
    ASSERT_EQ(children.size(), 2U);
    EXPECT_EQ(children[0]->identifier().getUTF8String(), "USB\\A");
    EXPECT_EQ(children[1]->identifier().getUTF8String(), "USB\\B");
    EXPECT_EQ(children[0]->connectHubIdentifier(), hub.identifier());
    EXPECT_EQ(children[0]->osName(), device("USB\\A").osLocator());
    EXPECT_EQ(hub.connectHubIdentifier().getUTF8String(), "USB\\ROOT_HUB30\\1");
    EXPECT_TRUE(device("PCI\\1").imp().connectHubIdentifier().empty());
}

TEST_F(Catalog, DiskIsKnownByItsInstanceIdAndItsDriveNumber) {
    read(port(2,
              usbDevice("USB\\\\STICK", R"(, "disk": {"instanceId": "USBSTOR\\DISK", "name": "Model", "number": 3})")));
    CatalogDevice const & disk = device("USBSTOR\\DISK");
    EXPECT_EQ(disk.hwLocator().getUTF8String(), "USBSTOR\\DISK");
    EXPECT_EQ(property(disk, "DeviceInstanceId"), "USBSTOR\\DISK");
    EXPECT_EQ(disk.osLocator().getUTF8String(), "\\\\.\\PhysicalDrive3");
    EXPECT_EQ(disk.name().getUTF8String(), "Model");
    EXPECT_EQ(property(disk, "IsSystemDrive"), "(none)");
    EXPECT_EQ(property(disk, "HasReadOnlyVolume"), "(none)");
}

TEST_F(Catalog, DiskCarriesWhatItsDescriptionSays) {
    read(port(2, usbDevice("USB\\\\STICK", R"(, "disk": {"instanceId": "USBSTOR\\DISK", "system": true,
        "application": true, "nuvMud": true, "readOnlyVolume": true,
        "ataSecurity": {"supported": true, "passwordSet": false, "locked": true}})")));
    CatalogDevice const & disk = device("USBSTOR\\DISK");
    EXPECT_EQ(capabilities(disk), "USBMassStorage ATA");
    for (char const * name : {"IsSystemDrive", "IsApplicationDrive", "IsNUVMUD", "HasReadOnlyVolume",
                              "SecurityPasswordSupported", "ATASecurityLocked"}) {
        ASSERT_NE(disk.property(name), nullptr) << name;
        EXPECT_TRUE(disk.property(name)->value().valueBool()) << name;
    }
    ASSERT_NE(disk.property("SecurityPasswordSet"), nullptr);
    EXPECT_FALSE(disk.property("SecurityPasswordSet")->value().valueBool());
}

TEST_F(Catalog, FailedDeviceIsFoundByTheDriverKeyThatItsHubKnows) {
    read(R"({"port": 1, "protocols": ["1.1", "2.0"], "status": "DeviceFailedEnumeration", "speed": "full",
        "device": {"instanceId": "USB\\FAILED", "descriptor": false, "problemCode": 43}})");
    EXPECT_EQ(property(device("USB\\FAILED"), "ParentPort"), "1");
    EXPECT_EQ(property(device("USB\\FAILED"), "DeviceInstanceId"), "USB\\FAILED");
}

TEST_F(Catalog, DeviceWithoutANodeGoesByItsPort) {
    read(R"({"port": 2, "protocols": ["2.0"], "status": "DeviceCausedOvercurrent"})");
    CatalogDevice const & unknown = device("port 2 of USB\\ROOT_HUB30\\1");
    EXPECT_EQ(property(unknown, "ParentPort"), "2");
    EXPECT_EQ(property(unknown, "DeviceInstanceId"), "(none)");
    EXPECT_EQ(unknown.imp().connectHubIdentifier().getUTF8String(), "USB\\ROOT_HUB30\\1");
}

TEST_F(Catalog, DeviceBehindAPortThatCannotBeReadIsKnownToTheSystemOnly) {
    read(port(2, stick), R"("faults": [{"query": "connection", "port": 2, "error": 31}], )");
    EXPECT_EQ(property(device("USB\\STICK"), "ParentPort"), "(none)");
    EXPECT_EQ(capabilities(device("USB\\STICK")), "USB");
    EXPECT_EQ(capabilities(device("USBSTOR\\DISK")), "USBMassStorage");
    ASSERT_EQ(device("USB\\ROOT_HUB30\\1").below().size(), 1U);
    EXPECT_EQ(device("USB\\ROOT_HUB30\\1").imp().children().size(), 0U);
}

TEST_F(Catalog, ControllerThatCannotBeOpenedStillHasItsDevices) {
    read(port(2, stick), "", R"("openError": 5, )");
    EXPECT_EQ(identifiers(),
              (std::vector<std::string>{"USB-PORTS", "PCI\\1", "USB\\ROOT_HUB30\\1", "USB\\STICK", "USBSTOR\\DISK"}));
}

TEST_F(Catalog, DisabledControllerIsADevice) {
    auto const & catalog = read(port(2, stick), "", R"("disabled": true, )");
    ASSERT_EQ(catalog.controllers().size(), 1U);
    EXPECT_EQ(catalog.controllers().front().bus, nullptr);
    EXPECT_EQ(capabilities(device("PCI\\1")), "USBController");
}

TEST_F(Catalog, ControllerThatTheSystemCannotNameGoesByItsNumber) {
    readPc(R"({"name": "PC", "controllers": [{"instanceId": "", "driverKey": "", "rootHub": {"portCount": 1}}]})");
    EXPECT_EQ(device("controller 1").facts().place, "1");
    EXPECT_EQ(property(device("controller 1"), "DeviceInstanceId"), "(none)");
}

TEST_F(Catalog, DeviceWhoseIdentifierRepeatsIsListedEachTime) {
    auto const & catalog = read(port(1, usbDevice("USB\\\\TWIN")) + "," + port(2, usbDevice("USB\\\\TWIN")));
    auto const twins = catalog.find("USB\\TWIN");
    ASSERT_EQ(twins.size(), 2U);
    EXPECT_EQ(property(*twins[0], "ParentPort"), "1");
    EXPECT_EQ(property(*twins[1], "ParentPort"), "2");
}

TEST_F(Catalog, DeviceIsFoundInAnyLetterCaseAndByItsOsLocator) {
    auto const & catalog = read(port(2, stick));
    EXPECT_EQ(catalog.find("usb\\stick").size(), 1U);
    EXPECT_EQ(catalog.find("\\\\.\\physicaldrive1").size(), 1U);
    EXPECT_TRUE(catalog.find("").empty());
    EXPECT_TRUE(catalog.find("USB\\STIC").empty());
}

TEST_F(Catalog, PlaceTellsControllerAndPorts) {
    read(port(3, R"("hub": {"instanceId": "USB\\HUB", "portCount": 4, "ports": [)" + port(2, stick) + "]}"));
    EXPECT_EQ(device("PCI\\1").facts().place, "1");
    EXPECT_EQ(device("USB\\ROOT_HUB30\\1").facts().place, "1-0");
    EXPECT_EQ(device("USB\\HUB").facts().place, "1-3");
    EXPECT_EQ(device("USB\\STICK").facts().place, "1-3.2");
    EXPECT_EQ(device("USBSTOR\\DISK").facts().place, "1-3.2");
}

} // namespace
