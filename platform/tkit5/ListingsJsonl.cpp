#include "ListingsJsonl.h"

#include "DeviceFilter.h"
#include "Names.h"

#include <nlohmann/json.hpp>

#include <utility>

namespace tkit5 {

namespace {

using Json = nlohmann::ordered_json;

Json textOrNull(std::string const & text) {
    return text.empty() ? Json(nullptr) : Json(text);
}

void writePc(JsonlLines & lines, PcTitle const & pc) {
    lines.write("pc", {{"machine", pc.name}, {"bundled", pc.isBundled}});
}

Json filtersJson(std::vector<PropertyFilter> const & filters) {
    Json array = Json::array();
    for (PropertyFilter const & filter : filters) {
        array.push_back({{"name", filter.name}, {"value", filter.value}});
    }
    return array;
}

Json parametersJson(RegisteredTest const & test) {
    Json array = Json::array();
    for (RegisteredParameter const * parameter : test.parameters) {
        if (!parameter->hidden) {
            array.push_back({{"name", parameter->name},
                             {"dataType", dataTypeName(parameter->type)},
                             {"required", !parameter->optional}});
        }
    }
    return array;
}

// Which tests take the device: all of them, or the one asked about with its reason.
Json testsJson(CatalogDevice const & device, Registry const & registry, RegisteredTest const * asked) {
    Json array = Json::array();
    for (auto const & test : registry.tests) {
        if (asked != nullptr && asked != test.get()) {
            continue;
        }
        auto const why = whyNotAccepted(*test, device);
        Json entry = {{"test", test->name}, {"accepted", !why}};
        if (why) {
            entry["reason"] = *why;
        }
        array.push_back(std::move(entry));
    }
    return array;
}

void writeHub(JsonlLines & lines, HubView const & hub);

void writePort(JsonlLines & lines, PortView const & port, HubView const & hub) {
    Json members = {{"hub", hub.device->facts().identifier.getUTF8String()}, {"port", port.number}};
    members["read"] = port.wasRead;
    if (port.wasRead) {
        std::string const status = statusName(port.status);
        members["status"] = status.empty() ? Json(port.status) : Json(status);
        members["maximum"] = textOrNull(port.maximum);
        members["companion"] = nullptr;
        if (std::uint32_t const companion = port.onBus->getCompanionPortNumber(); companion != 0) {
            members["companion"] = {{"port", companion}, {"hub", port.onBus->getCompanionHubName().getUTF8String()}};
        }
    }
    if (port.device != nullptr) {
        std::string const speed = speedName(port.speed);
        members["speed"] = nullptr;
        if (port.speedIsKnown) {
            members["speed"] = speed.empty() ? Json(port.speed) : Json(speed);
        }
        members["version"] = textOrNull(port.version);
        members["device"] = port.device->facts().identifier.getUTF8String();
        members["name"] = port.device->displayName();
        members["place"] = port.device->facts().place;
    }
    members["faults"] = Json(port.faults);
    lines.write("port", members);
    if (port.hub) {
        writeHub(lines, *port.hub);
    }
}

void writeHub(JsonlLines & lines, HubView const & hub) {
    Json unseen = Json::array();
    for (CatalogDevice const * device : hub.device->below()) {
        unseen.push_back(device->facts().identifier.getUTF8String());
    }
    lines.write("hub", {{"identifier", hub.device->facts().identifier.getUTF8String()},
                        {"name", hub.device->displayName()},
                        {"place", hub.device->facts().place},
                        {"portCount", hub.ports.size()},
                        {"portUnknown", unseen},
                        {"faults", Json(hub.faults)}});
    for (PortView const & port : hub.ports) {
        writePort(lines, port, hub);
    }
}

} // namespace

void writeTests(JsonlLines & lines, Registry const & registry) {
    for (auto const & test : registry.tests) {
        Json parallel = nullptr;
        if (test->supportsParallelTesting) {
            parallel = *test->supportsParallelTesting;
        }
        lines.write("test", {{"name", test->name},
                             {"carried", test->entry != nullptr},
                             {"requiredCapabilities", Json(capabilityNames(test->required))},
                             {"optionalCapabilities", Json(capabilityNames(test->optionalCapabilities))},
                             {"requirements", filtersJson(test->requirements)},
                             {"exclusions", filtersJson(test->exclusions)},
                             {"destructive", test->destructive},
                             {"parallel", parallel},
                             {"parameters", parametersJson(*test)}});
    }
}

void writeDevices(JsonlLines & lines, PcTitle const & pc, DeviceCatalog const & catalog, Registry const & registry,
                  RegisteredTest const * asked) {
    writePc(lines, pc);
    for (auto const & device : catalog.devices()) {
        DeviceFacts const & facts = device->facts();
        lines.write("device", {{"identifier", facts.identifier.getUTF8String()},
                               {"name", device->displayName()},
                               {"description", facts.description.getUTF8String()},
                               {"osLocator", facts.osName.getUTF8String()},
                               {"capabilities", Json(capabilityNames(facts.capabilities))},
                               {"place", textOrNull(facts.place)},
                               {"tests", testsJson(*device, registry, asked)}});
    }
}

void writeTopology(JsonlLines & lines, PcTitle const & pc, std::vector<ControllerView> const & controllers) {
    writePc(lines, pc);
    for (ControllerView const & controller : controllers) {
        lines.write("controller", {{"number", controller.number},
                                   {"identifier", controller.device->facts().identifier.getUTF8String()},
                                   {"name", controller.device->displayName()},
                                   {"version", textOrNull(controller.version)},
                                   {"faults", Json(controller.faults)}});
        if (controller.rootHub) {
            writeHub(lines, *controller.rootHub);
        }
    }
}

} // namespace tkit5
