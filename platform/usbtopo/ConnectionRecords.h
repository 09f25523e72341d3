// The records that hubs and host controllers answer with, read from exactly the bytes that came back. Pure functions:
// they give nothing for a record that is too short or that contradicts itself, whatever its fields claim.
#pragma once

#include "kernel/UsbRecords.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace usbtopo {

using Bytes = std::span<std::byte const>;

// A record that claims to be longer than this many bytes is not believed.
inline constexpr std::uint32_t longestRecord = 65536;

// Number of ports, 0 to 255. Nothing when the node is not a hub.
std::optional<std::uint32_t> parsePortCount(Bytes returned);

std::optional<kernel::USB_NODE_CONNECTION_INFORMATION_EX> parseConnection(Bytes returned);

std::optional<kernel::USB_NODE_CONNECTION_INFORMATION_EX_V2> parseConnectionV2(Bytes returned);

// The other port behind the connector of a port.
struct Companion {
    std::uint16_t port = 0;     // 0: there is none
    std::u16string hubName;     // of the hub that it is on; empty when the record names none
    std::uint32_t fullSize = 0; // of the whole record; more than what came back when the name was cut off
};
std::optional<Companion> parseConnector(Bytes returned);

// The two layouts of records whose purpose is a name: that of a controller begins with the length of the record, that
// of a hub's port with the number of the port.
enum class NameRecord { OfController, OfPort };

// Bytes in front of the name.
constexpr std::size_t nameOffset(NameRecord record) {
    return record == NameRecord::OfController ? 4 : 8;
}

// Bytes of a record whose name is only a terminator: what to ask with for the length.
constexpr std::size_t emptyNameSize(NameRecord record) {
    return nameOffset(record) + sizeof(char16_t);
}

// Bytes of the whole record, as it says itself; nothing when it is too short to say or claims more than longestRecord.
std::optional<std::uint32_t> parseNameRecordSize(NameRecord record, Bytes returned);

// The name, up to its terminator or the end of the bytes; may be empty.
std::optional<std::u16string> parseName(NameRecord record, Bytes returned);

} // namespace usbtopo
