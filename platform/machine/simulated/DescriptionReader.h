// Reads the JSON description of a PC.
#pragma once

#include "Description.h"

#include <string>
#include <string_view>
#include <variant>

namespace machine {

// Where a description is wrong and what was expected there.
struct DescriptionError {
    std::string pointer; // JSON pointer of the value; empty for the whole text
    std::string message; // a text that is not JSON: with line and column

    std::string format() const; // both in one line, for people
};

// Never throws for what the text holds. Bytes and escapes that are not valid Unicode are read as U+FFFD.
std::variant<simulated::Description, DescriptionError> readDescription(std::string_view json);

} // namespace machine
