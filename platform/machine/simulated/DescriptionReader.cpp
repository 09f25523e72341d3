#include "DescriptionReader.h"

#include "DeviceReader.h"
#include "JsonText.h"

#include "Names.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <optional>
#include <utility>

namespace machine {

namespace {

using namespace simulated;

constexpr std::string_view pcMembers[] = {"$schema", "name", "about",  "source",     "supplied",
                                          "timing",  "user", "faults", "controllers"};
constexpr ObjectKind pcKind{"a described PC", pcMembers};

constexpr std::string_view userMembers[] = {"answers", "stopAtPoll", "stopAfterMilliseconds"};
constexpr ObjectKind userKind{"a user", userMembers};

constexpr std::string_view controllerMembers[] = {"name",          "description", "instanceId", "driverKey",
                                                  "interfacePath", "listed",      "disabled",   "problemCode",
                                                  "openError",     "faults",      "rootHub"};
constexpr ObjectKind controllerKind{"a controller", controllerMembers};

constexpr std::string_view rootHubMembers[] = {
    "name",  "description", "instanceId", "driverKey", "symbolicName", "portCount", "defaultProtocols",
    "ports", "openError",   "faults",     "disabled",  "problemCode",  "busPowered"};
constexpr ObjectKind rootHubKind{"a root hub", rootHubMembers};

constexpr std::uint32_t number(ScriptedUser::Answer answer) {
    return static_cast<std::uint32_t>(answer);
}

constexpr NamedNumber answerNames[] = {
    {"ok", number(ScriptedUser::Answer::Ok)},         {"yes", number(ScriptedUser::Answer::Yes)},
    {"no", number(ScriptedUser::Answer::No)},         {"retry", number(ScriptedUser::Answer::Retry)},
    {"cancel", number(ScriptedUser::Answer::Cancel)}, {"abort", number(ScriptedUser::Answer::Abort)}};

constexpr NamedNumber timingNames[] = {{"virtual", 0}, {"measured", 1}};
constexpr NamedNumber resourceNames[] = {{"allocate", static_cast<std::uint32_t>(Resource::Memory)},
                                         {"createEvent", static_cast<std::uint32_t>(Resource::Event)}};

constexpr std::string_view shortageMembers[] = {"call", "after", "times", "error"};
constexpr ObjectKind shortageKind{"a fault of the PC", shortageMembers};
constexpr NamedNumber sourceNames[] = {{"captured", 0}, {"written", 1}};
constexpr NamedNumber controllerQueries[] = {{"rootHubName", static_cast<std::uint32_t>(Query::RootHubName)},
                                             {"driverKey", static_cast<std::uint32_t>(Query::DriverKey)}};

void readUser(JsonObject const & json, ScriptedUser & user) {
    json.namedNumbers("answers", answerNames,
                      [&](std::uint32_t answer) { user.answers.push_back(static_cast<ScriptedUser::Answer>(answer)); });
    user.stopAtPoll = json.number("stopAtPoll", {1, anyNumber.most});
    if (auto const milliseconds = json.number("stopAfterMilliseconds", anyNumber)) {
        user.stopAfter = std::chrono::milliseconds(*milliseconds);
    }
}

void readController(JsonObject const & json, Controller & controller, std::uint32_t controllerNumber,
                    WholeReading & names) {
    json.require("instanceId");
    controller.facts.instanceId = json.text("instanceId", {});
    readNodeFacts(json, controller.facts);
    controller.interfacePath = json.text("interfacePath");
    controller.listed = json.flag("listed", true);
    controller.openError = json.number("openError", {1, anyNumber.most});
    readFaults(json, controllerQueries, 0, controller.faults);
    json.require("rootHub");
    json.object("rootHub", rootHubKind, [&](JsonObject const & item) {
        RootHub & rootHub = controller.rootHub;
        if (item.has("instanceId")) {
            rootHub.instanceId = item.requiredText("instanceId");
        }
        readNodeFacts(item, rootHub.facts);
        readHub(item, rootHub.hub, names, 1);
        checkHubName(item, rootHub.hub, rootHub.instanceId.value_or(rootHubInstanceId(controllerNumber)), names);
    });
}

void readPc(JsonObject const & json, Description & description) {
    json.text("$schema");
    description.name = json.requiredUtf8("name");
    json.text("about");
    json.namedNumber("source", sourceNames);
    json.texts("supplied");
    description.measured = json.namedNumber("timing", timingNames).value_or(0) == 1;
    json.object("user", userKind, [&](JsonObject const & item) { readUser(item, description.user.emplace()); });

    json.objects("faults", shortageKind, [&](JsonObject const & item) {
        Shortage shortage;
        item.require("call");
        shortage.resource = static_cast<Resource>(item.namedNumber("call", resourceNames).value_or(0));
        shortage.window = {item.number("after", anyNumber).value_or(0), item.number("times", {1, anyNumber.most})};
        shortage.error = item.requiredNumber("error", {1, anyNumber.most});
        description.shortages.push_back(shortage);
    });

    WholeReading names;
    names.measured = description.measured;
    json.require("controllers");
    json.objects("controllers", controllerKind, [&](JsonObject const & item) {
        Controller controller;
        readController(item, controller, static_cast<std::uint32_t>(description.controllers.size() + 1), names);
        description.controllers.push_back(std::move(controller));
    });
}

} // namespace

std::string DescriptionError::format() const {
    return pointer.empty() ? message : pointer + ": " + message;
}

std::variant<Description, DescriptionError> readDescription(std::string_view json) {
    auto parsed = parseJson(json);
    if (auto * const error = std::get_if<DescriptionError>(&parsed)) {
        return std::move(*error);
    }
    std::optional<DescriptionError> error;
    Description description;
    JsonObject const pc(error, std::get<nlohmann::json>(parsed), pcKind);
    if (!error) {
        readPc(pc, description);
    }
    if (error) {
        return std::move(*error);
    }
    return description;
}

} // namespace machine
