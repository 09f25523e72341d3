#include "DeviceSet.h"

#include "Records.h"
#include "Wide.h"
#include "machine/Text.h"

#include <windows.h>

#include <cfgmgr32.h>
#include <setupapi.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <unordered_map>
#include <utility>

namespace machine::windows {

namespace {

// Device interfaces and properties, as published in usbiodef.h, winioctl.h and devpkey.h.
constexpr GUID hostControllers{0x3ABF6F2D, 0x71C4, 0x462A, {0x8A, 0x92, 0x1E, 0x68, 0x61, 0xE6, 0xAF, 0x27}};
constexpr GUID hubs{0xF18A0E88, 0xC30C, 0x11D0, {0x88, 0x15, 0x00, 0xA0, 0xC9, 0x06, 0xBE, 0xD8}};
constexpr GUID usbDevices{0xA5DCBF10, 0x6530, 0x11D2, {0x90, 0x1F, 0x00, 0xC0, 0x4F, 0xB9, 0x51, 0xED}};
constexpr GUID disks{0x53F56307, 0xB6BF, 0x11D0, {0x94, 0xF2, 0x00, 0xA0, 0xC9, 0x1E, 0xFB, 0x8B}};
constexpr DEVPROPKEY parentOf{{0x4340A6C5, 0x93FA, 0x4706, {0x97, 0x2C, 0x7B, 0x64, 0x80, 0x08, 0xA5, 0xA7}}, 8};
constexpr DEVPROPKEY reportedByBus{{0x540B947E, 0x8B40, 0x45BC, {0xA8, 0xA2, 0x6A, 0x0B, 0x89, 0x4C, 0xBD, 0xA2}}, 4};
constexpr DEVPROPKEY addressOnBus{{0xA45C254E, 0xDF1C, 0x4EFD, {0x80, 0x20, 0x67, 0xD1, 0x46, 0xA8, 0x50, 0xE0}}, 30};

class InfoSet {
public:
    InfoSet(GUID const * interfaceClass, DWORD flags)
        : set_(SetupDiGetClassDevsW(interfaceClass, nullptr, nullptr, flags)) {}
    InfoSet(InfoSet const &) = delete;
    InfoSet & operator=(InfoSet const &) = delete;
    ~InfoSet() {
        if (set_ != INVALID_HANDLE_VALUE) {
            SetupDiDestroyDeviceInfoList(set_);
        }
    }
    HDEVINFO get() const { return set_; }

private:
    HDEVINFO set_;
};

// The value that a function of SetupAPI writes: it is asked for the size first. ask(buffer, size, needed).
template <class Ask> std::vector<std::byte> valueOf(Ask ask) {
    std::vector<std::byte> value(512);
    DWORD needed = 0;
    if (ask(value.data(), static_cast<DWORD>(value.size()), &needed) == FALSE) {
        if (GetLastError() != ERROR_INSUFFICIENT_BUFFER || needed <= value.size()) {
            return {};
        }
        value.assign(needed, std::byte{});
        if (ask(value.data(), needed, &needed) == FALSE) {
            return {};
        }
    }
    value.resize(std::min<std::size_t>(needed, value.size()));
    return value;
}

class DeviceReader {
public:
    DeviceReader(HDEVINFO set, SP_DEVINFO_DATA & device) : set_(set), device_(&device) {}

    std::vector<std::byte> registry(DWORD property) const {
        return valueOf([&](std::byte * buffer, DWORD size, DWORD * needed) {
            return SetupDiGetDeviceRegistryPropertyW(set_, device_, property, nullptr, reinterpret_cast<BYTE *>(buffer),
                                                     size, needed);
        });
    }

    std::vector<std::byte> property(DEVPROPKEY const & key) const {
        return valueOf([&](std::byte * buffer, DWORD size, DWORD * needed) {
            DEVPROPTYPE type = 0;
            return SetupDiGetDevicePropertyW(set_, device_, &key, &type, reinterpret_cast<BYTE *>(buffer), size, needed,
                                             0);
        });
    }

    std::u16string instanceId() const {
        std::wstring id(MAX_DEVICE_ID_LEN, L'\0');
        DWORD needed = 0;
        if (SetupDiGetDeviceInstanceIdW(set_, device_, id.data(), static_cast<DWORD>(id.size()), &needed) == FALSE) {
            return {};
        }
        return fromWide(id.c_str());
    }

private:
    HDEVINFO set_;
    SP_DEVINFO_DATA * device_;
};

// The first path of each device that has the interface, by its instance ID in upper case.
std::unordered_map<std::u16string, std::u16string> interfacePaths(GUID const & interfaceClass) {
    InfoSet const set(&interfaceClass, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE);
    std::unordered_map<std::u16string, std::u16string> paths;
    SP_DEVICE_INTERFACE_DATA found{};
    found.cbSize = sizeof found;
    for (DWORD index = 0; SetupDiEnumDeviceInterfaces(set.get(), nullptr, &interfaceClass, index, &found) != FALSE;
         ++index) {
        SP_DEVINFO_DATA device{};
        device.cbSize = sizeof device;
        auto const record = valueOf([&](std::byte * buffer, DWORD size, DWORD * needed) {
            auto * const detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W *>(buffer);
            detail->cbSize = sizeof *detail;
            return SetupDiGetDeviceInterfaceDetailW(set.get(), &found, detail, size, needed, &device);
        });
        constexpr std::size_t pathAt = offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_W, DevicePath);
        if (record.size() > pathAt) {
            paths.try_emplace(foldedCase(DeviceReader(set.get(), device).instanceId()),
                              registryText(Bytes(record).subspan(pathAt)));
        }
    }
    return paths;
}

std::u16string pathIn(std::unordered_map<std::u16string, std::u16string> const & paths, std::u16string const & key) {
    auto const found = paths.find(key);
    return found == paths.end() ? std::u16string() : found->second;
}

} // namespace

std::vector<ListedDevice> listDevices() {
    auto const controllerPaths = interfacePaths(hostControllers);
    auto const hubPaths = interfacePaths(hubs);
    auto const usbDevicePaths = interfacePaths(usbDevices);
    auto const diskPaths = interfacePaths(disks);

    InfoSet const set(nullptr, DIGCF_PRESENT | DIGCF_ALLCLASSES);
    std::vector<ListedDevice> devices;
    SP_DEVINFO_DATA entry{};
    entry.cbSize = sizeof entry;
    for (DWORD index = 0; SetupDiEnumDeviceInfo(set.get(), index, &entry) != FALSE; ++index) {
        DeviceReader const reader(set.get(), entry);
        ListedDevice device;
        device.devInst = entry.DevInst;
        device.traits.instanceId = reader.instanceId();
        if (device.traits.instanceId.empty()) {
            continue;
        }
        device.traits.ids = registryTexts(reader.registry(SPDRP_HARDWAREID));
        std::ranges::move(registryTexts(reader.registry(SPDRP_COMPATIBLEIDS)), std::back_inserter(device.traits.ids));
        std::u16string const key = foldedCase(device.traits.instanceId);
        device.traits.controllerPath = pathIn(controllerPaths, key);
        device.traits.hubPath = pathIn(hubPaths, key);
        device.traits.usbDevicePath = pathIn(usbDevicePaths, key);
        device.traits.diskPath = pathIn(diskPaths, key);
        device.parentId = registryText(reader.property(parentOf));
        device.driverKey = registryText(reader.registry(SPDRP_DRIVER));
        device.description = registryText(reader.registry(SPDRP_DEVICEDESC));
        device.friendlyName = registryText(reader.registry(SPDRP_FRIENDLYNAME));
        device.busReportedDescription = registryText(reader.property(reportedByBus));
        device.address = registryNumber(reader.property(addressOnBus));
        devices.push_back(std::move(device));
    }
    return devices;
}

} // namespace machine::windows
