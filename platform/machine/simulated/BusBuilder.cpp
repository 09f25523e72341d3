#include "BusBuilder.h"

#include "Counters.h"
#include "Names.h"
#include "PortRecords.h"
#include "machine/Text.h"

#include <algorithm>
#include <utility>

namespace machine::simulated {

namespace {

std::u16string asPath(std::u16string_view symbolicName) {
    return u"\\\\?\\" + std::u16string(symbolicName);
}

// A device with two functions or more has a node for each, whose instance ID names the interface.
bool looksComposite(std::vector<Node> const & nodes) {
    return std::ranges::count_if(nodes, [](Node const & node) {
               return foldedCase(node.facts.instanceId).find(u"&MI_") != std::u16string::npos;
           }) >= 2;
}

class Builder {
public:
    explicit Builder(Description const & description) : measured_(description.measured), counters_(description) {}

    void addController(Controller & controller, std::uint32_t number) {
        std::u16string path = controller.interfacePath.value_or(controllerPath(controller.facts.instanceId));
        DeviceNode node = nodeOf(controller.facts, NodeClass::HostController);
        node.driverKey = keyOf(controller.facts);
        node.interfacePath = path;
        node.listed = controller.listed;
        NodeId const id = bus_.tree.add(bus_.tree.root(), std::move(node));

        auto const index = static_cast<std::uint32_t>(bus_.controllers.size());
        openable(path, {.kind = Openable::Kind::Controller, .index = index, .openError = controller.openError});
        nextAddress_ = 1;
        std::uint32_t const rootHub = addRootHub(controller.rootHub, id, number);
        bus_.controllers.push_back({id, rootHub, FaultSchedule(std::move(controller.faults))});
    }

    Bus finish() && { return std::move(bus_); }

private:
    std::uint32_t addRootHub(RootHub & rootHub, NodeId controller, std::uint32_t controllerNumber) {
        rootHub.facts.instanceId = rootHub.instanceId.value_or(rootHubInstanceId(controllerNumber));
        std::u16string name = rootHub.hub.symbolicName.value_or(hubName(rootHub.facts.instanceId));
        DeviceNode node = nodeOf(rootHub.facts, NodeClass::Hub);
        node.driverKey = keyOf(rootHub.facts);
        node.interfacePath = asPath(name);
        NodeId const id = bus_.tree.add(controller, std::move(node));
        return addHub(rootHub.hub, id, std::move(name));
    }

    std::uint32_t addHub(Hub & hub, NodeId node, std::u16string name) {
        auto const index = static_cast<std::uint32_t>(bus_.hubs.size());
        openable(name, {.kind = Openable::Kind::Hub, .index = index, .openError = hub.openError});

        // The hubs below come behind this one, so its state is put in place first and filled port by port.
        bus_.hubs.push_back({std::move(name), hubInformation(hub), emptyPorts(hub), //
                             FaultSchedule(std::move(hub.faults))});
        for (Port & port : hub.ports) {
            PortState state = describedPort(port);
            if (!port.companionHub.empty()) {
                bus_.companionHubs.push_back(std::move(port.companionHub));
                state.companionHub = static_cast<std::uint32_t>(bus_.companionHubs.size());
            }
            if (port.device != nullptr) {
                addDevice(*port.device, node, port.number, state);
            }
            bus_.hubs[index].ports[port.number - 1] = state;
        }
        return index;
    }

    void addDevice(Device & device, NodeId parentHub, std::uint32_t number, PortState & port) {
        if (port.connection.ConnectionStatus != 0) {
            port.connection.DeviceAddress = device.address.value_or(nextAddress_);
        }
        ++nextAddress_;
        bool const isHub = device.hub != nullptr;
        std::u16string name;
        if (isHub) {
            name = device.hub->symbolicName.value_or(hubName(device.facts.instanceId));
        }
        NodeClass const kind = isHub                                                     ? NodeClass::Hub
                               : device.composite.value_or(looksComposite(device.nodes)) ? NodeClass::UsbComposite
                                                                                         : NodeClass::UsbDevice;
        DeviceNode node = nodeOf(device.facts, kind);
        node.driverKey = keyOf(device.facts);
        node.port = number;
        node.busReportedDescription = std::move(device.product);
        node.interfacePath =
            device.interfacePath ? *device.interfacePath : (isHub ? asPath(name) : devicePath(node.instanceId));
        std::u16string const path = node.interfacePath;
        port.device = bus_.tree.add(parentHub, std::move(node));

        if (device.disk) {
            addDisk(*device.disk, device.serialNumber, port.device);
        }
        addNodes(device.nodes, port.device);
        if (isHub) {
            std::uint32_t const index = addHub(*device.hub, port.device, std::move(name));
            port.childHub = index + 1;
            alsoOpenable(path, bus_.hubs[index].name);
        } else {
            openable(path, {});
        }
    }

    void addDisk(Disk & disk, std::u16string const & deviceSerialNumber, NodeId parent) {
        DiskFacts facts = std::move(disk.facts);
        facts.number = disk.number ? *disk.number : counters_.nextDiskNumber();
        facts.inMemory = disk.store == nullptr;
        if (!disk.serialNumber) {
            disk.serialNumber = deviceSerialNumber;
        }
        facts.serialNumber = *disk.serialNumber;
        facts.product = disk.name;

        DeviceNode node;
        node.instanceId = std::move(disk.instanceId);
        node.driverKey = counters_.nextDiskKey();
        node.friendlyName = disk.name;
        node.description = u"Disk drive";
        node.interfacePath = diskPath(facts.number);
        node.hidden = disk.hidden;
        auto const index = static_cast<std::uint32_t>(bus_.disks.size());
        openable(node.interfacePath, {.kind = Openable::Kind::Disk, .index = index, .openError = disk.openError});
        auto state = std::make_shared<DiskState>(std::move(disk), facts.number, measured_);
        bus_.tree.addDisk(parent, std::move(node), std::move(facts));
        addVolumes(*state, index);
        bus_.disks.push_back(std::move(state));
    }

    void addVolumes(DiskState & disk, std::uint32_t index) {
        std::uint32_t number = 0;
        for (VolumeState & volume : disk.volumes) {
            volume.path = volume.described.name.value_or(volumePath(disk.number(), number));
            openable(volume.path, {.kind = Openable::Kind::Volume, .index = index, .volume = number, .openError = {}});
            if (volume.described.readyBoost) {
                openable(volume.path + u"\\ReadyBoost.sfcache",
                         {.kind = Openable::Kind::VolumeFile, .index = index, .volume = number, .openError = {}});
            }
            ++number;
        }
    }

    void addNodes(std::vector<Node> & nodes, NodeId parent) {
        for (Node & below : nodes) {
            DeviceNode node = nodeOf(below.facts, NodeClass::Other);
            node.driverKey = std::move(below.facts.driverKey).value_or(std::u16string());
            addNodes(below.nodes, bus_.tree.add(parent, std::move(node)));
        }
    }

    static DeviceNode nodeOf(NodeFacts & facts, NodeClass nodeClass) {
        DeviceNode node;
        node.instanceId = std::move(facts.instanceId);
        node.friendlyName = std::move(facts.name);
        node.description = std::move(facts.description);
        node.nodeClass = nodeClass;
        node.hidden = facts.hidden;
        node.problem = facts.problem;
        return node;
    }

    std::u16string keyOf(NodeFacts & facts) {
        return facts.driverKey ? std::move(*facts.driverKey) : counters_.nextUsbKey();
    }

    // Where two devices have the same path, the first one is opened by it.
    void openable(std::u16string_view path, Openable target) {
        if (path.empty()) {
            return;
        }
        auto const index = static_cast<std::uint32_t>(bus_.openables.size());
        if (bus_.byPath.try_emplace(pathKey(path), index).second) {
            bus_.openables.push_back(target);
        }
    }

    // A second path to the same thing, under one share mode.
    void alsoOpenable(std::u16string_view path, std::u16string_view known) {
        auto const found = bus_.byPath.find(pathKey(known));
        if (!path.empty() && found != bus_.byPath.end()) {
            bus_.byPath.try_emplace(pathKey(path), std::uint32_t{found->second});
        }
    }

    Bus bus_;
    bool measured_;
    Counters counters_;
    std::uint16_t nextAddress_ = 1;
};

} // namespace

Bus buildBus(Description description) {
    Builder builder(description);
    std::uint32_t number = 0;
    for (Controller & controller : description.controllers) {
        builder.addController(controller, ++number);
    }
    return std::move(builder).finish();
}

} // namespace machine::simulated
