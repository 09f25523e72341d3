// Buses as large as the biggest that one would want to read, and deeper than any can be.
#include "BusFixture.h"

#include "machine/simulated/SimulatedMachine.h"

#include <string>

namespace {

using machine::simulated::Description;
using machine::simulated::Device;
using machine::simulated::Hub;
using machine::simulated::Port;

struct Counts {
    std::size_t hubs = 0;
    std::size_t ports = 0;
    std::size_t devices = 0; // that are no hubs
};

// A hub with a device on each port, or below the given depth with further hubs on the first ports.
Hub describedHub(std::uint32_t portCount, std::uint32_t hubsOn, unsigned depth, Counts & counts) {
    Hub hub;
    hub.portCount = portCount;
    counts.ports += portCount;
    for (std::uint32_t number = 1; number <= portCount; ++number) {
        Port port;
        port.number = number;
        port.protocols = kernel::Usb200;
        port.speed = kernel::UsbHighSpeed;
        bool const isHub = depth > 0 && number <= hubsOn;
        if (!isHub && number % 4 != 0) {
            continue; // three ports of four are empty
        }
        ++(isHub ? counts.hubs : counts.devices);
        port.device = std::make_unique<Device>();
        std::string const id = "USB\\VID_0001&PID_0001\\" + std::to_string(counts.ports) + "." + std::to_string(number);
        port.device->facts.instanceId = std::u16string(id.begin(), id.end());
        if (isHub) {
            port.device->hub = std::make_unique<Hub>(describedHub(portCount, hubsOn, depth - 1, counts));
        }
        hub.ports.push_back(std::move(port));
    }
    return hub;
}

void count(usbtopo::CUsbHub const & hub, Counts & counts) {
    for (auto const & port : hub.ports()) {
        ++counts.ports;
        if (port->childHub()) {
            ++counts.hubs;
            count(*port->childHub(), counts);
        } else if (port->device() && !port->device()->getDeviceInstanceID().empty()) {
            ++counts.devices;
        }
    }
}

TEST(LargeBusTest, EveryHubPortAndDeviceIsRead) {
    Description description;
    Counts described;
    description.controllers.emplace_back();
    description.controllers[0].facts.instanceId = u"PCI\\A";
    description.controllers[0].rootHub.hub = describedHub(16, 4, 4, described);
    auto const pc = machine::makeSimulatedMachine(std::move(description));
    machine::InUse const inUse(*pc);

    usbtopo::CUsbSystem system;
    ASSERT_TRUE(system.EnumerateHostControllers());
    Counts read;
    count(system.controllers()[0]->rootHub(), read);
    EXPECT_EQ(read.hubs, described.hubs);
    EXPECT_EQ(read.ports, described.ports);
    EXPECT_EQ(read.devices, described.devices);
    EXPECT_GT(read.devices, 1000U);
    EXPECT_EQ(kernel::openHandleCount(), 0U);
}

// A chain of hubs, each on port 1 of the one before; the number counts those below this one.
Hub chain(unsigned hubsBelow) {
    Hub hub;
    hub.portCount = 1;
    hub.symbolicName = u"USB#HUB" + std::u16string(hubsBelow, u'#');
    if (hubsBelow > 0) {
        Port port;
        port.number = 1;
        port.speed = kernel::UsbHighSpeed;
        port.device = std::make_unique<Device>();
        port.device->hub = std::make_unique<Hub>(chain(hubsBelow - 1));
        hub.ports.push_back(std::move(port));
    }
    return hub;
}

TEST(DeepBusTest, NoMoreThanThirtyTwoHubsInARowAreFollowed) {
    Description description;
    description.controllers.emplace_back();
    description.controllers[0].facts.instanceId = u"PCI\\A";
    description.controllers[0].rootHub.hub = chain(40);
    auto const pc = machine::makeSimulatedMachine(std::move(description));
    machine::InUse const inUse(*pc);

    usbtopo::CUsbSystem system;
    ASSERT_TRUE(system.EnumerateHostControllers());
    usbtopo::CUsbHub const * hub = &system.controllers()[0]->rootHub();
    int hubs = 1;
    while (hub->ports()[0]->childHub()) {
        hub = hub->ports()[0]->childHub().get();
        ++hubs;
    }
    EXPECT_EQ(hubs, 32);
    EXPECT_TRUE(hub->ports()[0]->device()); // the next one is still a device on a port
}

} // namespace
