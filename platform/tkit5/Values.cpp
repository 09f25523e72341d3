#include "tkit5/Value.h"

#include <charconv>
#include <fmt/format.h>
#include <string_view>
#include <type_traits>
#include <utility>

namespace tkit5 {

TkitString::TkitString(char const * utf8) : text_(utf8 == nullptr ? "" : utf8) {}
TkitString::TkitString(nuv::String const & text) : text_(text.getUTF8String()) {}
nuv::String TkitString::nuvString() const {
    return nuv::String(text_);
}

Value::Value(nuv::String const & text) : value_(TkitString(text)) {}
Value::Value(char const * utf8) : value_(TkitString(utf8)) {}
Value::Value(TkitString const & text) : value_(text) {}
Value::Value(bool value) : type_(DataType::BOOLEAN), value_(value) {}
Value::Value(std::int32_t value) : type_(DataType::INT32), value_(value) {}
Value::Value(std::uint32_t value) : type_(DataType::UINT32), value_(value) {}
Value::Value(std::uint64_t value) : type_(DataType::UINT64), value_(value) {}
Value::Value(double value, DataType type) : type_(type), value_(value) {}

namespace {

template <class T> inline constexpr bool isText = std::is_same_v<T, TkitString>;
template <class T> inline constexpr bool isBool = std::is_same_v<T, bool>;
template <class T> inline constexpr bool isDouble = std::is_same_v<T, double>;

std::uint32_t wholeNumber(std::string_view digits) {
    std::uint32_t number = 0;
    char const * const end = digits.data() + digits.size();
    auto const read = std::from_chars(digits.data(), end, number);
    return read.ec == std::errc() && read.ptr == end ? number : 0;
}

} // namespace

TkitString Value::valueString() const {
    return std::visit(
        [](auto const & value) {
            using T = std::decay_t<decltype(value)>;
            if constexpr (isText<T>) {
                return value;
            } else if constexpr (isDouble<T>) {
                return TkitString(fmt::format("{:g}", value).c_str());
            } else {
                return TkitString(fmt::format("{}", value).c_str());
            }
        },
        value_);
}

// Read back, the text of any other type means what its value means: "true" is true and "5" is 5.
bool Value::valueBool() const {
    return std::visit(
        [](auto const & value) {
            using T = std::decay_t<decltype(value)>;
            if constexpr (isText<T>) {
                return value == TkitString("true");
            } else if constexpr (isDouble<T>) {
                return false;
            } else {
                return value != T{};
            }
        },
        value_);
}

std::uint32_t Value::valueUint32() const {
    return std::visit(
        [](auto const & value) -> std::uint32_t {
            using T = std::decay_t<decltype(value)>;
            if constexpr (isText<T>) {
                return wholeNumber(value.getUTF8Buffer());
            } else if constexpr (isBool<T> || isDouble<T>) {
                return 0;
            } else {
                return std::in_range<std::uint32_t>(value) ? static_cast<std::uint32_t>(value) : 0;
            }
        },
        value_);
}

double Value::valuePercent() const {
    double const * const number = std::get_if<double>(&value_);
    return number == nullptr ? 0.0 : *number;
}

} // namespace tkit5
