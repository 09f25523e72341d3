// The bus as a tree for people and hosts: what is on every port, how fast it runs, and what is wrong with it.
#pragma once

#include "DeviceCatalog.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tkit5 {

struct HubView;

struct PortView {
    std::uint32_t number = 0;
    bool wasRead = false;      // nothing below is known otherwise
    std::uint32_t status = 0;  // USB_CONNECTION_STATUS
    bool speedIsKnown = false; // not where the hub has no device descriptor, as after a failed enumeration
    std::uint8_t speed = 0;    // of the device
    std::string version;       // at which the port runs, "" when unknown
    std::string maximum;       // of its connector, "" when unknown
    usbtopo::CUsbPort const * onBus = nullptr;
    CatalogDevice const * device = nullptr; // null on an empty port
    std::vector<std::string> faults;
    std::unique_ptr<HubView> hub;

    bool isEmpty() const { return wasRead && device == nullptr; }
};

struct HubView {
    CatalogDevice const * device = nullptr;
    std::vector<std::string> faults;
    std::vector<PortView> ports;
};

struct ControllerView {
    std::size_t number = 0; // from 1
    CatalogDevice const * device = nullptr;
    std::string version; // "" when unknown
    std::vector<std::string> faults;
    std::unique_ptr<HubView> rootHub; // null when nothing is known of it
};

// Valid as long as the catalogue.
std::vector<ControllerView> readTopology(DeviceCatalog const & catalog);

// "high" for the speed byte 2; empty for an unknown one.
char const * speedName(std::uint8_t speed);

// "DeviceConnected" for 1; empty for an unknown status.
char const * statusName(std::uint32_t status);

} // namespace tkit5
