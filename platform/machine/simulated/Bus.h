// The state of a simulated PC: its device tree, its hubs, controllers and disks, and the paths that open them.
#pragma once

#include "Description.h"
#include "DiskState.h"
#include "FaultSchedule.h"
#include "kernel/UsbRecords.h"
#include "machine/DeviceTree.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace machine::simulated {

// One port, with the records that it answers ready to be copied. A described PC may have a hundred thousand of them:
// names stay with the node, the hub or the bus that they belong to.
struct PortState {
    kernel::USB_NODE_CONNECTION_INFORMATION_EX connection{};
    kernel::USB_NODE_CONNECTION_INFORMATION_EX_V2 connectionV2{};
    std::uint32_t properties = 0; // USB_PORT_PROPERTIES
    std::uint16_t companion = 0;
    bool superSpeedPlus = false;
    std::uint32_t companionHub = 0; // index into Bus::companionHubs plus 1; 0: the same hub
    std::uint32_t childHub = 0;     // index into Bus::hubs plus 1; 0: no hub on it
    NodeId device = noNode;
};

struct HubState {
    std::u16string name; // symbolic name
    kernel::USB_NODE_INFORMATION information{};
    std::vector<PortState> ports; // port n at n - 1
    FaultSchedule faults;
};

struct ControllerState {
    NodeId node = noNode;
    std::uint32_t rootHub = 0; // index into Bus::hubs
    FaultSchedule faults;
};

// What can be opened by a path. Other devices answer no I/O control.
struct Openable {
    enum class Kind : std::uint8_t { Controller, Hub, Disk, Volume, VolumeFile, Other };

    Kind kind = Kind::Other;
    std::uint32_t index = 0;  // into Bus::controllers, Bus::hubs or Bus::disks
    std::uint32_t volume = 0; // of a volume or a file on it: into its disk's volumes
    std::optional<std::uint32_t> openError;

    // Opens under way, as Windows counts them for its share modes.
    std::uint32_t opens = 0;
    std::uint32_t readers = 0;
    std::uint32_t writers = 0;
    std::uint32_t sharingRead = 0;
    std::uint32_t sharingWrite = 0;
};

struct Bus {
    DeviceTree tree;
    std::vector<HubState> hubs;
    std::vector<ControllerState> controllers;
    std::vector<std::shared_ptr<DiskState>> disks; // shared with transfers under way
    std::vector<std::u16string> companionHubs;
    std::vector<Openable> openables;
    std::unordered_map<std::u16string, std::uint32_t> byPath; // by pathKey, into openables
};

} // namespace machine::simulated
