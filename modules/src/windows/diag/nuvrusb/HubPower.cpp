#include "DeviceStatus.h"

#include "RecordText.h"
#include "Reporting.h"

#include "usbtopo.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <span>

namespace nuvrusb {

using kernel::USB_CONNECTION_STATUS;
using tkit5::TestResult;

namespace {

struct GlobalFreeing {
    void operator()(void * memory) const { kernel::GlobalFree(memory); }
};

// The symbolic name of the hub on a parent hub's port, as the parent reports it. Empty when it cannot be learned.
nuv::String getHubDeviceName(kernel::HANDLE parentHub, std::uint32_t port) {
    TraceScope const trace(nuvrusbUnit, "getHubDeviceName", 1049);
    using Record = kernel::USB_NODE_CONNECTION_NAME;

    Record header{};
    header.ConnectionIndex = port;
    std::uint32_t returned = 0;
    if (!kernel::DeviceIoControl(parentHub, kernel::IOCTL_USB_GET_NODE_CONNECTION_NAME, &header, sizeof header, &header,
                                 sizeof header, &returned, nullptr)) {
        return {};
    }
    std::uint32_t const actualLength = header.ActualLength;
    if (actualLength <= sizeof header || actualLength > longestNameRecord) {
        return {};
    }
    std::unique_ptr<void, GlobalFreeing> const record(kernel::GlobalAlloc(kernel::GPTR, actualLength));
    if (!record) {
        return {};
    }
    std::memcpy(record.get(), &port, sizeof port);
    if (!kernel::DeviceIoControl(parentHub, kernel::IOCTL_USB_GET_NODE_CONNECTION_NAME, record.get(), actualLength,
                                 record.get(), actualLength, &returned, nullptr)) {
        return {};
    }
    return textAt({static_cast<std::byte const *>(record.get()), std::min(returned, actualLength)},
                  offsetof(Record, NodeName));
}

// Where a power fault on a port is logged and raised.
struct FaultSites {
    int powerLog;
    int powerEvent;
    int overcurrentLog;
    int overcurrentEvent;
};
constexpr FaultSites ownPortSites{1105, 1106, 1110, 1111};
constexpr FaultSites childHubPortSites{1121, 1122, 1126, 1127};

bool hasPowerFault(usbtopo::CUsbPort const & port, FaultSites const & sites) {
    std::uint32_t const status = port.connectionInformation().ConnectionStatus;
    if (status == static_cast<std::uint32_t>(USB_CONNECTION_STATUS::DeviceNotEnoughPower)) {
        nuvrusbUnit.log(1, sites.powerLog, "getPortsStatus() caught power exceed");
        raiseWarning(nuvrusbUnit, keys::DeviceNotEnoughPower, sites.powerEvent);
        return true;
    }
    if (status == static_cast<std::uint32_t>(USB_CONNECTION_STATUS::DeviceCausedOvercurrent)) {
        nuvrusbUnit.log(1, sites.overcurrentLog, "getPortsStatus caught overcurrent");
        raiseWarning(nuvrusbUnit, keys::DeviceCausedOvercurrent, sites.overcurrentEvent);
        return true;
    }
    return false;
}

TestResult getPortsStatus(nuv::String const & hubName) {
    usbtopo::CUsbHub const hub(&hubName, "HUB");
    usbtopo::CUsbHub::Ports const ports = hub.ports();
    for (nuv::SharedResourceManager<usbtopo::CUsbPort> const & port : ports) {
        if (!port) {
            continue;
        }
        if (hasPowerFault(*port, ownPortSites)) {
            return TestResult::WARN();
        }
        if (!port->childHub()) {
            continue;
        }
        usbtopo::CUsbHub::Ports const childPorts = port->childHub()->ports();
        if (std::ranges::any_of(childPorts, [](nuv::SharedResourceManager<usbtopo::CUsbPort> const & childPort) {
                return childPort && hasPowerFault(*childPort, childHubPortSites);
            })) {
            return TestResult::WARN();
        }
    }
    return TestResult::PASS();
}

} // namespace

TestResult getPowerConsumptionStatus(kernel::HANDLE parentHub, std::uint32_t port) {
    TraceScope const trace(nuvrusbUnit, "getPowerConsumptionStatus", 1096);
    nuv::String const hubName = getHubDeviceName(parentHub, port);
    // A hub whose name cannot be learned is not held against it.
    return hubName.empty() ? TestResult::PASS() : getPortsStatus(hubName);
}

} // namespace nuvrusb
