// The devices of the PC, as tests are offered them.
#pragma once

#include "machine/DeviceTree.h"
#include "tkit5.h"
#include "usbtopo.h"

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace tkit5 {

// What is known of one device.
struct DeviceFacts {
    nuv::String identifier; // never empty; need not be unique
    nuv::String name;
    nuv::String description;
    nuv::String osName;       // path by which it can be opened, else its instance ID; may be empty
    nuv::String connectHub;   // identifier of the hub that it is connected to
    nuv::String serialNumber; // of a disk, without blanks around it; may be empty
    DeviceCapability capabilities;
    std::string place; // "1-3.2": controller 1, root port 3, port 2 of the hub there; empty when unknown
    machine::NodeId node = machine::noNode;
    std::vector<std::pair<std::string, DeviceProperty>> properties;

    void set(char const * property, Value value) {
        properties.emplace_back(property, DeviceProperty(std::move(value)));
    }
};

class CatalogImp;

class CatalogDevice final : public DiagDevice {
public:
    explicit CatalogDevice(DeviceFacts facts);

    nuv::String name() const override { return facts_.name; }
    nuv::String description() const override { return facts_.description; }
    nuv::String hwLocator() const override { return facts_.identifier; }
    nuv::String osLocator() const override { return facts_.osName; }
    DeviceProperty const * property(char const * name) const override;
    bool hasCapability(DeviceCapability all) const override { return facts_.capabilities.contains(all); }
    IDeviceImp const & imp() const override;

    DeviceFacts const & facts() const { return facts_; }
    std::string displayName() const; // its name, else its description, else what it is called by

    // Devices of the operating system that belong below this one but are on none of its ports: the disks of a device,
    // and what the system knows behind a hub that cannot be asked.
    std::vector<CatalogDevice const *> const & below() const { return below_; }

private:
    friend class CatalogBuilder;
    DeviceFacts facts_;
    nuv::SharedResourceManager<IDeviceImp> imp_;
    CatalogImp * ownImp_; // what imp_ holds
    std::vector<CatalogDevice const *> below_;
};

class DeviceCatalog {
public:
    struct Controller {
        CatalogDevice const * device;
        usbtopo::CUsbController const * bus; // null for a disabled controller
        CatalogDevice const * rootHub;       // null when nothing is known of it
    };

    // Reads the bus and the device tree of the machine in use. Blocks as reading the bus does.
    DeviceCatalog();
    DeviceCatalog(DeviceCatalog const &) = delete;
    DeviceCatalog & operator=(DeviceCatalog const &) = delete;

    // The whole bus first; then each controller, its root hub, and what is on its ports, depth first; a disk right
    // after its USB device.
    std::vector<std::unique_ptr<CatalogDevice>> const & devices() const { return devices_; }
    std::vector<Controller> const & controllers() const { return controllers_; }
    CatalogDevice const * onPort(usbtopo::CUsbPort const & port) const; // null for an empty port

    // Every device with that identifier or OS locator, whatever the letter case.
    std::vector<CatalogDevice const *> find(std::string_view identifier) const;

private:
    friend class CatalogBuilder;
    usbtopo::CUsbSystem system_;
    std::vector<std::unique_ptr<CatalogDevice>> devices_;
    std::vector<Controller> controllers_;
    std::unordered_map<usbtopo::CUsbPort const *, CatalogDevice const *> onPort_;
};

} // namespace tkit5
