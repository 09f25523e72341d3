#include "GeneratedPc.h"

#include "kernel.h"

#include <algorithm>
#include <memory>
#include <string>

namespace bench {

namespace {

using namespace machine::simulated;

constexpr std::uint32_t portsOfAHub = 4;
constexpr int hubsInAChain = 5;
constexpr std::size_t devicesInAChain = (portsOfAHub - 1) * (hubsInAChain - 1) + portsOfAHub;
constexpr std::uint32_t chainsOfAController = 64;

std::u16string numbered(char16_t const * head, std::size_t number) {
    std::string const digits = std::to_string(number);
    return head + std::u16string(digits.begin(), digits.end());
}

class Generator {
public:
    Port devicePort(std::uint32_t number) {
        Port port = occupied(number);
        port.device->product = numbered(u"Device ", devices_);
        port.device->nodes.emplace_back();
        port.device->nodes.back().facts.instanceId = numbered(u"USB\\FUNCTION\\", devices_++);
        return port;
    }

    // A hub with three devices and another such hub; the last one has four devices.
    Port chain(std::uint32_t number, int depth) {
        Port port = occupied(number);
        port.device->hub = std::make_unique<Hub>();
        Hub & hub = *port.device->hub;
        hub.portCount = portsOfAHub;
        for (std::uint32_t child = 1; child < portsOfAHub; ++child) {
            hub.ports.push_back(devicePort(child));
        }
        hub.ports.push_back(depth == hubsInAChain ? devicePort(portsOfAHub) : chain(portsOfAHub, depth + 1));
        return port;
    }

    Controller controller(std::size_t number, std::size_t chains) {
        Controller result;
        result.facts.instanceId = numbered(u"PCI\\VEN_1234&DEV_5678\\", number);
        result.facts.name = numbered(u"Controller ", number);
        result.rootHub.hub.portCount = chainsOfAController;
        for (std::uint32_t port = 1; port <= chains; ++port) {
            result.rootHub.hub.ports.push_back(chain(port, 1));
        }
        return result;
    }

private:
    Port occupied(std::uint32_t number) {
        Port port;
        port.number = number;
        port.protocols = kernel::Usb110 | kernel::Usb200;
        port.speed = kernel::UsbHighSpeed;
        port.device = std::make_unique<Device>();
        port.device->facts.instanceId = numbered(u"USB\\VID_1234&PID_5678\\", nodes_++);
        return port;
    }

    std::size_t devices_ = 0;
    std::size_t nodes_ = 0;
};

} // namespace

Description pcWithDevices(std::size_t devices) {
    Generator generator;
    Description pc;
    pc.name = "Generated PC";
    std::size_t chains = std::max<std::size_t>(1, devices / devicesInAChain);
    while (chains > 0) {
        std::size_t const here = std::min<std::size_t>(chains, chainsOfAController);
        pc.controllers.push_back(generator.controller(pc.controllers.size(), here));
        chains -= here;
    }
    return pc;
}

Description pcWithNodes(std::size_t nodes) {
    Generator generator;
    Description pc;
    pc.name = "Generated PC";
    pc.controllers.push_back(generator.controller(0, 0));
    Hub & root = pc.controllers.front().rootHub.hub;
    root.ports.push_back(generator.devicePort(1));
    for (std::size_t node = 0; node < nodes; ++node) {
        root.ports.front().device->nodes.emplace_back();
        root.ports.front().device->nodes.back().facts.instanceId = numbered(u"USB\\NODE\\", node);
        root.ports.front().device->nodes.back().facts.driverKey = numbered(u"{node}\\", node);
    }
    root.ports.push_back(generator.devicePort(2));
    return pc;
}

} // namespace bench
