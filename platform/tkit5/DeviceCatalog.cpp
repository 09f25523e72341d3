#include "DeviceCatalog.h"

#include "CatalogBuilder.h"

namespace tkit5 {

namespace {

nuv::SharedResourceManager<IDeviceImp> shared(CatalogImp * imp) {
    return nuv::SharedResourceManager<IDeviceImp>(imp);
}

} // namespace

CatalogDevice::CatalogDevice(DeviceFacts facts)
    : facts_(std::move(facts)), imp_(shared(new CatalogImp(facts_))), ownImp_(static_cast<CatalogImp *>(imp_.get())) {}

DeviceProperty const * CatalogDevice::property(char const * name) const {
    for (auto const & [known, property] : facts_.properties) {
        if (known == name) {
            return &property;
        }
    }
    return nullptr;
}

IDeviceImp const & CatalogDevice::imp() const {
    return *imp_;
}

std::string CatalogDevice::displayName() const {
    for (nuv::String const * text : {&facts_.name, &facts_.description}) {
        std::string const name = text->getUTF8String();
        if (std::size_t const first = name.find_first_not_of(' '); first != std::string::npos) {
            return name.substr(first, name.find_last_not_of(' ') + 1 - first);
        }
    }
    return facts_.identifier.getUTF8String();
}

DeviceCatalog::DeviceCatalog() {
    CatalogBuilder(*this).build();
}

CatalogDevice const * DeviceCatalog::onPort(usbtopo::CUsbPort const & port) const {
    auto const found = onPort_.find(&port);
    return found == onPort_.end() ? nullptr : found->second;
}

std::vector<CatalogDevice const *> DeviceCatalog::find(std::string_view identifier) const {
    nuv::String const wanted{std::string(identifier)};
    std::vector<CatalogDevice const *> found;
    if (wanted.empty()) {
        return found; // devices without an OS locator are not meant
    }
    for (auto const & device : devices_) {
        if (wanted.equalNoCase(device->facts().identifier) || wanted.equalNoCase(device->facts().osName)) {
            found.push_back(device.get());
        }
    }
    return found;
}

} // namespace tkit5
