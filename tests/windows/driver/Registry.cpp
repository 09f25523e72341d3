#include "Registry.h"

#include "machine/windows/Handle.h"
#include "machine/windows/Wide.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

namespace livepc {

namespace {

using machine::DeviceNode;
using machine::NodeClass;
using machine::windows::toWide;

constexpr std::wstring_view devices = L"System\\CurrentControlSet\\Enum\\";
constexpr std::wstring_view interfaces = L"System\\CurrentControlSet\\Control\\DeviceClasses\\";

constexpr std::u16string_view controllerInterfaces = u"{3abf6f2d-71c4-462a-8a92-1e6861e6af27}";
constexpr std::u16string_view hubInterfaces = u"{f18a0e88-c30c-11d0-8815-00a0c906bed8}";
constexpr std::u16string_view usbDeviceInterfaces = u"{a5dcbf10-6530-11d2-901f-00c04fb951ed}";

// Properties have types of their own.
constexpr DWORD propertyString = 0xFFFF0012;
constexpr DWORD propertyNumber = 0xFFFF0007;

class Key {
public:
    explicit Key(std::wstring const & path) {
        if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key_, nullptr) !=
            ERROR_SUCCESS) {
            throw std::runtime_error("the registry takes no devices");
        }
    }
    Key(Key const &) = delete;
    Key & operator=(Key const &) = delete;
    ~Key() { RegCloseKey(key_); }

    // An empty text is a value that the device has not.
    void set(wchar_t const * name, std::u16string_view text, DWORD type = REG_SZ) const {
        if (!text.empty()) {
            std::wstring const value = toWide(text) + std::wstring(type == REG_MULTI_SZ ? 1 : 0, L'\0');
            store(name, type, value.c_str(), (value.size() + 1) * sizeof(wchar_t));
        }
    }
    void set(wchar_t const * name, DWORD number, DWORD type = REG_DWORD) const {
        store(name, type, &number, sizeof number);
    }

private:
    void store(wchar_t const * name, DWORD type, void const * value, std::size_t size) const {
        if (RegSetValueExW(key_, name, 0, type, static_cast<BYTE const *>(value), static_cast<DWORD>(size)) !=
            ERROR_SUCCESS) {
            throw std::runtime_error("the registry takes no values of devices");
        }
    }

    HKEY key_ = nullptr;
};

// By which Windows tells what kind of device it is.
std::u16string_view compatibleId(NodeClass nodeClass) {
    switch (nodeClass) {
    case NodeClass::HostController:
        return u"PCI\\CC_0C0330";
    case NodeClass::Hub:
        return u"USB\\Class_09";
    case NodeClass::UsbComposite:
        return u"USB\\COMPOSITE";
    case NodeClass::Disk:
        return u"GenDisk";
    case NodeClass::UsbDevice:
    case NodeClass::Other:
        break;
    }
    return u"USB\\Class_08";
}

} // namespace

std::u16string interfacePath(std::u16string_view instanceId, std::u16string_view interfaceClass) {
    std::u16string path(instanceId);
    std::ranges::replace(path, u'\\', u'#');
    return (u"\\\\?\\" + path + u'#').append(interfaceClass);
}

RegisteredDevices::RegisteredDevices(machine::DeviceTree const & tree) {
    DeviceNode root;
    root.instanceId = u"HTREE\\ROOT\\0"; // Windows has it among the devices
    enter(root);
    for (machine::NodeId node = tree.root() + 1; node <= tree.size(); ++node) {
        if (tree[node].listed && !tree[node].instanceId.empty()) {
            enter(tree[node]);
        }
    }
}

RegisteredDevices::~RegisteredDevices() {
    for (std::wstring const & key : keys_) {
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str());
    }
}

void RegisteredDevices::enter(DeviceNode const & node) {
    keys_.push_back(std::wstring(devices) + toWide(node.instanceId));
    Key const key(keys_.back());
    bool const isDisk = node.nodeClass == NodeClass::Disk;
    key.set(L"ClassGUID",
            isDisk ? u"{4d36e967-e325-11ce-bfc1-08002be10318}" : u"{36fc9e60-c465-11cf-8056-444553540000}");
    key.set(L"Driver", node.driverKey);
    key.set(L"DeviceDesc", node.description);
    key.set(L"FriendlyName", node.friendlyName);
    key.set(L"CompatibleIDs", compatibleId(node.nodeClass), REG_MULTI_SZ);
    if (!node.busReportedDescription.empty()) {
        Key const property(keys_.back() + L"\\Properties\\{540B947E-8B40-45BC-A8A2-6A0B894CBDA2}\\0004");
        property.set(nullptr, node.busReportedDescription, propertyString);
    }
    if (node.port != 0) {
        Key const property(keys_.back() + L"\\Properties\\{A45C254E-DF1C-4EFD-8020-67D146A850E0}\\001E");
        property.set(nullptr, node.port, propertyNumber);
    }
    switch (node.nodeClass) {
    case NodeClass::HostController:
        enterInterface(node, controllerInterfaces, node.interfacePath);
        break;
    case NodeClass::Hub:
        enterInterface(node, hubInterfaces, node.interfacePath);
        break;
    case NodeClass::UsbDevice:
    case NodeClass::UsbComposite:
        enterInterface(node, usbDeviceInterfaces, node.interfacePath);
        break;
    case NodeClass::Disk:
        enterInterface(node, diskInterfaces, interfacePath(node.instanceId, diskInterfaces));
        break;
    case NodeClass::Other:
        break;
    }
}

void RegisteredDevices::enterInterface(DeviceNode const & node, std::u16string_view interfaceClass,
                                       std::u16string path) {
    if (path.empty()) {
        return;
    }
    std::wstring name = L"##?#" + toWide(interfacePath(node.instanceId, interfaceClass)).substr(4);
    keys_.push_back(std::wstring(interfaces) + toWide(interfaceClass) + L"\\" + name);
    Key(keys_.back()).set(L"DeviceInstance", node.instanceId);
    Key(keys_.back() + L"\\#").set(L"SymbolicLink", path);
    Key(keys_.back() + L"\\#\\Control").set(L"Linked", 1);
}

} // namespace livepc
