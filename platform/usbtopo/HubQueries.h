// An open host controller or hub, and the questions that the topology is read with.
#pragma once

#include "ConnectionRecords.h"
#include "nuv/FileHandle.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace usbtopo {

// The path of a device by its symbolic name, with or without "\\?\" in front.
std::u16string devicePath(std::u16string_view symbolicName);

// Every question blocks until the device answers, at most as long as the kernel services wait for a hub. Nothing when
// the query fails or its answer makes no sense.
class QueriedDevice {
public:
    explicit QueriedDevice(std::u16string_view path); // opens it

    bool isOpen() const { return handle_.isValid(); }

    // Of a host controller.
    std::optional<std::u16string> rootHubName() const;

    // Of a hub. Ports count from 1.
    std::optional<std::uint32_t> portCount() const;
    std::optional<kernel::USB_NODE_CONNECTION_INFORMATION_EX> connection(std::uint32_t port) const;
    std::optional<kernel::USB_NODE_CONNECTION_INFORMATION_EX_V2> connectionV2(std::uint32_t port) const;
    std::optional<Companion> connector(std::uint32_t port) const;
    std::optional<std::u16string> driverKey(std::uint32_t port) const;
    std::optional<std::u16string> hubName(std::uint32_t port) const;

private:
    // Sends the record and receives the answer in its place.
    std::optional<Bytes> ask(std::uint32_t code, std::span<std::byte> record) const;
    std::optional<std::u16string> askName(std::uint32_t code, NameRecord kind, std::uint32_t port) const;

    nuv::FileHandleResManager handle_;
};

} // namespace usbtopo
