// From text to a JSON value: what nlohmann's parser leaves out (repeated members, broken Unicode, a place that people
// can find).
#pragma once

#include "DescriptionReader.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <string_view>
#include <variant>

namespace machine::simulated {

// A step of a JSON pointer, '~' and '/' in it escaped, with the '/' in front.
std::string pointerStep(std::string_view member);

std::variant<nlohmann::json, DescriptionError> parseJson(std::string_view text);

} // namespace machine::simulated
