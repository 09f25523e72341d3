#include "TopologyReader.h"

#include "machine/Text.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <optional>

namespace usbtopo {

namespace {

// USB allows five external hubs in a row; whoever reports more than this, root hub included, is not telling the truth.
constexpr unsigned mostHubsInARow = 32;

bool isOccupied(kernel::USB_NODE_CONNECTION_INFORMATION_EX const & connection) {
    return connection.ConnectionStatus != static_cast<std::uint32_t>(kernel::USB_CONNECTION_STATUS::NoDeviceConnected);
}

nuv::String textOf(std::u16string const & text) {
    return nuv::String(std::u16string_view(text));
}

} // namespace

TopologyReader::TopologyReader() : machine_(machine::current()), nodes_(machine_.devices()) {}

CUsbSystem::Controllers TopologyReader::readControllers() {
    CUsbSystem::Controllers controllers;
    machine::DeviceTree const & tree = machine_.devices();
    for (machine::NodeId const id : tree.ofClass(machine::NodeClass::HostController)) {
        machine::DeviceNode const & node = tree[id];
        if (node.present) {
            bool const isDisabled = node.problem == machine::problemDisabled;
            controllers.append(nuv::SharedResourceManager<CUsbController>(isDisabled ? nullptr : readController(node)));
        }
    }
    setMaximumVersions();
    for (auto const & controller : controllers) {
        if (!controller) {
            continue;
        }
        for (auto const & port : controller->rootHub().ports()) {
            if (port) {
                controller->version_ = std::max(controller->version_, port->maximumVersion_);
            }
        }
    }
    return controllers;
}

void TopologyReader::readHub(CUsbHub & hub, nuv::String const & name) {
    hub.name_ = name;
    readHubs(hub, std::u16string(name.view()));
    setMaximumVersions();
}

CUsbController * TopologyReader::readController(machine::DeviceNode const & node) {
    auto controller = std::make_unique<CUsbController>();
    controller->displayName_ = textOf(node.friendlyName.empty() ? node.description : node.friendlyName);
    controller->deviceInstanceId_ = textOf(node.instanceId);
    controller->rootHub_ = nuv::SharedResourceManager<CUsbHub>(new CUsbHub());

    std::optional<std::u16string> name;
    if (QueriedDevice const device(node.interfacePath); device.isOpen()) {
        name = device.rootHubName();
    }
    if (name && !name->empty()) {
        controller->rootHub_->name_ = textOf(*name);
        readHubs(*controller->rootHub_, *name);
    }
    return controller.release();
}

// Hub after hub, each before those below it, with a list instead of recursion, so that only one hub is open at a time.
// A hub is read once: names that lead back to it, or to it from many ports, would otherwise never end.
void TopologyReader::readHubs(CUsbHub & top, std::u16string topName) {
    std::vector<FoundHub> found; // the next one last
    found.push_back({nullptr, std::move(topName), 0});
    while (!found.empty()) {
        FoundHub const next = std::move(found.back());
        found.pop_back();
        if (next.name.empty() || next.depth >= mostHubsInARow || !connectors_.beginHub(next.name)) {
            continue;
        }
        std::u16string const path = devicePath(next.name);
        QueriedDevice const device(path);
        if (!device.isOpen()) {
            continue;
        }
        CUsbHub * hub = &top;
        if (next.port != nullptr) {
            next.port->childHub_ = nuv::SharedResourceManager<CUsbHub>(new CUsbHub());
            hub = next.port->childHub_.get();
            hub->name_ = textOf(next.name);
        }
        std::vector<FoundHub> below = readPorts(*hub, device, path, next.depth + 1);
        std::move(below.rbegin(), below.rend(), std::back_inserter(found));
    }
}

std::vector<TopologyReader::FoundHub> TopologyReader::readPorts(CUsbHub & hub, QueriedDevice const & device,
                                                                std::u16string_view path, unsigned depthBelow) {
    std::vector<FoundHub> below;
    std::uint32_t const count = device.portCount().value_or(0);
    hub.ports_.reserve(count);
    for (std::uint32_t number = 1; number <= count; ++number) {
        PortAbilities abilities;
        abilities.superSpeedPlus = machine_.portDoesSuperSpeedPlus(path, number);
        nuv::SharedResourceManager<CUsbPort> const slot(readPort(device, number, abilities));
        if (abilities.companionHub == machine::withoutDevicePrefix(path)) {
            abilities.companionHub.clear(); // this hub, as nearly always: no need to look it up by name
        }
        std::size_t const index = connectors_.addPort(std::move(abilities));
        hub.ports_.append(slot);
        if (!slot) {
            continue;
        }
        ports_.emplace_back(slot.get(), index);
        if (isOccupied(slot->connection_) && slot->connection_.DeviceIsHub != 0) {
            below.push_back({slot.get(), device.hubName(number).value_or(std::u16string()), depthBelow});
        }
    }
    return below;
}

CUsbPort * TopologyReader::readPort(QueriedDevice const & device, std::uint32_t number, PortAbilities & abilities) {
    auto const connection = device.connection(number);
    if (!connection) {
        return nullptr;
    }
    auto port = std::make_unique<CUsbPort>();
    port->connection_ = *connection;
    std::uint8_t & speed = port->connection_.Speed;
    bool const occupied = isOccupied(*connection);

    if (auto const v2 = device.connectionV2(number)) {
        abilities.protocols = v2->SupportedUsbProtocols;
        if (occupied && (v2->Flags & kernel::DeviceIsOperatingAtSuperSpeedPlusOrHigher) != 0) {
            speed = kernel::UsbSuperSpeedPlus;
        } else if (occupied && (v2->Flags & kernel::DeviceIsOperatingAtSuperSpeedOrHigher) != 0) {
            speed = kernel::UsbSuperSpeed;
        }
    }
    if (auto companion = device.connector(number)) {
        port->companionPort_ = companion->port;
        port->companionHub_ = textOf(companion->hubName);
        abilities.companionPort = companion->port;
        abilities.companionHub = std::move(companion->hubName);
    }
    if (occupied) {
        port->driverKey_ = textOf(device.driverKey(number).value_or(std::u16string()));
        port->currentVersion_ = versionOfSpeed(speed);
        abilities.superSpeedPlus = abilities.superSpeedPlus || speed == kernel::UsbSuperSpeedPlus;
    }
    if (connection->DeviceDescriptor.bLength != 0) {
        port->device_ = nuv::SharedResourceManager<CUsbDevice>(readDevice(port->driverKey_));
    }
    return port.release();
}

CUsbDevice * TopologyReader::readDevice(nuv::String const & driverKey) {
    auto found = std::make_unique<CUsbDevice>();
    machine::NodeId const node = nodes_.find(driverKey.view());
    found->displayName_ = displayName(nodes_[node]);
    found->deviceInstanceId_ = textOf(nodes_[node].instanceId);
    found->childHasProblem_ = nodes_.hasProblem(node);
    return found.release();
}

void TopologyReader::setMaximumVersions() {
    for (auto const & [port, index] : ports_) {
        port->maximumVersion_ = connectors_.highestVersion(index);
    }
}

} // namespace usbtopo
