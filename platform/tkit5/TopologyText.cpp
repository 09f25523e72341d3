// The bus as a tree of lines.
#include "ListingsText.h"
#include "TextLayout.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace tkit5 {

namespace {

// "1-9, 12" for ascending numbers.
std::string rangesText(std::vector<std::uint32_t> const & numbers) {
    std::string text;
    for (std::size_t first = 0; first < numbers.size();) {
        std::size_t last = first;
        while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1) {
            ++last;
        }
        text += text.empty() ? "" : ", ";
        text += first == last ? std::to_string(numbers[first]) : fmt::format("{}-{}", numbers[first], numbers[last]);
        first = last + 1;
    }
    return text;
}

std::string speedText(PortView const & port) {
    std::string const name = speedName(port.speed);
    if (name.empty()) {
        return fmt::format("unknown speed {}", port.speed);
    }
    return fmt::format("{} speed{}", name == "superPlus" ? "super plus" : name,
                       port.version.empty() ? "" : fmt::format(" ({})", port.version));
}

std::string companionText(usbtopo::CUsbPort const & port, std::string const & ownHub) {
    nuv::String const own{ownHub};
    nuv::String const prefix = "\\\\?\\";
    nuv::String const & hub = port.getCompanionHubName();
    bool const elsewhere = !hub.empty() && !hub.equalNoCase(own) && !(prefix + hub).equalNoCase(own);
    return fmt::format(", companion port {}{}", port.getCompanionPortNumber(),
                       elsewhere ? fmt::format(" of {}", printable(hub.getUTF8String())) : "");
}

class TreePainter {
public:
    explicit TreePainter(bool colour) : colour_(colour) {}

    void controller(ControllerView const & view) {
        std::string line = fmt::format("\ncontroller {}: {}", view.number, printable(view.device->displayName()));
        if (!view.version.empty()) {
            line += fmt::format(", USB {}", view.version);
        }
        text += line + faultsText(view.faults) + '\n';
        if (view.rootHub) {
            std::string const name = printable(view.rootHub->device->displayName());
            branch("", true, fmt::format("root hub: {}{}", name, portCount(*view.rootHub, ", ")), view.rootHub->faults);
            hubContents("   ", *view.rootHub);
        }
    }

    std::string text;

private:
    void branch(std::string const & indent, bool last, std::string const & line,
                std::vector<std::string> const & faults) {
        text += fmt::format("{}{} {}{}\n", indent, last ? "└─" : "├─", line, faultsText(faults));
    }

    // Nothing for a hub that could not be read.
    static std::string portCount(HubView const & hub, char const * before) {
        std::size_t const count = hub.ports.size();
        return count == 0 ? "" : fmt::format("{}{} port{}", before, count, count == 1 ? "" : "s");
    }

    void hubContents(std::string const & indent, HubView const & hub) {
        std::vector<PortView const *> occupied;
        std::vector<std::uint32_t> empty;
        for (PortView const & port : hub.ports) {
            if (port.isEmpty()) {
                empty.push_back(port.number);
            } else {
                occupied.push_back(&port);
            }
        }
        std::size_t left = occupied.size() + hub.device->below().size() + (empty.empty() ? 0 : 1);
        for (PortView const * port : occupied) {
            --left;
            portLine(indent, left == 0, *port, hub);
        }
        for (CatalogDevice const * unseen : hub.device->below()) {
            --left;
            branch(indent, left == 0, fmt::format("port unknown: {}", printable(unseen->displayName())), {});
            devicesBelow(indent + (left == 0 ? "   " : "│  "), *unseen);
        }
        if (!empty.empty()) {
            branch(indent, true, fmt::format("{} {} empty", empty.size() == 1 ? "port" : "ports", rangesText(empty)),
                   {});
        }
    }

    void portLine(std::string const & indent, bool last, PortView const & port, HubView const & hub) {
        if (!port.wasRead) {
            branch(indent, last, fmt::format("port {}", port.number), port.faults);
            return;
        }
        DeviceFacts const & facts = port.device->facts();
        bool const isNameless = facts.node == machine::noNode && facts.name.empty();
        std::string line = fmt::format("port {}: {}{}", port.number,
                                       isNameless ? "unknown device" : printable(port.device->displayName()),
                                       port.speedIsKnown ? ": " + speedText(port) : "");
        if (!port.maximum.empty()) {
            line += fmt::format(" on a {} port", port.maximum);
        }
        if (port.onBus->getCompanionPortNumber() != 0) {
            line += companionText(*port.onBus, hub.device->facts().osName.getUTF8String());
        }
        if (port.hub) {
            line += ", a hub" + portCount(*port.hub, " with ");
        }
        std::vector<std::string> faults = port.faults;
        if (port.hub) {
            faults.insert(faults.end(), port.hub->faults.begin(), port.hub->faults.end());
        }
        branch(indent, last, line, faults);

        std::string const deeper = indent + (last ? "   " : "│  ");
        if (port.hub) {
            hubContents(deeper, *port.hub);
        } else {
            devicesBelow(deeper, *port.device);
        }
    }

    // The disks of a device, or what is known behind a hub that no port shows.
    void devicesBelow(std::string const & indent, CatalogDevice const & device) {
        for (CatalogDevice const * below : device.below()) {
            bool const last = below == device.below().back();
            bool const isDisk = below->hasCapability(DeviceCapability::USBMassStorage());
            std::string const name = printable(below->displayName());
            branch(indent, last,
                   isDisk ? fmt::format("disk: {}, {}", name, printable(below->facts().osName.getUTF8String()))
                          : fmt::format("port unknown: {}", name),
                   {});
            devicesBelow(indent + (last ? "   " : "│  "), *below);
        }
    }

    std::string faultsText(std::vector<std::string> const & faults) const {
        if (faults.empty()) {
            return "";
        }
        std::string const words = printable(fmt::format("FAULT: {}", fmt::join(faults, "; ")));
        return colour_ ? fmt::format("  \x1b[31m{}\x1b[0m", words) : "  " + words;
    }

    bool colour_;
};

} // namespace

std::string topologyAsText(PcTitle const & pc, std::vector<ControllerView> const & controllers, bool colour) {
    TreePainter painter(colour);
    for (ControllerView const & controller : controllers) {
        painter.controller(controller);
    }
    if (controllers.empty()) {
        painter.text = "\nThis PC has no USB host controller.\n";
    }
    return titleText(pc) + painter.text;
}

} // namespace tkit5
