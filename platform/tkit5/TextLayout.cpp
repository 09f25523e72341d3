#include "TextLayout.h"

#include "nuv/String.h"

#include <algorithm>
#include <array>

namespace tkit5 {

namespace {

struct Range {
    char32_t first;
    char32_t last;
};

bool isWide(char32_t c) {
    static constexpr std::array<Range, 9> wide = {{{0x1100, 0x115F},
                                                   {0x2E80, 0xA4CF},
                                                   {0xAC00, 0xD7A3},
                                                   {0xF900, 0xFAFF},
                                                   {0xFE30, 0xFE6F},
                                                   {0xFF00, 0xFF60},
                                                   {0xFFE0, 0xFFE6},
                                                   {0x1F300, 0x1FAFF},
                                                   {0x20000, 0x3FFFD}}};
    return std::ranges::any_of(wide, [c](Range const & range) { return c >= range.first && c <= range.last; });
}

std::size_t columnsOf(char32_t c) {
    return isWide(c) ? 2 : 1;
}

bool steersTerminal(char32_t c) {
    return c < 0x20 || (c >= 0x7F && c <= 0x9F) || (c >= 0x200E && c <= 0x200F) || (c >= 0x2028 && c <= 0x202E) ||
           (c >= 0x2066 && c <= 0x2069);
}

// The first character of valid, non-empty UTF-8, and its length in bytes.
struct Character {
    char32_t code;
    std::size_t bytes;
};

Character firstOf(std::string_view text) {
    auto const lead = static_cast<unsigned char>(text.front());
    if (lead < 0x80) {
        return {lead, 1};
    }
    std::size_t const bytes = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    char32_t code = lead & (0xFFU >> (bytes + 1));
    for (std::size_t i = 1; i < bytes && i < text.size(); ++i) {
        code = (code << 6) | (static_cast<unsigned char>(text[i]) & 0x3FU);
    }
    return {code, std::min(bytes, text.size())};
}

} // namespace

std::string printable(std::string_view text) {
    std::string const valid = nuv::String(std::string(text)).getUTF8String();
    std::string result;
    result.reserve(valid.size());
    for (std::string_view rest = valid; !rest.empty();) {
        Character const character = firstOf(rest);
        if (character.code == '\n' || character.code == '\t') {
            result += ' ';
        } else if (steersTerminal(character.code)) {
            result += "\xEF\xBF\xBD";
        } else {
            result += rest.substr(0, character.bytes);
        }
        rest.remove_prefix(character.bytes);
    }
    return result;
}

std::size_t columns(std::string_view printableText) {
    std::size_t count = 0;
    while (!printableText.empty()) {
        Character const character = firstOf(printableText);
        count += columnsOf(character.code);
        printableText.remove_prefix(character.bytes);
    }
    return count;
}

std::vector<std::string> wrapped(std::string_view printableText, std::size_t width) {
    if (width == 0) {
        return {std::string(printableText)};
    }
    std::vector<std::string> lines(1);
    std::size_t used = 0;
    while (!printableText.empty()) {
        std::string_view const word = printableText.substr(0, printableText.find(' '));
        std::size_t const wordColumns = columns(word);
        if (used != 0 && used + 1 + wordColumns > width) {
            lines.emplace_back();
            used = 0;
        }
        if (used != 0) {
            lines.back() += ' ';
            ++used;
        }
        lines.back() += word;
        used += wordColumns;
        printableText.remove_prefix(std::min(printableText.size(), word.size() + 1));
    }
    return lines;
}

std::string cut(std::string_view printableText, std::size_t width) {
    if (columns(printableText) <= width) {
        return std::string(printableText);
    }
    static constexpr std::string_view mark = "...";
    std::size_t const room = width > mark.size() ? width - mark.size() : 0;
    std::string result;
    for (std::size_t used = 0; !printableText.empty();) {
        Character const character = firstOf(printableText);
        used += columnsOf(character.code);
        if (used > room) {
            break;
        }
        result += printableText.substr(0, character.bytes);
        printableText.remove_prefix(character.bytes);
    }
    return result += mark.substr(0, std::min(width, mark.size()));
}

} // namespace tkit5
