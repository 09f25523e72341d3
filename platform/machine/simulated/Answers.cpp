#include "Answers.h"

#include "kernel.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <optional>
#include <string_view>
#include <variant>

namespace machine::simulated {

namespace {

using namespace kernel;

static_assert(std::endian::native == std::endian::little, "records are copied as they lie in memory");

constexpr Answer failure(std::uint32_t error) {
    return {{error, 0}, false};
}

template <typename Record> Answer success(Record const & record, std::span<std::byte> output) {
    std::memcpy(output.data(), &record, sizeof(record));
    return {{ERROR_SUCCESS, sizeof(record)}, false};
}

// What a fault leaves of the answer; empty when it only changes a name in it.
std::optional<Answer> answerInstead(Fault const * fault) {
    if (fault == nullptr) {
        return std::nullopt;
    }
    if (auto const * fails = std::get_if<FailsWith>(&fault->effect)) {
        return failure(fails->error);
    }
    if (std::holds_alternative<Hangs>(fault->effect)) {
        return Answer{{}, true};
    }
    return std::nullopt;
}

// A record that ends in a name. Windows reports its whole size in ActualLength and returns as much of it as fits.
template <typename Header>
Answer nameAnswer(Header header, std::u16string_view name, Fault const * fault, std::span<std::byte> output) {
    bool terminated = true;
    std::optional<std::uint32_t> reported;
    if (fault != nullptr) {
        if (auto const * other = std::get_if<OtherText>(&fault->effect)) {
            name = other->text;
        } else if (auto const * length = std::get_if<ReportsLength>(&fault->effect)) {
            reported = length->length;
        } else if (std::holds_alternative<Unterminated>(fault->effect)) {
            terminated = false;
        }
    }
    constexpr char16_t terminator = 0;
    std::size_t const nameBytes = name.size() * sizeof(char16_t);
    std::size_t const whole = sizeof(header) + nameBytes + (terminated ? sizeof(terminator) : 0);
    header.ActualLength = reported.value_or(static_cast<std::uint32_t>(whole));

    // Whole characters only, so that nobody reads half of one.
    std::size_t const returned = std::min(whole, output.size() / sizeof(char16_t) * sizeof(char16_t));
    std::memcpy(output.data(), &header, sizeof(header));
    std::size_t const nameReturned = std::min(nameBytes, returned - sizeof(header));
    if (nameReturned > 0) { // an empty view may point nowhere, which memcpy does not take
        std::memcpy(output.data() + sizeof(header), name.data(), nameReturned);
    }
    if (returned > sizeof(header) + nameReturned) {
        std::memcpy(output.data() + sizeof(header) + nameReturned, &terminator, sizeof(terminator));
    }
    return {{ERROR_SUCCESS, static_cast<std::uint32_t>(returned)}, false};
}

#pragma pack(push, 1)
// The fixed parts of the records that end in a name.
struct ControllerNameHeader {
    std::uint32_t ActualLength;
};
struct PortNameHeader {
    std::uint32_t ConnectionIndex;
    std::uint32_t ActualLength;
};
struct ConnectorHeader {
    std::uint32_t ConnectionIndex;
    std::uint32_t ActualLength;
    std::uint32_t UsbPortProperties;
    std::uint16_t CompanionIndex;
    std::uint16_t CompanionPortNumber;
};
#pragma pack(pop)
static_assert(sizeof(ControllerNameHeader) == offsetof(USB_ROOT_HUB_NAME, RootHubName));
static_assert(sizeof(PortNameHeader) == offsetof(USB_NODE_CONNECTION_NAME, NodeName));
static_assert(sizeof(ConnectorHeader) == offsetof(USB_PORT_CONNECTOR_PROPERTIES, CompanionHubSymbolicLinkName));

struct PortQuery {
    Query query;
    std::size_t recordSize; // the least that input and output must hold
};

std::optional<PortQuery> portQuery(std::uint32_t code) {
    switch (code) {
    case IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX:
        return PortQuery{Query::Connection, sizeof(USB_NODE_CONNECTION_INFORMATION_EX)};
    case IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX_V2:
        return PortQuery{Query::ConnectionV2, sizeof(USB_NODE_CONNECTION_INFORMATION_EX_V2)};
    case IOCTL_USB_GET_PORT_CONNECTOR_PROPERTIES:
        return PortQuery{Query::Connector, sizeof(USB_PORT_CONNECTOR_PROPERTIES)};
    case IOCTL_USB_GET_NODE_CONNECTION_NAME:
        return PortQuery{Query::HubName, sizeof(USB_NODE_CONNECTION_NAME)};
    case IOCTL_USB_GET_NODE_CONNECTION_DRIVERKEY_NAME:
        return PortQuery{Query::DriverKey, sizeof(USB_NODE_CONNECTION_DRIVERKEY_NAME)};
    default:
        return std::nullopt;
    }
}

template <typename Value> Value read(std::span<std::byte const> bytes, std::size_t offset) {
    Value value;
    std::memcpy(&value, bytes.data() + offset, sizeof(value));
    return value;
}

// The V2 query says which version of the record the caller understands.
bool asksForV2(std::span<std::byte const> input) {
    auto const asked = read<USB_NODE_CONNECTION_INFORMATION_EX_V2>(input, 0);
    return asked.Length == sizeof(asked) && (asked.SupportedUsbProtocols & Usb300) != 0;
}

Answer connectorAnswer(Bus const & bus, HubState const & hub, PortState const & port, std::uint16_t companionIndex,
                       Fault const * fault, std::span<std::byte> output) {
    ConnectorHeader header{};
    header.ConnectionIndex = port.connection.ConnectionIndex;
    header.UsbPortProperties = port.properties;
    header.CompanionIndex = companionIndex;
    std::u16string_view companionHub;
    if (port.companion != 0 && companionIndex == 0) {
        header.CompanionPortNumber = port.companion;
        companionHub = port.companionHub == 0 ? hub.name : bus.companionHubs[port.companionHub - 1];
    }
    return nameAnswer(header, companionHub, fault, output);
}

// A device without a driver key, or no device at all, makes the query fail.
template <typename Header>
Answer driverKeyAnswer(Header const & header, DeviceNode const & device, Fault const * fault,
                       std::span<std::byte> output) {
    bool const otherKey = fault != nullptr && std::holds_alternative<OtherText>(fault->effect);
    if (device.driverKey.empty() && !otherKey) {
        return failure(ERROR_GEN_FAILURE);
    }
    return nameAnswer(header, device.driverKey, fault, output);
}

} // namespace

Answer answerOfHub(Bus & bus, HubState & hub, std::uint32_t code, std::span<std::byte const> input,
                   std::span<std::byte> output) {
    if (code == IOCTL_USB_GET_NODE_INFORMATION) {
        if (output.size() < sizeof(hub.information)) {
            return failure(ERROR_INSUFFICIENT_BUFFER);
        }
        auto const instead = answerInstead(hub.faults.strike(Query::NodeInformation, 0));
        return instead ? *instead : success(hub.information, output);
    }

    std::optional<PortQuery> const asked = portQuery(code);
    if (!asked) {
        return failure(ERROR_INVALID_FUNCTION);
    }
    if (input.size() < asked->recordSize || output.size() < asked->recordSize) {
        return failure(ERROR_INSUFFICIENT_BUFFER);
    }
    auto const number = read<std::uint32_t>(input, 0);
    if (number == 0 || number > hub.ports.size() || (asked->query == Query::ConnectionV2 && !asksForV2(input))) {
        return failure(ERROR_INVALID_PARAMETER);
    }
    PortState const & port = hub.ports[number - 1];
    Fault const * const fault = hub.faults.strike(asked->query, number);
    if (auto const instead = answerInstead(fault)) {
        return *instead;
    }
    switch (asked->query) {
    case Query::Connection:
        return success(port.connection, output);
    case Query::ConnectionV2:
        return success(port.connectionV2, output);
    case Query::Connector:
        return connectorAnswer(bus, hub, port,
                               read<std::uint16_t>(input, offsetof(USB_PORT_CONNECTOR_PROPERTIES, CompanionIndex)),
                               fault, output);
    case Query::HubName: {
        // A device that is no hub has an empty hub name, which is no error.
        std::u16string_view const name =
            port.childHub == 0 ? std::u16string_view() : std::u16string_view(bus.hubs[port.childHub - 1].name);
        return nameAnswer(PortNameHeader{number, 0}, name, fault, output);
    }
    case Query::DriverKey:
        return driverKeyAnswer(PortNameHeader{number, 0}, bus.tree[port.device], fault, output);
    case Query::RootHubName:
    case Query::NodeInformation:
        break; // not about a port
    }
    return failure(ERROR_INVALID_FUNCTION);
}

Answer answerOfController(Bus & bus, ControllerState & controller, std::uint32_t code, std::span<std::byte> output) {
    if (code != IOCTL_USB_GET_ROOT_HUB_NAME && code != IOCTL_GET_HCD_DRIVERKEY_NAME) {
        return failure(ERROR_INVALID_FUNCTION);
    }
    if (output.size() < sizeof(USB_ROOT_HUB_NAME)) {
        return failure(ERROR_INSUFFICIENT_BUFFER);
    }
    bool const asksForHub = code == IOCTL_USB_GET_ROOT_HUB_NAME;
    Fault const * const fault = controller.faults.strike(asksForHub ? Query::RootHubName : Query::DriverKey, 0);
    if (auto const instead = answerInstead(fault)) {
        return *instead;
    }
    return asksForHub ? nameAnswer(ControllerNameHeader{}, bus.hubs[controller.rootHub].name, fault, output)
                      : driverKeyAnswer(ControllerNameHeader{}, bus.tree[controller.node], fault, output);
}

} // namespace machine::simulated
