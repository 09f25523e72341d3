// The devices of this PC as SetupAPI lists them.
#pragma once

#include "NodeTraits.h"

#include <cstdint>
#include <string>
#include <vector>

namespace machine::windows {

struct ListedDevice {
    std::uint32_t devInst = 0; // its handle in CfgMgr32
    NodeTraits traits;
    std::u16string parentId; // instance ID; empty where it is not told
    std::u16string driverKey;
    std::u16string description;
    std::u16string friendlyName;
    std::u16string busReportedDescription;
    std::uint32_t address = 0; // on its bus; on a hub the number of the port
};

// All devices that are present, in the order of the system.
std::vector<ListedDevice> listDevices();

} // namespace machine::windows
