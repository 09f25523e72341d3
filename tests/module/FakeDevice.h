// A device under test of which each property is as the test says, where the PC's own catalogue would never offer it.
#pragma once

#include "StoragePc.h"

#include "nuv/Exception.h"
#include "tkit5.h"

#include <map>
#include <string>
#include <utility>

namespace test {

class FakeDevice : public tkit5::DiagDevice {
public:
    // The disk of stickPc, as its catalogue describes it: it has its DeviceInstanceId and no other property.
    FakeDevice() : hwLocator_(nuv::String(diskId)), name_(nuv::String(diskModel)) {
        has("DeviceInstanceId", nuv::String(diskId));
    }

    FakeDevice & has(std::string const & property, tkit5::Value const & value) {
        properties_.insert_or_assign(property, tkit5::DeviceProperty(value));
        return *this;
    }
    FakeDevice & lacks(std::string const & property) {
        properties_.erase(property);
        return *this;
    }
    FakeDevice & withCapability(tkit5::DeviceCapability capability) {
        capabilities_ = capabilities_ | capability;
        return *this;
    }
    FakeDevice & atLocator(char const * hwLocator) {
        hwLocator_ = nuv::String(hwLocator);
        return *this;
    }
    FakeDevice & called(char const * name, char const * description) {
        name_ = nuv::String(name);
        description_ = nuv::String(description);
        return *this;
    }
    FakeDevice & throwsAt(std::string property) { // when it is asked for that property
        thrower_ = std::move(property);
        return *this;
    }

    nuv::String name() const override { return name_; }
    nuv::String description() const override { return description_; }
    nuv::String hwLocator() const override { return hwLocator_; }
    nuv::String osLocator() const override { return nuv::String("\\\\.\\PhysicalDrive1"); }
    tkit5::DeviceProperty const * property(char const * name) const override {
        if (name == thrower_) {
            throw nuv::Exception("no properties today");
        }
        auto const found = properties_.find(name);
        return found == properties_.end() ? nullptr : &found->second;
    }
    bool hasCapability(tkit5::DeviceCapability all) const override { return capabilities_.contains(all); }
    tkit5::IDeviceImp const & imp() const override { return place_; }

private:
    class NoPlace final : public tkit5::IDeviceImp {
    public:
        nuv::String connectHubIdentifier() const override { return {}; }
        nuv::String identifier() const override { return {}; }
        nuv::String osName() const override { return {}; }
        nuv::Array<nuv::SharedResourceManager<tkit5::IDeviceImp>> children() const override { return {}; }
    };

    nuv::String hwLocator_;
    nuv::String name_;
    nuv::String description_;
    std::map<std::string, tkit5::DeviceProperty> properties_;
    tkit5::DeviceCapability capabilities_ = tkit5::DeviceCapability::USBMassStorage();
    std::string thrower_;
    NoPlace place_;
};

} // namespace test
