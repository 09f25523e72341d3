#include "DeviceReader.h"

#include "Names.h"

#include "kernel/UsbRecords.h"

#include <fmt/format.h>

#include <array>
#include <string>
#include <utility>

namespace machine::simulated {

namespace {

constexpr std::string_view portMembers[] = {"port",  "protocols",       "superSpeedPlus", "companion", "companionHub",
                                            "typeC", "userConnectable", "status",         "speed",     "device",
                                            "hub"};
constexpr ObjectKind portKind{"a port", portMembers};

constexpr std::string_view deviceMembers[] = {"instanceId",
                                              "driverKey",
                                              "name",
                                              "description",
                                              "disabled",
                                              "problemCode",
                                              "hidden",
                                              "product",
                                              "vendorId",
                                              "productId",
                                              "revision",
                                              "serialNumber",
                                              "usbVersion",
                                              "class",
                                              "descriptor",
                                              "configuration",
                                              "address",
                                              "superSpeedCapable",
                                              "superSpeedPlusCapable",
                                              "interfacePath",
                                              "composite",
                                              "nodes",
                                              "disk"};
constexpr ObjectKind deviceKind{"a device", deviceMembers};

constexpr std::string_view hubMembers[] = {"instanceId",
                                           "driverKey",
                                           "name",
                                           "description",
                                           "disabled",
                                           "problemCode",
                                           "hidden",
                                           "product",
                                           "vendorId",
                                           "productId",
                                           "revision",
                                           "serialNumber",
                                           "usbVersion",
                                           "class",
                                           "descriptor",
                                           "configuration",
                                           "address",
                                           "superSpeedCapable",
                                           "superSpeedPlusCapable",
                                           "interfacePath",
                                           "nodes",
                                           "symbolicName",
                                           "portCount",
                                           "defaultProtocols",
                                           "ports",
                                           "openError",
                                           "faults",
                                           "busPowered"};
constexpr ObjectKind hubKind{"a hub", hubMembers};

constexpr std::string_view faultMembers[] = {"query", "port",           "after", "times",       "error",
                                             "hangs", "reportedLength", "text",  "unterminated"};
constexpr ObjectKind faultKind{"a fault", faultMembers};

constexpr NamedNumber protocolNames[] = {{"1.1", kernel::Usb110}, {"2.0", kernel::Usb200}, {"3.0", kernel::Usb300}};

constexpr NamedNumber speedNames[] = {{"low", kernel::UsbLowSpeed},
                                      {"full", kernel::UsbFullSpeed},
                                      {"high", kernel::UsbHighSpeed},
                                      {"super", kernel::UsbSuperSpeed},
                                      {"superPlus", kernel::UsbSuperSpeedPlus}};

constexpr NamedNumber statusNames[] = {{"NoDeviceConnected", 0},
                                       {"DeviceConnected", 1},
                                       {"DeviceFailedEnumeration", 2},
                                       {"DeviceGeneralFailure", 3},
                                       {"DeviceCausedOvercurrent", 4},
                                       {"DeviceNotEnoughPower", 5},
                                       {"DeviceNotEnoughBandwidth", 6},
                                       {"DeviceHubNestedTooDeeply", 7},
                                       {"DeviceInLegacyHub", 8},
                                       {"DeviceEnumerating", 9},
                                       {"DeviceReset", 10}};

constexpr std::uint32_t number(Query query) {
    return static_cast<std::uint32_t>(query);
}

constexpr NamedNumber hubQueries[] = {{"nodeInformation", number(Query::NodeInformation)},
                                      {"connection", number(Query::Connection)},
                                      {"connectionV2", number(Query::ConnectionV2)},
                                      {"connector", number(Query::Connector)},
                                      {"hubName", number(Query::HubName)},
                                      {"driverKey", number(Query::DriverKey)}};

std::uint32_t readProtocols(JsonObject const & json, std::string_view member) {
    std::uint32_t protocols = 0;
    json.namedNumbers(member, protocolNames, [&](std::uint32_t protocol) { protocols |= protocol; });
    if (protocols == 0) {
        json.failAt(member, "expected at least one of \"1.1\", \"2.0\", \"3.0\"");
    }
    return protocols;
}

bool answersWithName(Query query) {
    return query == Query::RootHubName || query == Query::HubName || query == Query::DriverKey ||
           query == Query::Connector;
}

bool isAboutPort(Query query) {
    return query != Query::RootHubName && query != Query::NodeInformation;
}

void readEffect(JsonObject const & json, Fault & fault) {
    constexpr std::array<std::string_view, 5> effects{"error", "hangs", "reportedLength", "text", "unterminated"};
    std::size_t named = 0;
    for (std::string_view const effect : effects) {
        named += json.has(effect) ? 1U : 0U;
    }
    if (named != 1) {
        json.fail("expected exactly one of error, hangs, reportedLength, text, unterminated");
        return;
    }
    for (std::string_view const onlyTrue : {effects[1], effects[4]}) {
        if (json.has(onlyTrue) && !json.flag(onlyTrue, true)) {
            json.failAt(onlyTrue, "expected true, or to be left out");
        }
    }
    for (std::string_view const ofNames : {effects[2], effects[3], effects[4]}) {
        if (json.has(ofNames) && !answersWithName(fault.query)) {
            json.failAt(ofNames, "this query's answer holds no name; expected error or hangs");
        }
    }
    if (auto const error = json.number("error", {1, anyNumber.most})) {
        fault.effect = FailsWith{*error};
    } else if (auto const length = json.number("reportedLength", anyNumber)) {
        fault.effect = ReportsLength{*length};
    } else if (auto text = json.text("text")) {
        fault.effect = OtherText{std::move(*text)};
    } else if (json.has("unterminated")) {
        fault.effect = Unterminated{};
    } else {
        fault.effect = Hangs{};
    }
}

void readConnector(JsonObject const & json, Port & port, std::uint32_t portCount) {
    port.typeC = json.flag("typeC", false);
    port.userConnectable = json.flag("userConnectable", true);
    port.companionHub = json.has("companionHub") ? json.requiredText("companionHub") : std::u16string();
    port.companion = static_cast<std::uint16_t>(json.number("companion", {1, 255}).value_or(0));
    if (!port.companionHub.empty() && port.companion == 0) {
        json.failAt("companionHub", "expected companion too, the number of the port on that hub");
    }
    if (port.companion != 0 && port.companionHub.empty() &&
        (port.companion == port.number || port.companion > portCount)) {
        json.failAt("companion", fmt::format("expected another of the hub's {} ports", portCount));
    }
}

void readPort(JsonObject const & json, Port & port, Hub const & hub, WholeReading & names, std::size_t depth) {
    port.number = json.requiredNumber("port", {1, 255});
    if (port.number > hub.portCount) {
        json.failAt("port", fmt::format("the hub has {} ports; expected a number up to that", hub.portCount));
    }
    if (!hub.ports.empty() && port.number <= hub.ports.back().number) {
        json.failAt("port", fmt::format("expected a number above the port before it, {}", hub.ports.back().number));
    }
    json.require("protocols");
    port.protocols = readProtocols(json, "protocols");
    port.superSpeedPlus = json.flag("superSpeedPlus", false);
    readConnector(json, port, hub.portCount);
    port.status = json.numberOrName("status", statusNames, anyNumber);

    bool const occupied = json.has("device") || json.has("hub");
    if (json.has("device") && json.has("hub")) {
        json.fail("expected either device or hub, not both");
    } else if (occupied) {
        json.require("speed");
    } else if (json.has("speed")) {
        json.failAt("speed", "nothing is on the port; expected a device or a hub with it");
    }
    port.speed = static_cast<std::uint8_t>(json.numberOrName("speed", speedNames, {0, 255}).value_or(0));
    if (occupied) {
        port.device = std::make_unique<Device>();
    }
    json.object("device", deviceKind, [&](JsonObject const & item) { readDevice(item, *port.device, names); });
    json.object("hub", hubKind, [&](JsonObject const & item) {
        if (depth >= deepestHub) {
            item.fail(
                fmt::format("hubs are nested too deeply; expected at most {}, the root hub included", deepestHub));
            return;
        }
        readDevice(item, *port.device, names);
        port.device->hub = std::make_unique<Hub>();
        readHub(item, *port.device->hub, names, depth + 1);
        checkHubName(item, *port.device->hub, port.device->facts.instanceId, names);
    });
}

} // namespace

void readHub(JsonObject const & json, Hub & hub, WholeReading & names, std::size_t depth) {
    if (json.has("symbolicName")) {
        hub.symbolicName = json.requiredText("symbolicName");
    }
    hub.portCount = json.requiredNumber("portCount", {0, 255});
    if (json.has("defaultProtocols")) {
        hub.defaultProtocols = readProtocols(json, "defaultProtocols");
    }
    hub.openError = json.number("openError", {1, anyNumber.most});
    hub.busPowered = json.flag("busPowered", false);
    readFaults(json, hubQueries, hub.portCount, hub.faults);
    json.objects("ports", portKind, [&](JsonObject const & item) {
        Port port;
        readPort(item, port, hub, names, depth);
        hub.ports.push_back(std::move(port));
    });
}

void checkHubName(JsonObject const & json, Hub const & hub, std::u16string_view instanceId, WholeReading & names) {
    if (!json.failed() && !names.hubs.insert(pathKey(hub.symbolicName.value_or(hubName(instanceId)))).second) {
        json.fail("another hub has the same symbolic name; expected a symbolicName or an instanceId of its own");
    }
}

void readFaults(JsonObject const & json, std::span<NamedNumber const> queries, std::uint32_t portCount,
                std::vector<Fault> & faults) {
    json.objects("faults", faultKind, [&](JsonObject const & item) {
        Fault fault;
        item.require("query");
        fault.query = static_cast<Query>(item.namedNumber("query", queries).value_or(0));
        fault.port = item.number("port", {1, 255});
        if (fault.port && (portCount == 0 || !isAboutPort(fault.query))) {
            item.failAt("port", "this query is not about a port; expected none");
        } else if (fault.port && *fault.port > portCount) {
            item.failAt("port", fmt::format("the hub has {} ports; expected a number up to that", portCount));
        }
        fault.window = {item.number("after", anyNumber).value_or(0), item.number("times", {1, anyNumber.most})};
        readEffect(item, fault);
        faults.push_back(std::move(fault));
    });
}

} // namespace machine::simulated
