#include "CatalogBuilder.h"

#include "machine/Machine.h"
#include "usbtopo/DeviceNodes.h"
#include "usbtopo/HubQueries.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <utility>

namespace tkit5 {

namespace {

using machine::DeviceNode;
using machine::NodeClass;
using machine::NodeId;
using machine::noNode;

nuv::String text(std::u16string const & units) {
    return nuv::String(std::u16string_view(units));
}
nuv::String text(std::string const & utf8) {
    return nuv::String(utf8);
}

// Devices fill a field of fixed length with blanks, at either end.
nuv::String withoutBlanks(std::u16string_view text) {
    std::size_t const first = text.find_first_not_of(u' ');
    return first == std::u16string_view::npos
               ? nuv::String()
               : nuv::String(text.substr(first, text.find_last_not_of(u' ') + 1 - first));
}

nuv::String firstOf(nuv::String first, nuv::String second) {
    return first.empty() ? second : first;
}

// By which a hub can be opened, of its symbolic name; empty without one.
nuv::String devicePath(nuv::String const & symbolicName) {
    return symbolicName.empty() ? symbolicName : text(usbtopo::devicePath(symbolicName.view()));
}

bool isOnUsb(DeviceNode const & node) {
    return node.nodeClass == NodeClass::Hub || node.nodeClass == NodeClass::UsbDevice ||
           node.nodeClass == NodeClass::UsbComposite;
}

// "0781" out of "USB\VID_0781&PID_5591\...".
std::optional<std::string> vendorOf(DeviceNode const & node) {
    std::string const id = text(node.instanceId).toLower().getUTF8String();
    std::size_t const at = id.find("vid_");
    unsigned vendor = 0;
    if (at == std::string::npos || id.size() < at + 8 ||
        std::from_chars(&id[at + 4], &id[at + 4] + 4, vendor, 16).ptr != &id[at + 4] + 4) {
        return std::nullopt;
    }
    return fmt::format("{:04X}", vendor);
}

bool runsAtHighSpeedOrAbove(usbtopo::CUsbPort const & port) {
    return port.DeviceIsHighSpeed() || port.DeviceIsSuperSpeed() || port.DeviceIsSuperPlusSpeed();
}

// Every host controller that is present, in the order of the tree.
std::vector<NodeId> hostControllers(machine::DeviceTree const & tree) {
    std::vector<NodeId> found;
    std::ranges::copy_if(tree.ofClass(NodeClass::HostController), std::back_inserter(found),
                         [&tree](NodeId node) { return tree[node].present; });
    return found;
}

} // namespace

CatalogBuilder::CatalogBuilder(DeviceCatalog & catalog)
    : catalog_(catalog), tree_(machine::current().devices()), taken_(tree_.size() + 1) {}

void CatalogBuilder::build() {
    addWholeBus();
    catalog_.system_.EnumerateHostControllers();
    auto const & controllers = catalog_.system_.controllers();
    // The bus has a slot for every controller of the tree, in the same order.
    std::vector<NodeId> const nodes = hostControllers(tree_);
    for (std::size_t index = 0; index < nodes.size() || index < controllers.size(); ++index) {
        addController(index < controllers.size() ? controllers[index].get() : nullptr,
                      index < nodes.size() ? nodes[index] : noNode);
    }
}

void CatalogBuilder::addWholeBus() {
    DeviceFacts facts;
    facts.identifier = "USB-PORTS";
    facts.name = "USB ports";
    facts.description = "All USB ports of the PC";
    facts.capabilities = DeviceCapability::USBPorts();
    add(std::move(facts));
}

void CatalogBuilder::addController(usbtopo::CUsbController const * bus, NodeId node) {
    std::size_t const number = catalog_.controllers_.size() + 1;
    DeviceFacts facts;
    facts.place = std::to_string(number);
    facts.capabilities = DeviceCapability::USBController();
    if (bus != nullptr) {
        facts.name = bus->getDisplayName();
    }
    takeNode(facts, node);
    facts.identifier = firstOf(facts.identifier, text(fmt::format("controller {}", number)));
    CatalogDevice const & device = add(std::move(facts));

    CatalogDevice * const rootHub = addRootHub(bus, node, fmt::format("{}-0", number));
    catalog_.controllers_.push_back({.device = &device, .bus = bus, .rootHub = rootHub});
}

CatalogDevice * CatalogBuilder::addRootHub(usbtopo::CUsbController const * bus, NodeId controller, std::string place) {
    NodeId node = tree_[controller].firstChild;
    while (node != noNode && tree_[node].nodeClass != NodeClass::Hub) {
        node = tree_[node].nextSibling;
    }
    bool const isOnBus = bus != nullptr && !bus->rootHub().name().empty();
    if (node == noNode && !isOnBus) {
        return nullptr;
    }
    DeviceFacts facts;
    facts.place = std::move(place);
    facts.capabilities = DeviceCapability::USB() | DeviceCapability::HUB();
    takeNode(facts, node);
    if (isOnBus) {
        facts.identifier = firstOf(facts.identifier, bus->rootHub().name());
        facts.osName = firstOf(facts.osName, devicePath(bus->rootHub().name()));
    }
    facts.identifier = firstOf(facts.identifier, text("root hub " + facts.place));
    CatalogDevice & hub = add(std::move(facts));
    if (bus != nullptr) {
        addPorts(hub, bus->rootHub());
    }
    addUnseen(hub);
    return &hub;
}

void CatalogBuilder::addPorts(CatalogDevice & hub, usbtopo::CUsbHub const & bus) {
    for (std::size_t index = 0; index < bus.ports().size(); ++index) {
        auto const & port = bus.ports()[index];
        if (port && port->connectionInformation().ConnectionStatus != 0) {
            addOnPort(hub, bus, static_cast<std::uint32_t>(index + 1));
        }
    }
}

void CatalogBuilder::addOnPort(CatalogDevice & hub, usbtopo::CUsbHub const & bus, std::uint32_t number) {
    usbtopo::CUsbPort const & port = *bus.ports()[number - 1];
    kernel::USB_NODE_CONNECTION_INFORMATION_EX const & connection = port.connectionInformation();
    NodeId const node = nodeOnPort(hub, port, number);
    bool const isHub = connection.DeviceIsHub != 0 || tree_[node].nodeClass == NodeClass::Hub;

    DeviceFacts facts;
    std::string const & above = hub.facts().place;
    facts.place = above.ends_with("-0") ? fmt::format("{}{}", above.substr(0, above.size() - 1), number)
                                        : fmt::format("{}.{}", above, number);
    facts.connectHub = hub.facts().identifier;
    facts.capabilities = DeviceCapability::USB();
    if (isHub) {
        facts.capabilities = facts.capabilities | DeviceCapability::HUB();
    } else if (runsAtHighSpeedOrAbove(port)) {
        facts.capabilities = facts.capabilities | DeviceCapability::USB2();
    }
    facts.set("ParentPort", number);
    if (auto const & device = port.device()) {
        facts.name = device->getDisplayName();
        facts.set("DeviceVendorID", fmt::format("{:04X}", connection.DeviceDescriptor.idVendor).c_str());
    }
    takeNode(facts, node);
    facts.identifier = firstOf(facts.identifier, port.getDriverKey());
    if (port.childHub()) {
        facts.osName = firstOf(facts.osName, devicePath(port.childHub()->name()));
    }
    facts.identifier = firstOf(facts.identifier, text(fmt::format("port {} of ", number)) + hub.facts().identifier);

    CatalogDevice & device = add(std::move(facts));
    catalog_.onPort_.emplace(&port, &device);
    hub.ownImp_->addChild(device.imp_);
    if (port.childHub()) {
        addPorts(device, *port.childHub());
    }
    if (isHub) {
        addUnseen(device);
    } else {
        addDisks(device);
    }
}

// A device below a hub that no port shows: its port could not be read, or the hub itself.
void CatalogBuilder::addUnseen(CatalogDevice & hub) {
    for (NodeId node = tree_[hub.facts().node].firstChild; node != noNode; node = tree_[node].nextSibling) {
        if (taken_[node] || !isOnUsb(tree_[node]) || !tree_[node].present) {
            continue;
        }
        bool const isHub = tree_[node].nodeClass == NodeClass::Hub;
        DeviceFacts facts;
        facts.connectHub = hub.facts().identifier;
        facts.capabilities = isHub ? DeviceCapability::USB() | DeviceCapability::HUB() : DeviceCapability::USB();
        takeNode(facts, node);
        facts.identifier = firstOf(facts.identifier, text("device behind ") + hub.facts().identifier);
        CatalogDevice & device = add(std::move(facts));
        hub.below_.push_back(&device);
        if (isHub) {
            addUnseen(device);
        } else {
            addDisks(device);
        }
    }
}

void CatalogBuilder::addDisks(CatalogDevice & device) {
    std::vector<NodeId> open{tree_[device.facts().node].firstChild};
    while (!open.empty()) {
        NodeId const node = open.back();
        open.pop_back();
        if (node == noNode) {
            continue;
        }
        open.push_back(tree_[node].nextSibling);
        if (tree_[node].nodeClass == NodeClass::Disk && tree_[node].present && !taken_[node]) {
            addDisk(device, node);
        } else if (!isOnUsb(tree_[node])) {
            open.push_back(tree_[node].firstChild);
        }
    }
}

void CatalogBuilder::addDisk(CatalogDevice & device, NodeId node) {
    DeviceFacts facts;
    facts.place = device.facts().place;
    facts.connectHub = device.facts().connectHub;
    facts.name = firstOf(text(tree_[node].friendlyName), text(tree_[node].description));
    facts.capabilities = DeviceCapability::USBMassStorage();
    takeNode(facts, node);
    facts.identifier = firstOf(facts.identifier, facts.osName);

    machine::DiskFacts const & disk = *tree_.disk(node);
    facts.serialNumber = withoutBlanks(disk.serialNumber);
    for (auto const & [property, holds] :
         {std::pair("IsSystemDrive", disk.isSystemDrive), std::pair("IsApplicationDrive", disk.isApplicationDrive),
          std::pair("IsNUVMUD", disk.isNuvMud), std::pair("HasReadOnlyVolume", disk.hasReadOnlyVolume)}) {
        if (holds) {
            facts.set(property, true);
        }
    }
    if (disk.reportsAtaSecurity) {
        facts.capabilities = facts.capabilities | DeviceCapability::ATA();
        facts.set("SecurityPasswordSupported", disk.securityPasswordSupported);
        facts.set("SecurityPasswordSet", disk.securityPasswordSet);
        facts.set("ATASecurityLocked", disk.ataSecurityLocked);
    }
    device.below_.push_back(&add(std::move(facts)));
}

NodeId CatalogBuilder::nodeOnPort(CatalogDevice const & hub, usbtopo::CUsbPort const & port,
                                  std::uint32_t number) const {
    nuv::String const & driverKey = port.getDriverKey();
    NodeId const node =
        driverKey.empty() ? withoutDriver(hub.facts().node, number) : tree_.findByDriverKey(driverKey.view());
    if (node != noNode || !port.device() || port.device()->getDeviceInstanceID().empty()) {
        return node;
    }
    return tree_.findByInstanceId(port.device()->getDeviceInstanceID().view());
}

// The device on a port of a hub that no driver was found for, so that it has no driver key either.
NodeId CatalogBuilder::withoutDriver(NodeId hub, std::uint32_t port) const {
    NodeId node = tree_[hub].firstChild;
    while (node != noNode && (tree_[node].port != port || !tree_[node].driverKey.empty() || !tree_[node].present)) {
        node = tree_[node].nextSibling;
    }
    return node;
}

// What the device tree knows of the device; what is known already stays.
void CatalogBuilder::takeNode(DeviceFacts & facts, NodeId node) {
    if (node == noNode) {
        return;
    }
    DeviceNode const & known = tree_[node];
    taken_[node] = true;
    facts.node = node;
    facts.identifier = firstOf(text(known.instanceId), text(known.driverKey));
    facts.name = firstOf(facts.name, usbtopo::displayName(known));
    facts.description = text(known.description);
    facts.osName = firstOf(text(known.interfacePath), text(known.instanceId));
    if (!known.instanceId.empty()) {
        facts.set("DeviceInstanceId", text(known.instanceId));
    }
    if (known.nodeClass == NodeClass::UsbComposite) {
        facts.capabilities = facts.capabilities | DeviceCapability::USBComposite();
    }
    bool const hasVendor =
        std::ranges::any_of(facts.properties, [](auto const & property) { return property.first == "DeviceVendorID"; });
    if (auto const vendor = vendorOf(known); vendor && !hasVendor && isOnUsb(known)) {
        facts.set("DeviceVendorID", vendor->c_str());
    }
}

CatalogDevice & CatalogBuilder::add(DeviceFacts facts) {
    catalog_.devices_.push_back(std::make_unique<CatalogDevice>(std::move(facts)));
    return *catalog_.devices_.back();
}

} // namespace tkit5
