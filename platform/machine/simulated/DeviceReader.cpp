#include "DeviceReader.h"

#include "DiskReader.h"
#include "Names.h"
#include "machine/Text.h"

#include <fmt/format.h>

#include <utility>

namespace machine::simulated {

namespace {

constexpr std::string_view nodeMembers[] = {"instanceId", "driverKey",   "name",   "description",
                                            "disabled",   "problemCode", "hidden", "nodes"};
constexpr ObjectKind nodeKind{"a device node", nodeMembers};

// Four hexadecimal digits, as in instance IDs.
std::optional<std::uint16_t> readHexadecimal(JsonObject const & json, std::string_view member) {
    auto const digits = json.text(member);
    if (!digits) {
        return std::nullopt;
    }
    std::uint16_t value = 0;
    bool good = digits->size() == 4;
    for (char16_t const digit : foldedCase(*digits)) {
        std::size_t const worth = std::u16string_view(u"0123456789ABCDEF").find(digit);
        good = good && worth != std::u16string_view::npos;
        value = static_cast<std::uint16_t>(value * 16 + worth);
    }
    if (!good) {
        json.failAt(member, "expected four hexadecimal digits, such as \"0781\"");
    }
    return value;
}

// "2.10" is 0x0210.
std::optional<std::uint16_t> readUsbVersion(JsonObject const & json) {
    auto const text = json.text("usbVersion");
    if (!text) {
        return std::nullopt;
    }
    std::size_t const point = text->find(u'.');
    bool good = (point == 1 || point == 2) && text->size() == point + 3;
    std::uint16_t value = 0;
    for (char16_t const digit : *text) {
        if (digit != u'.') {
            good = good && digit >= u'0' && digit <= u'9';
            value = static_cast<std::uint16_t>(value * 16 + (digit - u'0'));
        }
    }
    if (!good) {
        json.failAt("usbVersion", "expected a version with two digits behind the point, such as \"2.10\"");
    }
    return value;
}

void readNodes(JsonObject const & json, std::vector<Node> & nodes, std::size_t depth) {
    if (depth > deepestNode && json.has("nodes")) {
        json.failAt("nodes",
                    fmt::format("device nodes are nested too deeply; expected at most {} levels", deepestNode));
        return;
    }
    json.objects("nodes", nodeKind, [&](JsonObject const & item) {
        Node node;
        node.facts.instanceId = item.requiredText("instanceId");
        readNodeFacts(item, node.facts);
        readNodes(item, node.nodes, depth + 1);
        nodes.push_back(std::move(node));
    });
}

template <typename Small> std::optional<Small> narrowed(std::optional<std::uint32_t> number) {
    return number ? std::optional<Small>(static_cast<Small>(*number)) : std::nullopt;
}

} // namespace

void readNodeFacts(JsonObject const & json, NodeFacts & facts) {
    facts.driverKey = json.text("driverKey");
    facts.name = json.text("name", {});
    facts.description = json.text("description", {});
    facts.hidden = json.flag("hidden", false);
    std::uint32_t const usual = json.flag("disabled", false) ? problemDisabled : 0;
    facts.problem = json.number("problemCode", anyNumber).value_or(usual);
}

void readDevice(JsonObject const & json, Device & device, WholeReading & names) {
    device.facts.instanceId = json.requiredText("instanceId");
    readNodeFacts(json, device.facts);
    device.product = json.text("product", {});
    device.vendorId = readHexadecimal(json, "vendorId");
    device.productId = readHexadecimal(json, "productId");
    device.revision = readHexadecimal(json, "revision").value_or(device.revision);
    device.serialNumber = json.text("serialNumber", {});
    device.usbVersion = readUsbVersion(json);
    device.deviceClass = narrowed<std::uint8_t>(json.number("class", {0, 255}));
    device.descriptor = json.flag("descriptor", true);
    device.configuration = narrowed<std::uint8_t>(json.number("configuration", {0, 255}));
    device.address = narrowed<std::uint16_t>(json.number("address", {0, 65535}));
    device.superSpeedCapable = json.flag("superSpeedCapable", false);
    device.superSpeedPlusCapable = json.flag("superSpeedPlusCapable", false);
    device.interfacePath = json.text("interfacePath");
    device.composite = json.flag("composite");
    readNodes(json, device.nodes, 1);
    readDisk(json, device, names);
}

} // namespace machine::simulated
