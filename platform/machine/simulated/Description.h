// A described PC as plain values: what its description says, before anything is derived from it. Empty optionals are
// members that the description leaves out; the simulated machine puts in what Windows would show.
#pragma once

#include "Window.h"
#include "machine/Clock.h"
#include "machine/DeviceTree.h"
#include "machine/DiskStore.h"
#include "machine/Machine.h"
#include "machine/ScriptedUser.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace machine::simulated {

// Which I/O control a fault strikes.
enum class Query : std::uint8_t {
    RootHubName,     // of a host controller
    NodeInformation, // of a hub
    Connection,      // of a port, this and those below
    ConnectionV2,
    Connector,
    HubName,
    DriverKey, // of a port, or of a host controller itself
};

struct FailsWith {
    std::uint32_t error; // Windows error code
};
struct Hangs {}; // no answer within the caller's limit
struct ReportsLength {
    std::uint32_t length; // ActualLength of a record whose name is as it is
};
struct OtherText {
    std::u16string text; // instead of the true name
};
struct Unterminated {}; // the name ends with the bytes returned, without a terminator

// A fault of a hub or a controller. Its window counts every query that it is about.
struct Fault {
    Query query = Query::Connection;
    std::optional<std::uint32_t> port; // empty: every port
    Window window;
    std::variant<FailsWith, Hangs, ReportsLength, OtherText, Unterminated> effect = Hangs{};
};

// What every device node of the operating system has.
struct NodeFacts {
    std::u16string instanceId;
    std::optional<std::u16string> driverKey; // "" is a device without one
    std::u16string name;                     // given to this device, its friendly name
    std::u16string description;              // of its driver
    std::uint32_t problem = 0;               // problem code
    bool hidden = false;
};

// A device node below a USB device.
struct Node {
    NodeFacts facts;
    std::vector<Node> nodes;
};

enum class MediaState : std::uint8_t { Present, Absent, Loading, Unplugged };

// The medium comes, goes or loads: at a time since the machine's start, or when the n-th transfer of the disk begins.
struct MediaChange {
    MediaState media = MediaState::Absent;
    std::optional<Duration> at;
    std::optional<std::uint32_t> atTransfer; // from 1; set where "at" is not
};

// What a fault of a disk strikes.
enum class DiskCall : std::uint8_t { Open, Read, Write, Geometry, Length, CheckVerify, Eject, Load, Lock };

struct Delays {
    Duration by;
};
struct NeverEnds {
    bool cancellable = true;
};

// Its window counts every call that it is about.
struct DiskFault {
    DiskCall call = DiskCall::Read;
    std::uint64_t firstSector = 0; // of transfers: those that touch any of the sectors
    std::uint64_t lastSector = UINT64_MAX;
    std::optional<bool> overlapped; // only transfers of handles opened so; empty: of all
    Window window;
    std::variant<FailsWith, Delays, NeverEnds> effect = FailsWith{};
};

enum class Encryption : std::uint8_t { None, BitLocker, BitLockerToGo };

struct Volume {
    std::optional<std::u16string> name; // such as \\?\Volume{...}
    std::uint64_t firstSector = 0;
    std::uint64_t sectorCount = 0;
    bool inUse = false; // somebody has files of it open, so that nobody can lock it
    Encryption encryption = Encryption::None;
    bool readyBoost = false;
};

// Bytes per second are those of a MB of 1,048,576 bytes.
constexpr double bytesPerMegabyte = 1048576.0;

struct Disk {
    std::u16string instanceId;
    std::u16string name; // the model
    std::optional<std::uint32_t> number;
    std::optional<std::u16string> serialNumber;
    DiskFacts facts; // without number, serial number, and whether it is in memory
    bool hidden = false;
    std::uint32_t sectorSize = 512;
    std::optional<std::uint64_t> sectorCount;
    double readRate = 40.0; // MB/s; above zero
    double writeRate = 20.0;
    Duration latency{};               // of each transfer
    std::optional<std::string> image; // file or block device with its bytes, UTF-8
    std::string imagePlace;           // of that member in the description, for error messages
    std::shared_ptr<DiskStore> store; // its bytes, once the image is open; empty: memory
    std::optional<std::uint64_t> seed;
    MediaState media = MediaState::Present;
    std::vector<MediaChange> mediaChanges;
    bool removable = true;
    bool readOnly = false;
    bool sanitizing = false;
    std::optional<std::uint32_t> openError; // of opens that ask for read or write access
    std::vector<DiskFault> faults;
    std::vector<Volume> volumes;
};

struct Hub;

// A USB device; a hub when it has a hub part.
struct Device {
    NodeFacts facts;
    std::u16string product; // the device's own name for itself
    std::optional<std::uint16_t> vendorId;
    std::optional<std::uint16_t> productId;
    std::uint16_t revision = 0x0100; // bcdDevice
    std::u16string serialNumber;
    std::optional<std::uint16_t> usbVersion; // bcdUSB
    std::optional<std::uint8_t> deviceClass;
    bool descriptor = true; // the hub has its device descriptor
    std::optional<std::uint8_t> configuration;
    std::optional<std::uint16_t> address;
    bool superSpeedCapable = false;
    bool superSpeedPlusCapable = false;
    std::optional<std::u16string> interfacePath;
    std::optional<bool> composite;
    std::vector<Node> nodes;
    std::optional<Disk> disk;
    std::unique_ptr<Hub> hub;
};

struct Port {
    std::uint32_t number = 0;    // from 1
    std::uint32_t protocols = 0; // bits of USB_PROTOCOLS
    bool superSpeedPlus = false;
    std::uint16_t companion = 0; // 0: none
    std::u16string companionHub; // symbolic name; empty: the same hub
    bool typeC = false;
    bool userConnectable = true;
    std::optional<std::uint32_t> status; // USB_CONNECTION_STATUS or a number beyond
    std::uint8_t speed = 0;              // USB_DEVICE_SPEED or a number beyond
    std::unique_ptr<Device> device;
};

// What makes a device a hub, a root hub included.
struct Hub {
    std::optional<std::u16string> symbolicName; // without "\\?\"
    std::uint32_t portCount = 0;                // 0..255
    std::uint32_t defaultProtocols = 0x3;       // of the ports that are not listed: 1.1 and 2.0
    std::vector<Port> ports;                    // ascending, at most one of a number, none above portCount
    std::optional<std::uint32_t> openError;
    std::vector<Fault> faults;
    bool busPowered = false;
};

struct RootHub {
    std::optional<std::u16string> instanceId;
    NodeFacts facts; // without the instance ID
    Hub hub;
};

struct Controller {
    NodeFacts facts;
    std::optional<std::u16string> interfacePath;
    bool listed = true;
    std::optional<std::uint32_t> openError;
    std::vector<Fault> faults;
    RootHub rootHub;
};

// The PC runs out of something.
struct Shortage {
    Resource resource = Resource::Memory;
    Window window;
    std::uint32_t error = 0;
};

struct Description {
    std::string name;      // UTF-8
    bool measured = false; // on the real clock, and each disk as fast as what is behind it
    std::vector<Shortage> shortages;
    std::optional<ScriptedUser> user;
    std::vector<Controller> controllers;
};

} // namespace machine::simulated
