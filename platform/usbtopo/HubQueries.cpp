#include "HubQueries.h"

#include "kernel.h"
#include "machine/Text.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace usbtopo {

namespace {

// Room for a connection record with as many open pipes as a device can have, and for every usual name.
constexpr std::size_t usualRoom =
    sizeof(kernel::USB_NODE_CONNECTION_INFORMATION_EX) + 100 * sizeof(kernel::USB_PIPE_INFO);
static_assert(usualRoom == 1135);

// A zero-filled record, on the stack where it fits.
class Record {
public:
    explicit Record(std::size_t size) : size_(size) {
        if (size_ > usual_.size()) {
            large_.resize(size_);
        } else {
            std::fill_n(usual_.begin(), size_, std::byte{});
        }
    }

    std::span<std::byte> bytes() { return {large_.empty() ? usual_.data() : large_.data(), size_}; }

    template <class Value> void put(std::size_t offset, Value value) {
        std::memcpy(bytes().data() + offset, &value, sizeof value);
    }

private:
    std::size_t size_;
    std::array<std::byte, usualRoom> usual_; // set in the constructor, as far as it is used
    std::vector<std::byte> large_;
};

// Every record of a hub's port begins with the number of the port.
Record recordOfPort(std::size_t size, std::uint32_t port) {
    Record record(size);
    record.put(0, port);
    return record;
}

nuv::CreateFileOpenArgs openArgs(std::u16string_view path) {
    nuv::CreateFileOpenArgs args;
    args.fileName = nuv::String(path);
    args.desiredAccess = kernel::GENERIC_WRITE;
    args.shareMode = kernel::FILE_SHARE_READ | kernel::FILE_SHARE_WRITE; // whoever else has it open may keep it
    return args;
}

} // namespace

std::u16string devicePath(std::u16string_view symbolicName) {
    return std::u16string(u"\\\\?\\").append(machine::withoutDevicePrefix(symbolicName));
}

QueriedDevice::QueriedDevice(std::u16string_view path) : handle_(openArgs(path)) {}

std::optional<std::u16string> QueriedDevice::rootHubName() const {
    return askName(kernel::IOCTL_USB_GET_ROOT_HUB_NAME, NameRecord::OfController, 0);
}

std::optional<std::uint32_t> QueriedDevice::portCount() const {
    Record record(sizeof(kernel::USB_NODE_INFORMATION));
    auto const answer = ask(kernel::IOCTL_USB_GET_NODE_INFORMATION, record.bytes());
    return answer ? parsePortCount(*answer) : std::nullopt;
}

std::optional<kernel::USB_NODE_CONNECTION_INFORMATION_EX> QueriedDevice::connection(std::uint32_t port) const {
    Record record = recordOfPort(usualRoom, port);
    auto const answer = ask(kernel::IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX, record.bytes());
    return answer ? parseConnection(*answer) : std::nullopt;
}

std::optional<kernel::USB_NODE_CONNECTION_INFORMATION_EX_V2> QueriedDevice::connectionV2(std::uint32_t port) const {
    using V2 = kernel::USB_NODE_CONNECTION_INFORMATION_EX_V2;
    Record record = recordOfPort(sizeof(V2), port);
    record.put(offsetof(V2, Length), static_cast<std::uint32_t>(sizeof(V2)));
    record.put(offsetof(V2, SupportedUsbProtocols), kernel::Usb110 | kernel::Usb200 | kernel::Usb300);
    auto const answer = ask(kernel::IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX_V2, record.bytes());
    return answer ? parseConnectionV2(*answer) : std::nullopt;
}

std::optional<Companion> QueriedDevice::connector(std::uint32_t port) const {
    auto const askWithRoom = [&](std::size_t size) -> std::optional<Companion> {
        Record record = recordOfPort(size, port);
        auto const answer = ask(kernel::IOCTL_USB_GET_PORT_CONNECTOR_PROPERTIES, record.bytes());
        return answer ? parseConnector(*answer) : std::nullopt;
    };
    auto const companion = askWithRoom(usualRoom);
    return companion && companion->fullSize > usualRoom ? askWithRoom(companion->fullSize) : companion;
}

std::optional<std::u16string> QueriedDevice::driverKey(std::uint32_t port) const {
    return askName(kernel::IOCTL_USB_GET_NODE_CONNECTION_DRIVERKEY_NAME, NameRecord::OfPort, port);
}

std::optional<std::u16string> QueriedDevice::hubName(std::uint32_t port) const {
    return askName(kernel::IOCTL_USB_GET_NODE_CONNECTION_NAME, NameRecord::OfPort, port);
}

std::optional<Bytes> QueriedDevice::ask(std::uint32_t code, std::span<std::byte> record) const {
    auto const size = static_cast<std::uint32_t>(record.size());
    std::uint32_t returned = 0;
    if (!kernel::DeviceIoControl(handle_.get(), code, record.data(), size, record.data(), size, &returned, nullptr)) {
        return std::nullopt;
    }
    return Bytes(record).first(returned);
}

// Twice: for the length of the record, then for all of it.
std::optional<std::u16string> QueriedDevice::askName(std::uint32_t code, NameRecord kind, std::uint32_t port) const {
    auto const recordOf = [&](std::size_t size) {
        return kind == NameRecord::OfPort ? recordOfPort(size, port) : Record(size);
    };
    Record head = recordOf(emptyNameSize(kind));
    auto const headAnswer = ask(code, head.bytes());
    auto const size = headAnswer ? parseNameRecordSize(kind, *headAnswer) : std::nullopt;
    if (!size || *size <= emptyNameSize(kind)) {
        return std::nullopt;
    }
    Record whole = recordOf(*size);
    auto const answer = ask(code, whole.bytes());
    return answer ? parseName(kind, *answer) : std::nullopt;
}

} // namespace usbtopo
