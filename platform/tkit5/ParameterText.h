// Values of parameters as they are typed.
#pragma once

#include "tkit5.h"

#include <optional>
#include <string>
#include <string_view>

namespace tkit5 {

// Nothing when the text is no value of the type. Ranges beyond those of the type are the tests' matter.
std::optional<Value> valueFromText(DataType type, std::string_view text);

// What a parameter of the type takes, for people: "a whole number from 0 to 4294967295".
char const * acceptedText(DataType type);

} // namespace tkit5
