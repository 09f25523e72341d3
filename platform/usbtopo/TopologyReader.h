// Reads the USB bus of the machine in use. One reader for one reading.
#pragma once

#include "DeviceNodes.h"
#include "HubQueries.h"
#include "PortVersions.h"
#include "machine/Machine.h"
#include "usbtopo.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace usbtopo {

class TopologyReader {
public:
    TopologyReader();

    // Every host controller of the device tree, whether or not the operating system lists it, with all below it.
    CUsbSystem::Controllers readControllers();

    // One hub and all below it, into an empty hub. A hub that cannot be opened stays without ports.
    void readHub(CUsbHub & hub, nuv::String const & name);

private:
    // A hub on a port, found but not read yet.
    struct FoundHub {
        CUsbPort * port;
        std::u16string name;
        unsigned depth; // hubs above it
    };

    CUsbController * readController(machine::DeviceNode const & node);
    void readHubs(CUsbHub & top, std::u16string topName);
    std::vector<FoundHub> readPorts(CUsbHub & hub, QueriedDevice const & device, std::u16string_view path,
                                    unsigned depthBelow);
    // Null when the port cannot be read. Adds to what is known of its abilities.
    CUsbPort * readPort(QueriedDevice const & device, std::uint32_t number, PortAbilities & abilities);
    CUsbDevice * readDevice(nuv::String const & driverKey);
    void setMaximumVersions();

    machine::Machine const & machine_;
    DeviceNodes nodes_;
    Connectors connectors_;
    std::vector<std::pair<CUsbPort *, std::size_t>> ports_; // those that were read, with their index in connectors_
};

} // namespace usbtopo
