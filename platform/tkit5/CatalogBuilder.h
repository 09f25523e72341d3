// Puts the catalogue together from the bus, which knows ports, and the device tree, which knows everything else.
#pragma once

#include "DeviceCatalog.h"

#include <optional>
#include <string>
#include <vector>

namespace tkit5 {

class CatalogImp final : public IDeviceImp {
public:
    explicit CatalogImp(DeviceFacts const & facts)
        : connectHub_(facts.connectHub), identifier_(facts.identifier), osName_(facts.osName) {}

    nuv::String connectHubIdentifier() const override { return connectHub_; }
    nuv::String identifier() const override { return identifier_; }
    nuv::String osName() const override { return osName_; }
    nuv::Array<nuv::SharedResourceManager<IDeviceImp>> children() const override { return children_; }

    void addChild(nuv::SharedResourceManager<IDeviceImp> child) { children_.append(std::move(child)); }

private:
    nuv::String connectHub_;
    nuv::String identifier_;
    nuv::String osName_;
    nuv::Array<nuv::SharedResourceManager<IDeviceImp>> children_;
};

class CatalogBuilder {
public:
    explicit CatalogBuilder(DeviceCatalog & catalog);
    void build();

private:
    void addWholeBus();
    void addController(usbtopo::CUsbController const * bus, machine::NodeId node);
    CatalogDevice * addRootHub(usbtopo::CUsbController const * bus, machine::NodeId controller, std::string place);
    void addPorts(CatalogDevice & hub, usbtopo::CUsbHub const & bus);
    void addOnPort(CatalogDevice & hub, usbtopo::CUsbHub const & bus, std::uint32_t number);
    void addUnseen(CatalogDevice & hub);
    void addDisks(CatalogDevice & device);
    void addDisk(CatalogDevice & device, machine::NodeId node);

    machine::NodeId withoutDriver(machine::NodeId hub, std::uint32_t port) const;
    machine::NodeId nodeOnPort(CatalogDevice const & hub, usbtopo::CUsbPort const & port, std::uint32_t number) const;
    void takeNode(DeviceFacts & facts, machine::NodeId node);
    CatalogDevice & add(DeviceFacts facts);

    DeviceCatalog & catalog_;
    machine::DeviceTree const & tree_;
    std::vector<bool> taken_; // by node: stands in the catalogue already
};

} // namespace tkit5
