#include "Topology.h"

#include "kernel/UsbRecords.h"
#include "machine/Machine.h"

#include <fmt/format.h>

#include <array>
#include <utility>

namespace tkit5 {

namespace {

struct Status {
    char const * name;
    char const * fault; // for people; empty where nothing is wrong
};

// By USB_CONNECTION_STATUS.
constexpr std::array<Status, 11> statuses = {{
    {"NoDeviceConnected", ""},
    {"DeviceConnected", ""},
    {"DeviceFailedEnumeration", "the device failed to enumerate"},
    {"DeviceGeneralFailure", "the device failed"},
    {"DeviceCausedOvercurrent", "overcurrent"},
    {"DeviceNotEnoughPower", "not enough power for the device"},
    {"DeviceNotEnoughBandwidth", "not enough bandwidth for the device"},
    {"DeviceHubNestedTooDeeply", "hubs are nested too deeply"},
    {"DeviceInLegacyHub", "the device does not work on this old hub"},
    {"DeviceEnumerating", "the device is still enumerating"},
    {"DeviceReset", "the device is being reset"},
}};

std::string problemText(std::uint32_t problem) {
    return problem == machine::problemDisabled ? "is disabled" : fmt::format("has problem code {}", problem);
}

std::string versionText(float version) {
    return version == 0.0F ? "" : fmt::format("{:.1f}", version);
}

std::string nodeName(machine::DeviceNode const & node) {
    for (std::u16string const * name : {&node.friendlyName, &node.description, &node.instanceId}) {
        if (!name->empty()) {
            return nuv::String(std::u16string_view(*name)).getUTF8String();
        }
    }
    return "a device node";
}

// Problem codes of the device's own node and, for everything but hubs, of the nodes below it. What hangs on a hub is
// shown at its port.
std::vector<std::string> problemsOf(CatalogDevice const & device) {
    machine::DeviceTree const & tree = machine::current().devices();
    machine::NodeId const own = device.facts().node;
    std::vector<std::string> problems;
    if (tree[own].problem != 0) {
        problems.push_back("it " + problemText(tree[own].problem));
    }
    bool const hasPorts =
        device.hasCapability(DeviceCapability::HUB()) || device.hasCapability(DeviceCapability::USBController());
    std::vector<machine::NodeId> open{hasPorts ? machine::noNode : tree[own].firstChild};
    while (!open.empty()) {
        machine::NodeId const node = open.back();
        open.pop_back();
        if (node == machine::noNode) {
            continue;
        }
        if (tree[node].problem != 0) {
            problems.push_back(fmt::format("its {} {}", nodeName(tree[node]), problemText(tree[node].problem)));
        }
        open.push_back(tree[node].nextSibling);
        open.push_back(tree[node].firstChild);
    }
    return problems;
}

std::unique_ptr<HubView> hubView(DeviceCatalog const & catalog, CatalogDevice const & device,
                                 usbtopo::CUsbHub const * bus);

PortView portView(DeviceCatalog const & catalog, std::uint32_t number,
                  nuv::SharedResourceManager<usbtopo::CUsbPort> const & port) {
    PortView view;
    view.number = number;
    if (!port) {
        view.faults.emplace_back("this port could not be read");
        return view;
    }
    kernel::USB_NODE_CONNECTION_INFORMATION_EX const & connection = port->connectionInformation();
    view.wasRead = true;
    view.status = connection.ConnectionStatus;
    view.speedIsKnown = static_cast<bool>(port->device());
    view.speed = connection.Speed;
    view.version = view.speedIsKnown ? versionText(port->getUSBVersion()) : "";
    view.maximum = versionText(port->getMaxUSBVersion());
    view.onBus = port.get();
    view.device = catalog.onPort(*port);
    if (view.status >= statuses.size()) {
        view.faults.push_back(fmt::format("unknown connection status {}", view.status));
    } else if (*statuses[view.status].fault != '\0') {
        view.faults.emplace_back(statuses[view.status].fault);
    }
    if (view.device == nullptr) {
        return view;
    }
    std::vector<std::string> problems = problemsOf(*view.device);
    std::move(problems.begin(), problems.end(), std::back_inserter(view.faults));
    if (view.device->hasCapability(DeviceCapability::HUB())) {
        view.hub = hubView(catalog, *view.device, port->childHub().get());
    }
    return view;
}

std::unique_ptr<HubView> hubView(DeviceCatalog const & catalog, CatalogDevice const & device,
                                 usbtopo::CUsbHub const * bus) {
    auto view = std::make_unique<HubView>();
    view->device = &device;
    if (bus == nullptr || bus->ports().empty()) {
        view->faults.emplace_back("this hub could not be read");
        return view;
    }
    view->ports.reserve(bus->ports().size());
    for (std::size_t index = 0; index < bus->ports().size(); ++index) {
        view->ports.push_back(portView(catalog, static_cast<std::uint32_t>(index + 1), bus->ports()[index]));
    }
    return view;
}

} // namespace

std::vector<ControllerView> readTopology(DeviceCatalog const & catalog) {
    std::vector<ControllerView> views;
    for (DeviceCatalog::Controller const & controller : catalog.controllers()) {
        ControllerView view;
        view.number = views.size() + 1;
        view.device = controller.device;
        view.faults = problemsOf(*controller.device);
        if (controller.bus != nullptr) {
            view.version = versionText(controller.bus->getUSBVersion());
        }
        if (controller.rootHub != nullptr) {
            usbtopo::CUsbHub const * const bus = controller.bus == nullptr ? nullptr : &controller.bus->rootHub();
            view.rootHub = hubView(catalog, *controller.rootHub, bus);
            std::vector<std::string> problems = problemsOf(*controller.rootHub);
            std::move(problems.begin(), problems.end(), std::back_inserter(view.rootHub->faults));
        } else if (controller.bus != nullptr) {
            view.faults.emplace_back("its root hub could not be read");
        }
        views.push_back(std::move(view));
    }
    return views;
}

char const * speedName(std::uint8_t speed) {
    constexpr std::array names = {"low", "full", "high", "super", "superPlus"};
    return speed < names.size() ? names[speed] : "";
}

char const * statusName(std::uint32_t status) {
    return status < statuses.size() ? statuses[status].name : "";
}

} // namespace tkit5
