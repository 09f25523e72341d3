#include "DeviceFilter.h"

#include "Names.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace tkit5 {

namespace {

// With an empty value a filter asks whether the property is there and not false.
bool matches(PropertyFilter const & filter, DeviceProperty const * property) {
    if (property == nullptr) {
        return false;
    }
    Value const & value = property->value();
    if (filter.value.empty()) {
        return value.type() != DataType::BOOLEAN || value.valueBool();
    }
    return value.valueString().getUTF8Buffer() == filter.value;
}

std::string described(PropertyFilter const & filter) {
    return filter.value.empty() ? filter.name : fmt::format("{} = {}", filter.name, filter.value);
}

} // namespace

std::optional<std::string> whyNotAccepted(RegisteredTest const & test, DiagDevice const & device) {
    if (!device.hasCapability(test.required)) {
        return fmt::format("it lacks the capability {}", fmt::join(capabilityNames(test.required), " and "));
    }
    for (PropertyFilter const & filter : test.requirements) {
        if (!matches(filter, device.property(filter.name.c_str()))) {
            return fmt::format("it lacks the property {}", described(filter));
        }
    }
    for (PropertyFilter const & filter : test.exclusions) {
        if (matches(filter, device.property(filter.name.c_str()))) {
            return fmt::format("its property {} excludes it", described(filter));
        }
    }
    // Whatever a module declares: nothing overwrites the disk that the system runs from.
    if (test.destructive && matches({.name = "IsSystemDrive", .value = ""}, device.property("IsSystemDrive"))) {
        return "the system runs from it, and this test overwrites data";
    }
    return std::nullopt;
}

bool isOptionalDevice(RegisteredTest const & test, DiagDevice const & device) {
    for (NamedCapability const & named : namedCapabilities()) {
        if (test.optionalCapabilities.contains(named.capability) && device.hasCapability(named.capability)) {
            return true;
        }
    }
    return false;
}

} // namespace tkit5
