#include "JsonObject.h"

#include "JsonText.h"
#include "machine/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <utility>

namespace machine::simulated {

namespace {

using nlohmann::json;

// A value as people would name it, short.
std::string shown(json const & value) {
    constexpr std::size_t longest = 40;
    if (value.is_object()) {
        return "an object";
    }
    if (value.is_array()) {
        return "an array";
    }
    std::string text = value.dump(-1, ' ', false, json::error_handler_t::replace);
    if (text.size() <= longest) {
        return text;
    }
    std::size_t cut = longest;
    while ((text[cut] & 0xC0) == 0x80) { // not within a character
        --cut;
    }
    return text.substr(0, cut) + "...";
}

std::string rangeText(NumberRange range) {
    return fmt::format("a whole number from {} to {}", range.least, range.most);
}

std::string namesText(std::span<NamedNumber const> names) {
    std::string text;
    for (NamedNumber const & name : names) {
        text += fmt::format("{}\"{}\"", text.empty() ? "" : ", ", name.name);
    }
    return text;
}

} // namespace

std::string JsonObject::Place::pointer() const {
    if (parent == nullptr) {
        return {};
    }
    return parent->pointer() + (member.empty() ? fmt::format("/{}", index) : pointerStep(member));
}

JsonObject::JsonObject(std::optional<DescriptionError> & error, json const & value, ObjectKind const & kind)
    : JsonObject(error, value, kind, Place{}) {}

JsonObject::JsonObject(std::optional<DescriptionError> & error, json const & value, ObjectKind const & kind,
                       Place place)
    : error_(error), value_(value), kind_(kind), place_(place) {
    checkMembers();
}

void JsonObject::checkMembers() {
    if (!value_.is_object()) {
        expected(place_, fmt::format("an object, {}", kind_.what), value_);
        return;
    }
    for (auto const & item : value_.items()) {
        if (std::ranges::find(kind_.members, item.key()) == kind_.members.end()) {
            if (!error_) {
                error_ = DescriptionError{
                    place_.pointer() + pointerStep(item.key()),
                    fmt::format("unknown here; {} may have {}", kind_.what, fmt::join(kind_.members, ", "))};
            }
            return;
        }
    }
}

void JsonObject::failAs(Place const & place, std::string message) const {
    if (!error_) {
        error_ = DescriptionError{place.pointer(), std::move(message)};
    }
}

void JsonObject::fail(std::string message) const {
    failAs(place_, std::move(message));
}

void JsonObject::failAt(std::string_view member, std::string message) const {
    failAs(placeOf(member), std::move(message));
}

void JsonObject::expected(Place const & place, std::string_view what, json const & instead) const {
    failAs(place, fmt::format("expected {}, not {}", what, shown(instead)));
}

json const * JsonObject::find(std::string_view member) const {
    if (error_) {
        return nullptr;
    }
    auto const found = value_.find(member);
    return found == value_.end() ? nullptr : &*found;
}

bool JsonObject::has(std::string_view member) const {
    return find(member) != nullptr;
}

void JsonObject::require(std::string_view member) const {
    if (!error_ && !has(member)) {
        fail(fmt::format("\"{}\" is missing; {} needs it", member, kind_.what));
    }
}

std::optional<std::u16string> JsonObject::text(std::string_view member) const {
    json const * const value = find(member);
    if (value == nullptr) {
        return std::nullopt;
    }
    if (!value->is_string()) {
        expected(placeOf(member), "a text", *value);
        return std::nullopt;
    }
    return toUtf16(value->get_ref<std::string const &>());
}

std::u16string JsonObject::text(std::string_view member, std::u16string_view fallback) const {
    return text(member).value_or(std::u16string(fallback));
}

std::u16string JsonObject::requiredText(std::string_view member) const {
    return toUtf16(requiredUtf8(member));
}

std::string JsonObject::requiredUtf8(std::string_view member) const {
    require(member);
    json const * const value = find(member);
    if (value == nullptr) {
        return {};
    }
    if (!value->is_string() || value->get_ref<std::string const &>().empty()) {
        expected(placeOf(member), "a text that is not empty", *value);
        return {};
    }
    return value->get<std::string>();
}

std::optional<bool> JsonObject::flag(std::string_view member) const {
    json const * const value = find(member);
    if (value == nullptr) {
        return std::nullopt;
    }
    if (!value->is_boolean()) {
        expected(placeOf(member), "true or false", *value);
        return std::nullopt;
    }
    return value->get<bool>();
}

bool JsonObject::flag(std::string_view member, bool fallback) const {
    return flag(member).value_or(fallback);
}

std::optional<std::uint32_t> JsonObject::numberOf(json const & value, Place const & place, NumberRange range,
                                                  std::string_view what) const {
    // JSON has one kind of number: 4.0 and 4e0 are whole too.
    double const number = value.is_number() ? value.get<double>() : -1.0;
    if (number != std::floor(number) || number < range.least || number > range.most) {
        expected(place, what, value);
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(number);
}

std::optional<std::uint32_t> JsonObject::number(std::string_view member, NumberRange range) const {
    json const * const value = find(member);
    return value == nullptr ? std::nullopt : numberOf(*value, placeOf(member), range, rangeText(range));
}

std::uint32_t JsonObject::requiredNumber(std::string_view member, NumberRange range) const {
    require(member);
    return number(member, range).value_or(range.least);
}

std::optional<std::uint64_t> JsonObject::wholeNumber(std::string_view member, std::uint64_t least) const {
    json const * const value = find(member);
    if (value == nullptr) {
        return std::nullopt;
    }
    constexpr double most = 9007199254740992.0;
    double const number = value->is_number() ? value->get<double>() : -1.0;
    if (number != std::floor(number) || number < static_cast<double>(least) || number > most) {
        expected(placeOf(member), fmt::format("a whole number from {} to {:.0f}", least, most), *value);
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(number);
}

std::optional<double> JsonObject::positiveNumber(std::string_view member) const {
    json const * const value = find(member);
    if (value == nullptr) {
        return std::nullopt;
    }
    double const number = value->is_number() ? value->get<double>() : 0.0;
    if (!(number >= 1e-6 && number <= 1e9)) {
        expected(placeOf(member), "a number above 0, from 0.000001 to 1000000000", *value);
        return std::nullopt;
    }
    return number;
}

std::string JsonObject::pointerTo(std::string_view member) const {
    return placeOf(member).pointer();
}

std::optional<std::uint32_t> JsonObject::named(json const & value, Place const & place,
                                               std::span<NamedNumber const> names, std::string_view what) const {
    if (value.is_string()) {
        auto const found = std::ranges::find(names, value.get_ref<std::string const &>(), &NamedNumber::name);
        if (found != names.end()) {
            return found->number;
        }
    }
    expected(place, what, value);
    return std::nullopt;
}

std::optional<std::uint32_t> JsonObject::namedNumber(std::string_view member,
                                                     std::span<NamedNumber const> names) const {
    json const * const value = find(member);
    return value == nullptr ? std::nullopt
                            : named(*value, placeOf(member), names, fmt::format("one of {}", namesText(names)));
}

std::optional<std::uint32_t> JsonObject::numberOrName(std::string_view member, std::span<NamedNumber const> names,
                                                      NumberRange range) const {
    json const * const value = find(member);
    if (value == nullptr) {
        return std::nullopt;
    }
    std::string const what = fmt::format("one of {}, or {}", namesText(names), rangeText(range));
    return value->is_number() ? numberOf(*value, placeOf(member), range, what)
                              : named(*value, placeOf(member), names, what);
}

void JsonObject::object(std::string_view member, ObjectKind const & kind,
                        std::function<void(JsonObject const &)> const & read) const {
    if (json const * const value = find(member); value != nullptr) {
        JsonObject const object(error_, *value, kind, placeOf(member));
        if (!failed()) {
            read(object);
        }
    }
}

void JsonObject::objects(std::string_view member, ObjectKind const & kind,
                         std::function<void(JsonObject const &)> const & read) const {
    json const * const value = find(member);
    if (value == nullptr) {
        return;
    }
    Place const place = placeOf(member);
    if (!value->is_array()) {
        expected(place, "an array", *value);
        return;
    }
    for (std::size_t i = 0; i < value->size() && !failed(); ++i) {
        JsonObject const object(error_, (*value)[i], kind, Place{&place, {}, i});
        if (!failed()) {
            read(object);
        }
    }
}

void JsonObject::namedNumbers(std::string_view member, std::span<NamedNumber const> names,
                              std::function<void(std::uint32_t)> const & take) const {
    json const * const value = find(member);
    if (value == nullptr) {
        return;
    }
    Place const place = placeOf(member);
    std::string const what = fmt::format("one of {}", namesText(names));
    if (!value->is_array()) {
        expected(place, "an array", *value);
        return;
    }
    for (std::size_t i = 0; i < value->size() && !failed(); ++i) {
        if (auto const number = named((*value)[i], Place{&place, {}, i}, names, what)) {
            take(*number);
        }
    }
}

void JsonObject::texts(std::string_view member) const {
    json const * const value = find(member);
    if (value == nullptr) {
        return;
    }
    Place const place = placeOf(member);
    if (!value->is_array()) {
        expected(place, "an array of texts", *value);
        return;
    }
    for (std::size_t i = 0; i < value->size() && !failed(); ++i) {
        if (!(*value)[i].is_string()) {
            expected(Place{&place, {}, i}, "a text", (*value)[i]);
        }
    }
}

} // namespace machine::simulated
