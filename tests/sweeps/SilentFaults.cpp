#include "SilentFaults.h"

#include <algorithm>

namespace test {

namespace {

using enum Swept;

// The bus.
constexpr std::string_view unknownPort = "a port that cannot be asked counts as empty, and a hub or controller that "
                                         "cannot be read as one without ports; the listing of the bus shows that";
constexpr std::string_view unknownAbility = "a device is judged by what is known of its port";
constexpr std::string_view unknownChild = "a device without a known driver key is not held against it";
constexpr std::string_view unknownHub = "a hub whose name cannot be learned is not held against it";

// Disks and volumes.
constexpr std::string_view probe = "the probe asks only whether the medium answers in time, and an error is an answer; "
                                   "the transfer after it tells";
constexpr std::string_view noCache = "the volumes are locked all the same, which they could not be with a cache in use";
constexpr std::string_view retried = "a lock is asked for again, since a scanner may have a file open for a moment";
constexpr std::string_view unlocked = "closing the volume unlocks it, too";
constexpr std::string_view askedAgain =
    "a disk that was opened without a backup in hand is asked again when one is made";
constexpr std::string_view unknownSize =
    "only the room for backups is not checked beforehand then; one that does not fit is told when it is made";
constexpr std::string_view noCacheOrSize = "of its size or its volumes: as where these questions fail themselves";

SilentFault const list[] = {
    {{Speed, Status, Storage}, Call::Open, "open hub, to write", unknownPort},
    {{Speed, Storage}, Call::Open, "open controller, to write", unknownPort},
    {{Speed, Storage}, Call::Control, "USB_GET_ROOT_HUB_NAME of controller, to write", unknownPort},
    {{Speed, Status, Storage}, Call::Control, "USB_GET_NODE_INFORMATION of hub, to write", unknownPort},
    {{Speed, Status, Storage}, Call::Control, "USB_GET_NODE_CONNECTION_INFORMATION_EX of hub, to write", unknownPort},
    {{Speed}, Call::Control, "USB_GET_NODE_CONNECTION_NAME of hub, to write", unknownPort},
    {{Speed, Status, Storage},
     Call::Control,
     "USB_GET_NODE_CONNECTION_INFORMATION_EX_V2 of hub, to write",
     unknownAbility},
    {{Speed, Status, Storage}, Call::Control, "USB_GET_PORT_CONNECTOR_PROPERTIES of hub, to write", unknownAbility},
    {{Speed, Status, Storage}, Call::Control, "USB_GET_NODE_CONNECTION_DRIVERKEY_NAME of hub, to write", unknownChild},
    {{Status}, Call::Control, "USB_GET_NODE_CONNECTION_DRIVERKEY_NAME of hub, to read and write", unknownChild},
    {{Status}, Call::Control, "USB_GET_NODE_CONNECTION_NAME of hub, to read and write", unknownHub},
    {{Status}, Call::Memory, "allocate", unknownHub},
    {{Storage}, Call::Wait, "read disk, to read and write, alone", probe},
    {{Storage}, Call::Open, "open disk, to ask", noCacheOrSize},
    {{Storage}, Call::Open, "open volume, to ask", noCache},
    {{Storage}, Call::Open, "open file on a volume, to ask", noCache},
    {{Storage}, Call::Control, "STORAGE_GET_DEVICE_NUMBER of disk, to ask", noCache},
    {{Storage}, Call::Control, "VOLUME_GET_VOLUME_DISK_EXTENTS of volume, to ask", noCache},
    {{Storage}, Call::Control, "DISK_GET_DRIVE_GEOMETRY_EX of disk, to ask", unknownSize},
    {{Storage}, Call::Control, "STORAGE_QUERY_PROPERTY of disk, to read and write, alone", askedAgain},
    {{Storage}, Call::Control, "DISK_GET_DRIVE_GEOMETRY_EX of disk, to read and write, alone", askedAgain},
    {{Storage}, Call::Control, "DISK_GET_LENGTH_INFO of disk, to read and write, alone", askedAgain},
    {{Storage}, Call::Lock, "FSCTL_LOCK_VOLUME of volume, to read and write", retried},
    {{Storage}, Call::Control, "FSCTL_UNLOCK_VOLUME of volume, to read and write", unlocked},
};

} // namespace

char const * nameOf(Swept test) {
    switch (test) {
    case Speed:
        return "Speed";
    case Status:
        return "Status";
    case Storage:
        break;
    }
    return "Storage";
}

bool SilentFault::isAbout(Swept test, Call aCall) const {
    return call == aCall && std::ranges::count(tests, test) != 0;
}

std::span<SilentFault const> silentFaults() {
    return list;
}

} // namespace test
