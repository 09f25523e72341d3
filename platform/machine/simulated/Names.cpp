#include "Names.h"

#include "machine/Text.h"

#include <algorithm>

namespace machine::simulated {

namespace {

std::u16string interfaceName(std::u16string_view instanceId, std::u16string_view interfaceClass) {
    if (instanceId.empty()) {
        return {};
    }
    std::u16string name(instanceId);
    std::ranges::replace(name, u'\\', u'#');
    return (name += u'#') += interfaceClass;
}

std::u16string asPath(std::u16string const & name) {
    return name.empty() ? name : u"\\\\?\\" + name;
}

} // namespace

std::u16string pathKey(std::u16string_view path) {
    return foldedCase(withoutDevicePrefix(path));
}

std::u16string decimal(std::uint32_t number) {
    std::u16string digits;
    do {
        digits.insert(digits.begin(), static_cast<char16_t>(u'0' + number % 10));
        number /= 10;
    } while (number != 0);
    return digits;
}

std::u16string controllerPath(std::u16string_view instanceId) {
    return asPath(interfaceName(instanceId, u"{3abf6f2d-71c4-462a-8a92-1e6861e6af27}"));
}

std::u16string devicePath(std::u16string_view instanceId) {
    return asPath(interfaceName(instanceId, u"{a5dcbf10-6530-11d2-901f-00c04fb951ed}"));
}

std::u16string hubName(std::u16string_view instanceId) {
    return interfaceName(instanceId, u"{f18a0e88-c30c-11d0-8815-00a0c906bed8}");
}

std::u16string rootHubInstanceId(std::uint32_t controllerNumber) {
    return u"USB\\ROOT_HUB30\\" + decimal(controllerNumber);
}

std::u16string diskPath(std::uint32_t diskNumber) {
    return u"\\\\.\\PhysicalDrive" + decimal(diskNumber);
}

std::u16string volumePath(std::uint32_t diskNumber, std::uint32_t volumeNumber) {
    auto const padded = [](std::uint32_t number, std::size_t size) {
        std::u16string const digits = decimal(number);
        return std::u16string(size - std::min(size, digits.size()), u'0') + digits;
    };
    return u"\\\\?\\Volume{00000000-0000-4000-8000-" + padded(diskNumber, 6) + padded(volumeNumber, 6) + u"}";
}

} // namespace machine::simulated
