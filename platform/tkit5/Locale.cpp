#include "Locale.h"

#include "host/Embedded.h"

#include <algorithm>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace tkit5 {

namespace {

constexpr std::string_view fallback = "en";

// "de_AT.UTF-8@euro" as "de-at".
std::string plainTag(std::string_view tag) {
    std::string plain(tag.substr(0, tag.find_first_of(".@")));
    std::ranges::transform(plain, plain.begin(), [](char c) {
        if (c == '_') {
            return '-';
        }
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return plain;
}

std::string_view languageOf(embedded::File const & file) {
    return file.name.substr(0, file.name.rfind('.'));
}

embedded::File const * fileFor(std::string_view language) {
    auto const files = embedded::locales::files();
    auto const found = std::ranges::find_if(
        files, [language](embedded::File const & file) { return plainTag(languageOf(file)) == language; });
    return found == files.end() ? nullptr : &*found;
}

// The texts in the nearest language to the tag; null when there are none.
embedded::File const * nearestFile(std::string_view tag) {
    for (std::string wanted = plainTag(tag); !wanted.empty();) {
        if (embedded::File const * const file = fileFor(wanted)) {
            return file;
        }
        std::size_t const lastPart = wanted.rfind('-');
        wanted.resize(lastPart == std::string::npos ? 0 : lastPart);
    }
    return nullptr;
}

[[noreturn]] void refuse(std::string_view name, std::string_view fault) {
    throw TkitException(TkitString(fmt::format("The texts in {} cannot be used: {}.", name, fault).c_str()));
}

// In one pass, so that braces in a value, which may come from a device, are never taken for a variable.
std::string filled(std::string_view text, Variables const & variables, bool & anyUnset) {
    std::string result;
    for (;;) {
        std::size_t const open = text.find('{');
        std::size_t const close = text.find('}', open == std::string_view::npos ? text.size() : open);
        if (close == std::string_view::npos) {
            return result += text;
        }
        result += text.substr(0, open);
        std::string_view const asWritten = text.substr(open, close - open + 1);
        auto const variable =
            std::ranges::find(variables, asWritten.substr(1, asWritten.size() - 2), &Variables::value_type::first);
        if (variable == variables.end()) {
            anyUnset = true;
            result += asWritten;
        } else {
            result += variable->second.valueString().getUTF8Buffer();
        }
        text.remove_prefix(close + 1);
    }
}

} // namespace

Locale Locale::fromFile(std::string_view name, std::string_view contents) {
    nlohmann::json const file = nlohmann::json::parse(contents, nullptr, false);
    if (!file.is_object()) {
        refuse(name, "it is not a JSON object");
    }
    auto const language = file.find("language");
    auto const texts = file.find("texts");
    if (language == file.end() || !language->is_string()) {
        refuse(name, "\"language\" has to be a text");
    }
    if (texts == file.end() || !texts->is_object()) {
        refuse(name, "\"texts\" has to be an object");
    }
    Locale locale;
    locale.language_ = language->get<std::string>();
    for (auto const & [key, text] : texts->items()) {
        if (!text.is_string()) {
            refuse(name, fmt::format("\"{}\" has to be a text", key));
        }
        locale.texts_.emplace(key, text.get<std::string>());
    }
    return locale;
}

Locale Locale::forLanguage(std::string_view tag) {
    embedded::File const * const nearest = nearestFile(tag);
    embedded::File const * const file = nearest == nullptr ? fileFor(fallback) : nearest;
    return file == nullptr ? Locale() : fromFile(file->name, file->contents);
}

bool Locale::isKnown(std::string_view tag) {
    return nearestFile(tag) != nullptr;
}

std::vector<std::string> Locale::languages() {
    std::vector<std::string> tags;
    for (embedded::File const & file : embedded::locales::files()) {
        tags.emplace_back(languageOf(file));
    }
    std::ranges::sort(tags, {}, [](std::string const & tag) { return std::pair(tag != fallback, tag); });
    return tags;
}

std::string Locale::resolve(std::string const & key, Variables const & variables) const {
    auto const found = texts_.find(key);
    if (found == texts_.end()) {
        return key;
    }
    std::string_view rest = found->second;
    std::string text;
    for (;;) {
        bool anyUnset = false;
        std::size_t const open = rest.find('[');
        std::size_t const close = rest.find(']', open == std::string_view::npos ? rest.size() : open);
        if (close == std::string_view::npos) {
            return text += filled(rest, variables, anyUnset);
        }
        text += filled(rest.substr(0, open), variables, anyUnset);
        anyUnset = false;
        std::string const part = filled(rest.substr(open + 1, close - open - 1), variables, anyUnset);
        text += anyUnset ? "" : part;
        rest.remove_prefix(close + 1);
    }
}

} // namespace tkit5
