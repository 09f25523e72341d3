#include "JsonText.h"

#include "machine/Text.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <optional>
#include <vector>

namespace machine::simulated {

namespace {

using nlohmann::json;

// Watches the parser for members that an object names twice, of which it would silently keep the last.
class RepeatedMembers {
public:
    bool operator()(int /*depth*/, json::parse_event_t event, json & parsed) {
        switch (event) {
        case json::parse_event_t::object_start:
            countElement();
            open_.push_back({false, 0, {}});
            break;
        case json::parse_event_t::array_start:
            countElement();
            open_.push_back({true, 0, {}});
            break;
        case json::parse_event_t::object_end:
        case json::parse_event_t::array_end:
            open_.pop_back();
            break;
        case json::parse_event_t::value:
            countElement();
            break;
        case json::parse_event_t::key:
            takeMember(parsed.get_ref<std::string const &>());
            break;
        }
        return true;
    }

    std::optional<DescriptionError> const & error() const { return error_; }

private:
    struct Open {
        bool isArray;
        std::size_t elements;
        std::vector<std::string> members;
    };

    void countElement() {
        if (!open_.empty() && open_.back().isArray) {
            ++open_.back().elements;
        }
    }

    void takeMember(std::string const & name) {
        bool const repeated = std::ranges::find(open_.back().members, name) != open_.back().members.end();
        open_.back().members.push_back(name);
        if (!repeated || error_) {
            return;
        }
        std::string pointer;
        for (Open const & value : open_) {
            pointer += value.isArray ? fmt::format("/{}", value.elements - 1) : pointerStep(value.members.back());
        }
        error_ = {pointer, fmt::format("\"{}\" is there twice; expected each member once", name)};
    }

    std::vector<Open> open_;
    std::optional<DescriptionError> error_;
};

// Finds the byte at which a text that may well be JSON holds a number which is too large for this program.
class NumberTooLarge final : public nlohmann::json_sax<json> {
public:
    static std::size_t find(std::string const & text) {
        NumberTooLarge finder;
        json::sax_parse(text, static_cast<json::json_sax_t *>(&finder));
        return finder.byte_;
    }

private:
    bool null() override { return true; }
    bool boolean(bool) override { return true; }
    bool number_integer(json::number_integer_t) override { return true; }
    bool number_unsigned(json::number_unsigned_t) override { return true; }
    bool number_float(json::number_float_t, std::string const &) override { return true; }
    bool string(std::string &) override { return true; }
    bool binary(json::binary_t &) override { return true; }
    bool start_object(std::size_t) override { return true; }
    bool key(std::string &) override { return true; }
    bool end_object() override { return true; }
    bool start_array(std::size_t) override { return true; }
    bool end_array() override { return true; }
    bool parse_error(std::size_t byte, std::string const &, json::exception const &) override {
        byte_ = byte;
        return false;
    }

    std::size_t byte_ = 0;
};

std::optional<unsigned> surrogateEscape(std::string_view text, std::size_t at) {
    if (at + 6 > text.size() || text[at] != '\\' || text[at + 1] != 'u') {
        return std::nullopt;
    }
    unsigned unit = 0;
    char const * const end = text.data() + at + 6;
    if (std::from_chars(text.data() + at + 2, end, unit, 16).ptr != end || unit < 0xD800 || unit > 0xDFFF) {
        return std::nullopt;
    }
    return unit;
}

// Escapes of half a character, such as "\ud800", become "\ufffd": the parser would refuse the whole text for them.
void repairEscapes(std::string & text) {
    for (std::size_t at = text.find('\\'); at != std::string::npos; at = text.find('\\', at)) {
        std::optional<unsigned> const unit = surrogateEscape(text, at);
        if (!unit) {
            at += 2; // an escaped backslash does not begin another escape
            continue;
        }
        std::optional<unsigned> const next = surrogateEscape(text, at + 6);
        if (*unit < 0xDC00 && next && *next >= 0xDC00) {
            at += 12;
        } else {
            text.replace(at, 6, "\\ufffd");
            at += 6;
        }
    }
}

// "line 3, column 7: ..." for what is wrong at a byte, counted from 1.
std::string placed(std::string_view text, std::size_t byte, std::string_view what) {
    std::string_view const before = text.substr(0, std::min(byte == 0 ? 0 : byte - 1, text.size()));
    std::size_t const lineStart = before.rfind('\n') == std::string_view::npos ? 0 : before.rfind('\n') + 1;
    auto const line = std::ranges::count(before, '\n') + 1;
    auto const column =
        std::ranges::count_if(before.substr(lineStart), [](char byteOfText) { return (byteOfText & 0xC0) != 0x80; }) +
        1;
    return fmt::format("line {}, column {}: {}", line, column, what);
}

// The parser's text is "[name] parse error at line L, column C: reason".
std::string reasonOf(json::parse_error const & error) {
    std::string_view const text = error.what();
    std::size_t const start = text.find(": ");
    return fmt::format("not JSON: {}", start == std::string_view::npos ? text : text.substr(start + 2));
}

} // namespace

std::string pointerStep(std::string_view member) {
    std::string step = "/";
    for (char const unit : member) {
        if (unit == '~') {
            step += "~0";
        } else if (unit == '/') {
            step += "~1";
        } else {
            step += unit;
        }
    }
    return step;
}

std::variant<json, DescriptionError> parseJson(std::string_view text) {
    std::string valid = toUtf8(toUtf16(text));
    repairEscapes(valid);
    RepeatedMembers repeated;
    try {
        json value = json::parse(
            valid, [&](int depth, json::parse_event_t event, json & parsed) { return repeated(depth, event, parsed); });
        if (repeated.error()) {
            return *repeated.error();
        }
        return value;
    } catch (json::parse_error const & error) {
        return DescriptionError{{}, placed(valid, error.byte, reasonOf(error))};
    } catch (json::out_of_range const &) {
        return DescriptionError{{}, placed(valid, NumberTooLarge::find(valid), "the number is too large")};
    }
}

} // namespace machine::simulated
