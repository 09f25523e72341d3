#include "tkit5/DeviceFilter.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>

namespace {

using tkit5::DeviceCapability;
using tkit5::DeviceProperty;
using tkit5::DiagDevice;
using tkit5::IDeviceImp;
using tkit5::isOptionalDevice;
using tkit5::RegisteredTest;
using tkit5::TkitException;
using tkit5::Value;
using tkit5::whyNotAccepted;

// A device that is nothing but its capabilities and properties.
class PlainDevice final : public DiagDevice {
public:
    explicit PlainDevice(DeviceCapability capabilities) : capabilities_(capabilities) {}
    PlainDevice & with(std::string const & name, Value value) {
        properties_.emplace(name, DeviceProperty(std::move(value)));
        return *this;
    }

    nuv::String name() const override { return {}; }
    nuv::String description() const override { return {}; }
    nuv::String hwLocator() const override { return {}; }
    nuv::String osLocator() const override { return {}; }
    DeviceProperty const * property(char const * name) const override {
        auto const found = properties_.find(name);
        return found == properties_.end() ? nullptr : &found->second;
    }
    bool hasCapability(DeviceCapability all) const override { return capabilities_.contains(all); }
    IDeviceImp const & imp() const override { throw TkitException("not asked for"); }

private:
    DeviceCapability capabilities_;
    std::map<std::string, DeviceProperty> properties_;
};

using Test = std::unique_ptr<RegisteredTest>;

Test forCapability(DeviceCapability required) {
    auto test = std::make_unique<RegisteredTest>();
    test->required = required;
    return test;
}

Test requiring(std::string const & name, std::string const & value) {
    auto test = forCapability(DeviceCapability::USB());
    test->requirements.push_back({name, value});
    return test;
}

Test excluding(std::string const & name, std::string const & value) {
    auto test = forCapability(DeviceCapability::USB());
    test->exclusions.push_back({name, value});
    return test;
}

bool accepts(Test const & test, PlainDevice const & device) {
    return !whyNotAccepted(*test, device);
}

PlainDevice usbDevice() {
    return PlainDevice(DeviceCapability::USB());
}

TEST(DeviceFilter, EveryRequiredCapabilityIsNeeded) {
    auto const test = forCapability(DeviceCapability::USB() | DeviceCapability::HUB());
    EXPECT_TRUE(accepts(test, PlainDevice(DeviceCapability::USB() | DeviceCapability::HUB())));
    EXPECT_FALSE(accepts(test, PlainDevice(DeviceCapability::USB())));
    EXPECT_EQ(whyNotAccepted(*test, PlainDevice(DeviceCapability::USB())), "it lacks the capability USB and HUB");
}

TEST(DeviceFilter, RequirementWithoutAValueAsksForPresentAndNotFalse) {
    auto const test = requiring("P", "");
    EXPECT_FALSE(accepts(test, usbDevice()));
    EXPECT_FALSE(accepts(test, usbDevice().with("P", false)));
    EXPECT_TRUE(accepts(test, usbDevice().with("P", true)));
    EXPECT_TRUE(accepts(test, usbDevice().with("P", std::uint32_t{0})));
    EXPECT_TRUE(accepts(test, usbDevice().with("P", "")));
    EXPECT_EQ(whyNotAccepted(*test, usbDevice()), "it lacks the property P");
}

TEST(DeviceFilter, ExclusionWithoutAValueAsksForPresentAndNotFalse) {
    auto const test = excluding("P", "");
    EXPECT_TRUE(accepts(test, usbDevice()));
    EXPECT_TRUE(accepts(test, usbDevice().with("P", false)));
    EXPECT_FALSE(accepts(test, usbDevice().with("P", true)));
    EXPECT_EQ(whyNotAccepted(*test, usbDevice().with("P", true)), "its property P excludes it");
}

TEST(DeviceFilter, ValueIsComparedAsTextExactly) {
    auto const test = excluding("DeviceVendorID", "203A");
    EXPECT_FALSE(accepts(test, usbDevice().with("DeviceVendorID", "203A")));
    EXPECT_TRUE(accepts(test, usbDevice().with("DeviceVendorID", "203a")));
    EXPECT_TRUE(accepts(test, usbDevice().with("DeviceVendorID", "203AB")));
    EXPECT_TRUE(accepts(requiring("N", "2034"), usbDevice().with("N", std::uint32_t{2034})));
    EXPECT_FALSE(accepts(requiring("N", "2034"), usbDevice()));
}

TEST(DeviceFilter, DestructiveTestNeverTakesTheSystemDrive) {
    auto const test = forCapability(DeviceCapability::USBMassStorage());
    PlainDevice disk(DeviceCapability::USBMassStorage());
    disk.with("IsSystemDrive", true);
    EXPECT_TRUE(accepts(test, disk));
    test->destructive = true;
    EXPECT_FALSE(accepts(test, disk));
}

TEST(DeviceFilter, OptionalDevicesHaveAnyOfTheCapabilities) {
    auto const test = requiring("P", "");
    test->optionalCapabilities = DeviceCapability::HUB() | DeviceCapability::USBController();
    EXPECT_TRUE(isOptionalDevice(*test, PlainDevice(DeviceCapability::HUB() | DeviceCapability::USB())));
    EXPECT_TRUE(isOptionalDevice(*test, PlainDevice(DeviceCapability::USBController())));
    EXPECT_FALSE(isOptionalDevice(*test, usbDevice()));
    EXPECT_FALSE(isOptionalDevice(RegisteredTest(), usbDevice()));
}

} // namespace
