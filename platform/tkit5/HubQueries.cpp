#include "HubQueries.h"

#include "kernel.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string>

namespace tkit5 {

namespace {

constexpr std::u16string_view devicePrefix = u"\\\\?\\";

// Device names end far below this many bytes; a record that does not fit is taken as far as it goes.
using Record = std::array<std::byte, 2048>;

nuv::FileHandleResManager openHub(nuv::String const & name) {
    if (name.empty()) {
        return {};
    }
    nuv::CreateFileOpenArgs args;
    args.fileName = name.view().starts_with(devicePrefix) ? name : nuv::String(devicePrefix) + name;
    args.desiredAccess = kernel::GENERIC_WRITE;
    args.shareMode = kernel::FILE_SHARE_WRITE;
    return nuv::FileHandleResManager(args);
}

// Sends a port query whose record begins with the port. The bytes that the hub filled, 0 when it failed.
std::uint32_t ask(nuv::FileHandleResManager const & hub, std::uint32_t code, std::uint32_t port, Record & record) {
    std::memcpy(record.data(), &port, sizeof(port));
    constexpr auto size = static_cast<std::uint32_t>(sizeof(Record));
    std::uint32_t returned = 0;
    bool const answered = hub.isValid() && kernel::DeviceIoControl(hub.get(), code, record.data(), size, record.data(),
                                                                   size, &returned, nullptr);
    return answered ? std::min(returned, size) : 0;
}

// The text at the end of a record: up to its terminator or to the bytes returned.
nuv::String textAt(Record const & record, std::size_t offset, std::uint32_t returned) {
    std::u16string text;
    for (; offset + sizeof(char16_t) <= returned; offset += sizeof(char16_t)) {
        char16_t unit = 0;
        std::memcpy(&unit, record.data() + offset, sizeof(unit));
        if (unit == 0) {
            break;
        }
        text.push_back(unit);
    }
    return nuv::String(text);
}

} // namespace

HubQueries::HubQueries(nuv::String const & hubName) : hub_(openHub(hubName)) {}

nuv::String HubQueries::driverKey(std::uint32_t port) const {
    Record record{};
    std::uint32_t const returned = ask(hub_, kernel::IOCTL_USB_GET_NODE_CONNECTION_DRIVERKEY_NAME, port, record);
    return textAt(record, offsetof(kernel::USB_NODE_CONNECTION_DRIVERKEY_NAME, DriverKeyName), returned);
}

std::optional<Companion> HubQueries::companion(std::uint32_t port) const {
    using Properties = kernel::USB_PORT_CONNECTOR_PROPERTIES;
    Record record{};
    std::uint32_t const returned = ask(hub_, kernel::IOCTL_USB_GET_PORT_CONNECTOR_PROPERTIES, port, record);
    if (returned < sizeof(Properties)) {
        return std::nullopt;
    }
    Properties properties{};
    std::memcpy(&properties, record.data(), sizeof(properties));
    if (properties.CompanionPortNumber == 0) {
        return std::nullopt;
    }
    return Companion{.port = properties.CompanionPortNumber,
                     .hubName = textAt(record, offsetof(Properties, CompanionHubSymbolicLinkName), returned)};
}

} // namespace tkit5
