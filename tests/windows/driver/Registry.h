// What SetupAPI tells of devices is in the registry.
#pragma once

#include "machine/DeviceTree.h"

#include <string>
#include <vector>

namespace livepc {

// The device interfaces of a class, as Windows writes their paths: "\\?\" and the instance ID with "#" for "\".
std::u16string interfacePath(std::u16string_view instanceId, std::u16string_view interfaceClass);
inline constexpr std::u16string_view diskInterfaces = u"{53f56307-b6bf-11d0-94f2-00a0c91efb8b}";

// Enters the devices of a tree, and takes them out again.
class RegisteredDevices {
public:
    explicit RegisteredDevices(machine::DeviceTree const & tree); // throws a sentence when the registry refuses
    RegisteredDevices(RegisteredDevices const &) = delete;
    RegisteredDevices & operator=(RegisteredDevices const &) = delete;
    ~RegisteredDevices();

private:
    void enter(machine::DeviceNode const & node);
    void enterInterface(machine::DeviceNode const & node, std::u16string_view interfaceClass, std::u16string path);

    std::vector<std::wstring> keys_;
};

} // namespace livepc
