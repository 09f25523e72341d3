// The USB versions of ports: what they run at, and what their connectors could do.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace usbtopo {

float versionOfSpeed(std::uint8_t speed); // a USB_DEVICE_SPEED; 0.0f for an unknown one

// The highest of USB_PROTOCOLS; 0.0f for none.
float versionOfProtocols(std::uint32_t protocols);

// What is known of one port.
struct PortAbilities {
    std::uint32_t protocols = 0;     // its own USB_PROTOCOLS; none when the hub did not tell
    bool superSpeedPlus = false;     // it does SuperSpeedPlus, because it is said to or because a device runs at it
    std::uint16_t companionPort = 0; // the other port behind its connector; 0: none
    std::u16string companionHub;     // symbolic name of the hub with that port; empty: the same hub
};

// The ports of all hubs of a bus. A connector may end in two ports, and their hubs may be far apart (the two halves of
// a USB 3 hub are), so that the versions are known once every hub was read.
class Connectors {
public:
    // Begins the next hub. False when a hub of that name was begun before.
    bool beginHub(std::u16string_view symbolicName);

    // The next port of that hub, beginning with port 1. Returns its index among all ports.
    std::size_t addPort(PortAbilities abilities);

    // The highest version of the port's connector, 0.0f when it is unknown. After all hubs.
    float highestVersion(std::size_t index) const;

private:
    struct Hub {
        std::size_t firstPort = 0;
        std::size_t portCount = 0;
    };
    struct Port {
        PortAbilities abilities;
        std::size_t hub = 0;
    };

    PortAbilities const * companionOf(Port const & port) const; // null when it is not known

    std::vector<Hub> hubs_;
    std::vector<Port> ports_;
    std::unordered_map<std::u16string, std::size_t> hubsByName_; // names folded, without prefix
};

} // namespace usbtopo
