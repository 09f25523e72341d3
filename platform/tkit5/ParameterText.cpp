#include "ParameterText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <system_error>

namespace tkit5 {

namespace {

std::optional<bool> boolean(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    if (std::ranges::count(std::array{"true", "yes", "1"}, lower) != 0) {
        return true;
    }
    if (std::ranges::count(std::array{"false", "no", "0"}, lower) != 0) {
        return false;
    }
    return std::nullopt;
}

template <class Number> std::optional<Value> wholeNumber(std::string_view text) {
    Number number{};
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return Value(number);
}

std::optional<Value> decimalNumber(std::string_view text, DataType type) {
    double number = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(number)) {
        return std::nullopt;
    }
    return Value(number, type);
}

} // namespace

std::optional<Value> valueFromText(DataType type, std::string_view text) {
    switch (type) {
    case DataType::STRING:
        break;
    case DataType::BOOLEAN: {
        auto const value = boolean(text);
        return value ? std::optional(Value(*value)) : std::nullopt;
    }
    case DataType::INT32:
        return wholeNumber<std::int32_t>(text);
    case DataType::UINT32:
        return wholeNumber<std::uint32_t>(text);
    case DataType::UINT64:
        return wholeNumber<std::uint64_t>(text);
    case DataType::DOUBLE:
        return decimalNumber(text, type);
    case DataType::PERCENT:
        return decimalNumber(text.ends_with('%') ? text.substr(0, text.size() - 1) : text, type);
    }
    return Value(std::string(text).c_str());
}

char const * acceptedText(DataType type) {
    switch (type) {
    case DataType::STRING:
        break;
    case DataType::BOOLEAN:
        return "true or false";
    case DataType::INT32:
        return "a whole number from -2147483648 to 2147483647";
    case DataType::UINT32:
        return "a whole number from 0 to 4294967295";
    case DataType::UINT64:
        return "a whole number from 0 to 18446744073709551615";
    case DataType::DOUBLE:
        return "a number such as 12.5";
    case DataType::PERCENT:
        return "a percentage such as 80 or 79.5%";
    }
    return "a text";
}

} // namespace tkit5
