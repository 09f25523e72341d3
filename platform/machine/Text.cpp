#include "Text.h"

#include <algorithm>
#include <cstddef>

namespace machine {

namespace {

constexpr char32_t replacement = 0xFFFD;

bool isHighSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isLowSurrogate(char32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

void appendUtf8(std::string & text, char32_t point) {
    auto const byte = [&text](char32_t value) { text.push_back(static_cast<char>(static_cast<unsigned char>(value))); };
    auto const continuation = [&](unsigned shift) { byte(0x80 | ((point >> shift) & 0x3F)); };
    if (point < 0x80) {
        byte(point);
    } else if (point < 0x800) {
        byte(0xC0 | (point >> 6));
        continuation(0);
    } else if (point < 0x10000) {
        byte(0xE0 | (point >> 12));
        continuation(6);
        continuation(0);
    } else {
        byte(0xF0 | (point >> 18));
        continuation(12);
        continuation(6);
        continuation(0);
    }
}

void appendUtf16(std::u16string & text, char32_t point) {
    if (point < 0x10000) {
        text.push_back(static_cast<char16_t>(point));
        return;
    }
    char32_t const offset = point - 0x10000;
    text.push_back(static_cast<char16_t>(0xD800 + (offset >> 10)));
    text.push_back(static_cast<char16_t>(0xDC00 + (offset & 0x3FF)));
}

// What a leading byte announces: how many bytes follow, and the range of the first of them, which is narrower than the
// others' where the range would hold overlong forms, surrogates or values above U+10FFFF.
struct Lead {
    unsigned following;
    char32_t bits;
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
};

Lead leadOf(unsigned char byte) {
    if (byte >= 0xC2 && byte <= 0xDF) {
        return {1, static_cast<char32_t>(byte & 0x1F)};
    }
    if (byte >= 0xE0 && byte <= 0xEF) {
        unsigned char const low = byte == 0xE0 ? 0xA0 : 0x80;
        unsigned char const high = byte == 0xED ? 0x9F : 0xBF;
        return {2, static_cast<char32_t>(byte & 0x0F), low, high};
    }
    if (byte >= 0xF0 && byte <= 0xF4) {
        unsigned char const low = byte == 0xF0 ? 0x90 : 0x80;
        unsigned char const high = byte == 0xF4 ? 0x8F : 0xBF;
        return {3, static_cast<char32_t>(byte & 0x07), low, high};
    }
    return {0, replacement};
}

} // namespace

std::string toUtf8(std::u16string_view text) {
    std::string utf8;
    utf8.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t point = text[i];
        if (isHighSurrogate(point) && i + 1 < text.size() && isLowSurrogate(text[i + 1])) {
            point = 0x10000 + ((point - 0xD800) << 10) + (static_cast<char32_t>(text[i + 1]) - 0xDC00);
            ++i;
        } else if (isHighSurrogate(point) || isLowSurrogate(point)) {
            point = replacement;
        }
        appendUtf8(utf8, point);
    }
    return utf8;
}

std::u16string toUtf16(std::string_view utf8) {
    std::u16string text;
    text.reserve(utf8.size());
    std::size_t at = 0;
    while (at < utf8.size()) {
        auto const first = static_cast<unsigned char>(utf8[at++]);
        if (first < 0x80) {
            text.push_back(first);
            continue;
        }
        Lead lead = leadOf(first);
        char32_t point = lead.bits;
        for (; lead.following > 0; --lead.following) {
            auto const next = at < utf8.size() ? static_cast<unsigned char>(utf8[at]) : static_cast<unsigned char>(0);
            if (next < lead.low || next > lead.high) {
                point = replacement;
                break;
            }
            point = (point << 6) | (next & 0x3FU);
            lead.low = 0x80;
            lead.high = 0xBF;
            ++at;
        }
        appendUtf16(text, point);
    }
    return text;
}

std::u16string foldedCase(std::u16string_view text) {
    std::u16string upper(text);
    std::ranges::for_each(upper, [](char16_t & unit) {
        if (unit >= u'a' && unit <= u'z') {
            unit = static_cast<char16_t>(unit - (u'a' - u'A'));
        }
    });
    return upper;
}

std::u16string_view withoutDevicePrefix(std::u16string_view path) {
    return path.starts_with(u"\\\\?\\") || path.starts_with(u"\\\\.\\") ? path.substr(4) : path;
}

} // namespace machine
