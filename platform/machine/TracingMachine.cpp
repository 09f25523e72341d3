#include "TracingMachine.h"

#include "Text.h"
#include "kernel/UsbRecords.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string>
#include <utility>

namespace machine {

namespace {

struct ControlName {
    std::uint32_t code;
    char const * ofHub; // null where the control is none of a hub's
    char const * ofController;
};

// One code means one thing to a hub and another to a host controller.
constexpr std::array<ControlName, 8> controlNames{{
    {kernel::IOCTL_USB_GET_ROOT_HUB_NAME, "USB_GET_NODE_INFORMATION", "USB_GET_ROOT_HUB_NAME"},
    {kernel::IOCTL_GET_HCD_DRIVERKEY_NAME, nullptr, "GET_HCD_DRIVERKEY_NAME"},
    {kernel::IOCTL_USB_GET_NODE_CONNECTION_NAME, "USB_GET_NODE_CONNECTION_NAME", nullptr},
    {kernel::IOCTL_USB_GET_NODE_CONNECTION_DRIVERKEY_NAME, "USB_GET_NODE_CONNECTION_DRIVERKEY_NAME", nullptr},
    {kernel::IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX, "USB_GET_NODE_CONNECTION_INFORMATION_EX", nullptr},
    {kernel::IOCTL_USB_GET_HUB_INFORMATION_EX, "USB_GET_HUB_INFORMATION_EX", nullptr},
    {kernel::IOCTL_USB_GET_PORT_CONNECTOR_PROPERTIES, "USB_GET_PORT_CONNECTOR_PROPERTIES", nullptr},
    {kernel::IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX_V2, "USB_GET_NODE_CONNECTION_INFORMATION_EX_V2", nullptr},
}};

// The member with the control's name; empty for a control that has none here.
std::string nameMember(std::uint32_t code, bool toController) {
    auto const found = std::ranges::find(controlNames, code, &ControlName::code);
    char const * const name =
        found == controlNames.end() ? nullptr : (toController ? found->ofController : found->ofHub);
    return name == nullptr ? std::string() : fmt::format(R"("name":"{}",)", name);
}

std::string quoted(std::u16string_view text) {
    std::string json = "\"";
    for (char const character : toUtf8(text)) {
        if (character == '"' || character == '\\') {
            json += '\\';
            json += character;
        } else if (static_cast<unsigned char>(character) < 0x20) {
            json += fmt::format("\\u{:04x}", static_cast<unsigned>(character));
        } else {
            json += character;
        }
    }
    return json += '"';
}

// Seconds to the nanosecond, exactly.
std::string seconds(Duration duration) {
    auto const whole = std::chrono::duration_cast<std::chrono::seconds>(duration);
    return fmt::format("{}.{:09}", whole.count(), (duration - whole).count());
}

} // namespace

class TracingMachine::TracedClock final : public Clock {
public:
    TracedClock(Clock & traced, WriteLine const & writeLine) : traced_(traced), writeLine_(writeLine) {}

    Duration now() const override { return traced_.now(); }
    bool isVirtual() const override { return traced_.isVirtual(); }

    void sleep(Duration duration) override {
        Duration const start = now();
        traced_.sleep(duration);
        writeLine_(fmt::format(R"({{"t":{},"call":"wait","seconds":{}}})", seconds(start),
                               seconds(std::max(duration, Duration::zero()))));
    }

private:
    Clock & traced_;
    WriteLine const & writeLine_;
};

class TracingMachine::TracedFile final : public File {
public:
    TracedFile(std::unique_ptr<File> traced, TracingMachine & machine, std::uint32_t handle, bool isController)
        : traced_(std::move(traced)), machine_(machine), handle_(handle), isController_(isController) {}
    TracedFile(TracedFile const &) = delete;
    TracedFile & operator=(TracedFile const &) = delete;

    ~TracedFile() override {
        Duration const start = machine_.clock().now();
        traced_.reset();
        try {
            machine_.writeLine_(fmt::format(R"({{"t":{},"call":"close","handle":{}}})", seconds(start), handle_));
        } catch (...) {
            // Out of memory: the line is lost, the file is closed all the same.
        }
    }

    Transfer control(std::uint32_t code, std::span<std::byte const> input, std::span<std::byte> output,
                     std::optional<Duration> limit) override {
        Duration const start = machine_.clock().now();
        Transfer const transfer = traced_->control(code, input, output, limit);
        machine_.writeLine_(
            fmt::format(R"({{"t":{},"call":"control","handle":{},"code":"0x{:X}",{}"in":{},"out":{},"limit":{},)"
                        R"("returned":{},"error":{}}})",
                        seconds(start), handle_, code, nameMember(code, isController_), input.size(), output.size(),
                        limit ? seconds(*limit) : "null", transfer.bytes, transfer.error));
        return transfer;
    }

private:
    std::unique_ptr<File> traced_;
    TracingMachine & machine_;
    std::uint32_t handle_;
    bool isController_;
};

TracingMachine::TracingMachine(Machine & traced, std::ostream & stream)
    : TracingMachine(traced, [&stream](std::string_view line) {
          try {
              stream << line << '\n';
          } catch (...) {
              // A stream may have been told to throw; a lost trace must not change what is traced.
          }
      }) {}

TracingMachine::TracingMachine(Machine & traced, WriteLine writeLine)
    : traced_(traced), writeLine_(std::move(writeLine)),
      clock_(std::make_unique<TracedClock>(traced.clock(), writeLine_)) {
    DeviceTree const & tree = traced_.devices();
    for (NodeId id = tree.root(); id <= tree.size(); ++id) {
        if (tree[id].nodeClass == NodeClass::HostController) {
            controllerPaths_.insert(foldedCase(withoutDevicePrefix(tree[id].interfacePath)));
        }
    }
}

TracingMachine::~TracingMachine() = default;

Opened TracingMachine::open(OpenRequest const & request) {
    Duration const start = clock_->now();
    Opened opened = traced_.open(request);
    std::string const head = fmt::format(
        R"({{"t":{},"call":"open","path":{},"access":"0x{:X}","share":"0x{:X}","disposition":"0x{:X}","flags":"0x{:X}")",
        seconds(start), quoted(request.path), request.access, request.share, request.disposition, request.flags);
    if (!opened.file) {
        writeLine_(fmt::format(R"({},"error":{}}})", head, opened.error));
        return opened;
    }
    ++lastHandle_;
    writeLine_(fmt::format(R"({},"handle":{}}})", head, lastHandle_));
    opened.file = std::make_unique<TracedFile>(std::move(opened.file), *this, lastHandle_, isController(request.path));
    return opened;
}

Clock & TracingMachine::clock() {
    return *clock_;
}

bool TracingMachine::isController(std::u16string_view path) const {
    return controllerPaths_.contains(foldedCase(withoutDevicePrefix(path)));
}

} // namespace machine
