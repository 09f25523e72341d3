// Reading the members of JSON objects strictly: unknown members, wrong types and values out of range become the one
// error of the reading. Once there is an error, every further reading gives its fallback, so that readers need no
// checks of their own.
#pragma once

#include "DescriptionReader.h"

#include <nlohmann/json_fwd.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace machine::simulated {

// A kind of object: what to call it, and the members that it may have.
struct ObjectKind {
    std::string_view what; // with its article, such as "a port"
    std::span<std::string_view const> members;
};

// Names that stand for numbers.
struct NamedNumber {
    std::string_view name;
    std::uint32_t number;
};

struct NumberRange {
    std::uint32_t least;
    std::uint32_t most;
};

class JsonObject {
public:
    // The whole text's object. The error is kept by the caller and set at most once.
    JsonObject(std::optional<DescriptionError> & error, nlohmann::json const & value, ObjectKind const & kind);

    bool has(std::string_view member) const;
    bool failed() const { return error_.has_value(); }

    std::optional<std::u16string> text(std::string_view member) const;
    std::u16string text(std::string_view member, std::u16string_view fallback) const;
    std::u16string requiredText(std::string_view member) const; // not empty
    std::string requiredUtf8(std::string_view member) const;    // not empty

    bool flag(std::string_view member, bool fallback) const;
    std::optional<bool> flag(std::string_view member) const;

    std::optional<std::uint32_t> number(std::string_view member, NumberRange range) const;
    std::uint32_t requiredNumber(std::string_view member, NumberRange range) const;
    // Whole, from least to 2^53: JSON numbers are exact up to there.
    std::optional<std::uint64_t> wholeNumber(std::string_view member, std::uint64_t least) const;
    std::optional<double> positiveNumber(std::string_view member) const; // above 0, whole or not
    std::optional<std::uint32_t> namedNumber(std::string_view member, std::span<NamedNumber const> names) const;
    // Either one of the names or a number in the range.
    std::optional<std::uint32_t> numberOrName(std::string_view member, std::span<NamedNumber const> names,
                                              NumberRange range) const;

    void object(std::string_view member, ObjectKind const & kind,
                std::function<void(JsonObject const &)> const & read) const;
    void objects(std::string_view member, ObjectKind const & kind,
                 std::function<void(JsonObject const &)> const & read) const; // of an array
    void namedNumbers(std::string_view member, std::span<NamedNumber const> names,
                      std::function<void(std::uint32_t)> const & take) const; // of an array
    void texts(std::string_view member) const;                                // an array of texts, only checked

    void require(std::string_view member) const; // an error when it is missing

    std::string pointerTo(std::string_view member) const; // where the member is, as error messages say it

    void fail(std::string message) const;                            // about this object
    void failAt(std::string_view member, std::string message) const; // about one of its members

private:
    struct Place { // of a value: a chain up to the whole text, alive while its readers are
        Place const * parent = nullptr;
        std::string_view member; // empty with an index
        std::size_t index = 0;

        std::string pointer() const;
    };

    JsonObject(std::optional<DescriptionError> & error, nlohmann::json const & value, ObjectKind const & kind,
               Place place);

    nlohmann::json const * find(std::string_view member) const; // null when missing or after an error
    void failAs(Place const & place, std::string message) const;
    void expected(Place const & place, std::string_view what, nlohmann::json const & instead) const;
    Place placeOf(std::string_view member) const { return {&place_, member, 0}; }
    std::optional<std::uint32_t> numberOf(nlohmann::json const & value, Place const & place, NumberRange range,
                                          std::string_view what) const;
    std::optional<std::uint32_t> named(nlohmann::json const & value, Place const & place,
                                       std::span<NamedNumber const> names, std::string_view what) const;
    void checkMembers();

    std::optional<DescriptionError> & error_;
    nlohmann::json const & value_;
    ObjectKind const & kind_;
    Place place_;
};

} // namespace machine::simulated
