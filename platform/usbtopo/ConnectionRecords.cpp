#include "ConnectionRecords.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <type_traits>

namespace usbtopo {

static_assert(std::endian::native == std::endian::little, "records are copied as they lie in memory");

namespace {

template <class Record> std::optional<Record> copied(Bytes returned) {
    static_assert(std::is_trivially_copyable_v<Record> && alignof(Record) == 1);
    if (returned.size() < sizeof(Record)) {
        return std::nullopt;
    }
    Record record;
    std::memcpy(&record, returned.data(), sizeof record);
    return record;
}

std::u16string textFrom(Bytes bytes) {
    std::u16string text(bytes.size() / sizeof(char16_t), u'\0');
    std::memcpy(text.data(), bytes.data(), text.size() * sizeof(char16_t));
    text.resize(std::min(text.find(u'\0'), text.size()));
    return text;
}

constexpr std::uint32_t nodeIsHub = 0;

} // namespace

std::optional<std::uint32_t> parsePortCount(Bytes returned) {
    auto const record = copied<kernel::USB_NODE_INFORMATION>(returned);
    if (!record || record->NodeType != nodeIsHub) {
        return std::nullopt;
    }
    return record->HubInformation.HubDescriptor.bNumberOfPorts;
}

std::optional<kernel::USB_NODE_CONNECTION_INFORMATION_EX> parseConnection(Bytes returned) {
    return copied<kernel::USB_NODE_CONNECTION_INFORMATION_EX>(returned);
}

std::optional<kernel::USB_NODE_CONNECTION_INFORMATION_EX_V2> parseConnectionV2(Bytes returned) {
    return copied<kernel::USB_NODE_CONNECTION_INFORMATION_EX_V2>(returned);
}

std::optional<Companion> parseConnector(Bytes returned) {
    constexpr std::size_t nameAt = offsetof(kernel::USB_PORT_CONNECTOR_PROPERTIES, CompanionHubSymbolicLinkName);
    auto const record = copied<kernel::USB_PORT_CONNECTOR_PROPERTIES>(returned);
    if (!record || record->ActualLength > longestRecord) {
        return std::nullopt;
    }
    return Companion{record->CompanionPortNumber, textFrom(returned.subspan(nameAt)), record->ActualLength};
}

std::optional<std::uint32_t> parseNameRecordSize(NameRecord record, Bytes returned) {
    std::size_t const sizeAt = nameOffset(record) - sizeof(std::uint32_t);
    if (returned.size() < nameOffset(record)) {
        return std::nullopt;
    }
    std::uint32_t size = 0;
    std::memcpy(&size, returned.data() + sizeAt, sizeof size);
    return size > longestRecord ? std::nullopt : std::optional(size);
}

std::optional<std::u16string> parseName(NameRecord record, Bytes returned) {
    if (!parseNameRecordSize(record, returned)) {
        return std::nullopt;
    }
    return textFrom(returned.subspan(nameOffset(record)));
}

} // namespace usbtopo
