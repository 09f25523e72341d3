#include "DeviceStatus.h"

#include "DeviceNodes.h"
#include "RecordText.h"
#include "Reporting.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <memory>

namespace nuvrusb {

using kernel::USB_CONNECTION_STATUS;

namespace {

// A connection record with room for 100 pipes behind it.
constexpr std::size_t connectionBufferSize =
    sizeof(kernel::USB_NODE_CONNECTION_INFORMATION_EX) + 100 * sizeof(kernel::USB_PIPE_INFO);
static_assert(connectionBufferSize == 1135);
using ConnectionBuffer = std::array<std::byte, connectionBufferSize>;

bool queryConnection(kernel::HANDLE hub, std::uint32_t port, ConnectionBuffer & buffer,
                     kernel::USB_NODE_CONNECTION_INFORMATION_EX & connection) {
    std::memcpy(buffer.data(), &port, sizeof port);
    auto const size = static_cast<std::uint32_t>(buffer.size());
    std::uint32_t returned = 0;
    if (!kernel::DeviceIoControl(hub, kernel::IOCTL_USB_GET_NODE_CONNECTION_INFORMATION_EX, buffer.data(), size,
                                 buffer.data(), size, &returned, nullptr)) {
        return false;
    }
    std::memcpy(&connection, buffer.data(), sizeof connection);
    return true;
}

std::int32_t codeOfConnectionStatus(std::uint32_t status) {
    constexpr auto lastKnown = static_cast<std::uint32_t>(USB_CONNECTION_STATUS::DeviceReset);
    return status <= lastKnown ? status_code::notConnected + static_cast<std::int32_t>(status) : status_code::unknown;
}

std::int32_t checkChildNode(kernel::HANDLE hub, std::uint32_t port) {
    nuv::String const description = GetDeviceDescriptionOfChild(hub, port);
    std::uint32_t problem = 0;
    std::uint8_t disabled = 0;
    GetStatusProblemOfChild(hub, port, problem, disabled);
    if (disabled != 0) {
        nuvrusbUnit.log(3, 577, "Child device is disabled");
        nuvrusbUnit.log(1, 578, [&](nuv::LoggerStream & message) { message << "Device: " << description; });
        raiseWarning(nuvrusbUnit, keys::ChildDeviceIsDisabled, 579);
        return status_code::childDisabled;
    }
    if (problem != 0) {
        nuvrusbUnit.log(3, 584, [&](nuv::LoggerStream & message) {
            message << nuv::SprintfFormat("Child device has configuration manager problem: 0x%x", problem)
                    << ", Device: " << description;
        });
        raiseError(nuvrusbUnit, keys::ChildDeviceHasConfigManagerProblem, 585);
        return status_code::misconfigured;
    }
    return status_code::healthy;
}

} // namespace

std::int32_t CheckDeviceStatus(kernel::HANDLE hub, std::uint32_t port) {
    TraceScope const trace(nuvrusbUnit, "CheckDeviceStatus", 492);
    ConnectionBuffer first{};
    kernel::USB_NODE_CONNECTION_INFORMATION_EX connection{};
    if (!queryConnection(hub, port, first, connection)) {
        std::uint32_t const error = nuv::System::getSystemError();
        raiseError(nuvrusbUnit, keys::DeviceIORequestFail, 517);
        if (error == kernel::ERROR_DEVICE_NOT_CONNECTED) {
            nuvrusbUnit.log(3, 520, "Device is not connected");
            return status_code::notConnected;
        }
        return status_code::generalFailureOrQueryFailed;
    }

    constexpr auto connected = static_cast<std::uint32_t>(USB_CONNECTION_STATUS::DeviceConnected);
    std::uint32_t const status = connection.ConnectionStatus;
    if (status != connected) {
        nuvrusbUnit.log(3, 536, [status](nuv::LoggerStream & message) {
            message << "Device connection failure; status " << status;
        });
        raiseWarning(nuvrusbUnit, keys::DeviceNotConnected, 537);
        return codeOfConnectionStatus(status);
    }
    if (connection.CurrentConfigurationValue == 0) {
        nuvrusbUnit.log(3, 531,
                        "Device is misconfigured as the CurrentConfigurationValue is ZERO. The value should be non "
                        "zero.");
        raiseWarning(nuvrusbUnit, keys::DeviceConfigurationError, 532);
        return status_code::misconfigured;
    }

    auto const second = std::make_unique<ConnectionBuffer>();
    if (!queryConnection(hub, port, *second, connection)) {
        raiseError(nuvrusbUnit, keys::DeviceIORequestFail, 556);
        return status_code::secondQueryFailed;
    }
    if (std::uint32_t const now = connection.ConnectionStatus; now != connected) {
        nuvrusbUnit.log(1, 561, [now](nuv::LoggerStream & message) { message << "Bad connection status: " << now; });
    }
    return checkChildNode(hub, port);
}

} // namespace nuvrusb
