#include "NodeTraits.h"

#include "machine/Text.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace machine::windows {

namespace {

// Classes of PCI devices: USB host controllers by their interface (UHCI, OHCI, EHCI, xHCI), and the names by which
// firmware describes those that are not on PCI.
constexpr std::array<std::u16string_view, 8> controllerIds{
    u"PCI\\CC_0C0300", u"PCI\\CC_0C0310", u"PCI\\CC_0C0320", u"PCI\\CC_0C0330",
    u"ACPI\\PNP0D10",  u"ACPI\\PNP0D15",  u"ACPI\\PNP0D20",  u"ACPI\\PNP0D25",
};
constexpr std::array<std::u16string_view, 2> hubIds{u"USB\\ROOT_HUB", u"USB\\CLASS_09"};
constexpr std::array<std::u16string_view, 1> compositeIds{u"USB\\COMPOSITE"};

template <std::size_t size>
bool anyBeginsWith(std::vector<std::u16string> const & ids, std::array<std::u16string_view, size> const & beginnings) {
    return std::ranges::any_of(ids, [&](std::u16string const & id) {
        std::u16string const folded = foldedCase(id);
        return std::ranges::any_of(beginnings,
                                   [&](std::u16string_view beginning) { return folded.starts_with(beginning); });
    });
}

// A whole device on a port, not one function of it.
bool isUsbDeviceId(std::u16string_view instanceId) {
    std::u16string const folded = foldedCase(instanceId);
    return folded.starts_with(u"USB\\VID_") && folded.find(u"&MI_") == std::u16string::npos;
}

} // namespace

bool isRootNode(std::u16string_view instanceId) {
    return foldedCase(instanceId) == u"HTREE\\ROOT\\0";
}

NodeClass classify(NodeTraits const & traits) {
    if (!traits.diskPath.empty()) {
        return NodeClass::Disk;
    }
    if (!traits.controllerPath.empty() || anyBeginsWith(traits.ids, controllerIds)) {
        return NodeClass::HostController;
    }
    if (!traits.hubPath.empty() || anyBeginsWith(traits.ids, hubIds)) {
        return NodeClass::Hub;
    }
    if (!isUsbDeviceId(traits.instanceId)) {
        return traits.usbDevicePath.empty() ? NodeClass::Other : NodeClass::UsbDevice;
    }
    return anyBeginsWith(traits.ids, compositeIds) ? NodeClass::UsbComposite : NodeClass::UsbDevice;
}

std::u16string const & interfacePath(NodeTraits const & traits, NodeClass nodeClass) {
    switch (nodeClass) {
    case NodeClass::Disk:
        return traits.diskPath;
    case NodeClass::HostController:
        return traits.controllerPath;
    case NodeClass::Hub:
        return traits.hubPath;
    case NodeClass::UsbDevice:
    case NodeClass::UsbComposite:
    case NodeClass::Other:
        break;
    }
    return traits.usbDevicePath;
}

} // namespace machine::windows
