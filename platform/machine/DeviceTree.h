#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace machine {

// Index of a node in its tree; 0 means no node.
using NodeId = std::uint32_t;
inline constexpr NodeId noNode = 0;

enum class NodeClass : std::uint8_t { Other, HostController, Hub, UsbDevice, UsbComposite, Disk };
inline constexpr std::size_t nodeClasses = 6;

// Problem code of a device that somebody disabled.
inline constexpr std::uint32_t problemDisabled = 22;

// What only disks have.
struct DiskFacts {
    std::uint32_t number = 0; // N of \\.\PhysicalDriveN
    std::u16string serialNumber;
    std::u16string product;          // vendor and model, as the disk itself tells them
    bool isSystemDrive = false;      // Windows runs from it
    bool isApplicationDrive = false; // this program runs from it
    bool isNuvMud = false;           // carries the diagnostics themselves
    bool hasReadOnlyVolume = false;
    bool inMemory = false;           // of a described PC: gone when the program ends
    std::string backing;             // of a described PC: the file or block device with its bytes, UTF-8
    bool reportsAtaSecurity = false; // the three facts below are known
    bool securityPasswordSupported = false;
    bool securityPasswordSet = false;
    bool ataSecurityLocked = false;
};

// A device of the operating system. Empty texts are values that the device has not.
struct DeviceNode {
    std::u16string instanceId;
    std::u16string driverKey;
    std::u16string description;            // of its driver
    std::u16string friendlyName;           // given to this device
    std::u16string busReportedDescription; // the product's name for itself
    std::u16string interfacePath;          // by which it can be opened
    NodeClass nodeClass = NodeClass::Other;
    bool present = true;
    bool hidden = false;
    bool listed = true;        // among the devices of its class
    std::uint32_t problem = 0; // problem code; 0 is healthy
    std::uint32_t port = 0;    // that it is on, of the hub above it; 0 when that is not known
    std::uint32_t disk = 0;    // index into DeviceTree::disks plus 1; 0 for everything but disks

    NodeId parent = noNode;
    NodeId firstChild = noNode;
    NodeId nextSibling = noNode;
};

// The device tree of a PC as it was when it was read. Plain facts: both the described and the live machines fill one.
class DeviceTree {
public:
    DeviceTree(); // holds a root node without a name

    NodeId root() const { return 1; }
    std::size_t size() const { return nodes_.size() - 1; }                    // nodes, the root included
    DeviceNode const & operator[](NodeId node) const { return nodes_[node]; } // node 0 is an empty record
    DiskFacts const * disk(NodeId node) const;                                // null for everything but disks

    // Appends a node as the last child of its parent. Links in the record are ignored.
    NodeId add(NodeId parent, DeviceNode node);
    NodeId addDisk(NodeId parent, DeviceNode node, DiskFacts disk);

    // The nodes of a class, in the order in which they were added.
    std::span<NodeId const> ofClass(NodeClass nodeClass) const { return byClass_[static_cast<std::size_t>(nodeClass)]; }

    // Whatever the letter case (A to Z); noNode when there is none. The first added wins where two are alike.
    NodeId findByInstanceId(std::u16string_view instanceId) const;
    // Exactly equal; noNode when there is none.
    NodeId findByDriverKey(std::u16string_view driverKey) const;

private:
    std::vector<DeviceNode> nodes_;
    std::vector<NodeId> lastChild_;
    std::vector<DiskFacts> disks_;
    std::array<std::vector<NodeId>, nodeClasses> byClass_;
    std::unordered_map<std::u16string, NodeId> byInstanceId_; // keys folded to upper case
    std::unordered_map<std::u16string, NodeId> byDriverKey_;
};

} // namespace machine
