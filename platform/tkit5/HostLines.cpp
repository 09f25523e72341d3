#include "HostLines.h"

#include <limits>
#include <nlohmann/json.hpp>

namespace tkit5 {

namespace {

using Json = nlohmann::json;

HostLine parseAnswer(Json const & object) {
    auto const id = object.find("id");
    if (id == object.end() || !id->is_number_unsigned() ||
        id->get<std::uint64_t>() > std::numeric_limits<std::uint32_t>::max()) {
        return HostLineFault{"\"id\" has to be the number of a message box."};
    }
    auto const answer = object.find("answer");
    if (answer == object.end() || !answer->is_string()) {
        return HostLineFault{"\"answer\" has to be one of the answers that the message box offers."};
    }
    return HostAnswer{id->get<std::uint32_t>(), answer->get<std::string>()};
}

} // namespace

HostLine parseHostLine(std::string_view line) {
    Json const object = Json::parse(line, nullptr, false);
    if (!object.is_object()) {
        return HostLineFault{"The line has to be a JSON object."};
    }
    auto const type = object.find("type");
    if (type != object.end() && *type == "stop") {
        return HostStop{};
    }
    if (type != object.end() && *type == "answer") {
        return parseAnswer(object);
    }
    return HostLineFault{"\"type\" has to be \"stop\" or \"answer\"."};
}

} // namespace tkit5
