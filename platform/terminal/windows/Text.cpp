#include "Text.h"

#include <windows.h>

#include <algorithm>
#include <limits>

namespace terminal {

namespace {

int lengthOf(std::size_t size) {
    return size > static_cast<std::size_t>(std::numeric_limits<int>::max()) ? 0 : static_cast<int>(size);
}

std::string toBytes(UINT codePage, std::wstring_view text) {
    int const length = lengthOf(text.size());
    int const size = WideCharToMultiByte(codePage, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(codePage, 0, text.data(), length, bytes.data(), size, nullptr, nullptr);
    return bytes;
}

} // namespace

std::wstring toWide(std::string_view utf8) {
    int const length = lengthOf(utf8.size());
    int const size = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, nullptr, 0);
    std::wstring text(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, text.data(), size);
    return text;
}

std::string_view wholeCharacters(std::string_view utf8, std::size_t room) {
    std::size_t size = std::min(room, utf8.size());
    while (size > 0 && size < utf8.size() && (static_cast<unsigned char>(utf8[size]) & 0xC0U) == 0x80U) {
        --size;
    }
    return utf8.substr(0, size == 0 ? room : size);
}

std::string toUtf8(std::wstring_view text) {
    return toBytes(CP_UTF8, text);
}

std::string toCodePage(std::wstring_view text) {
    return toBytes(CP_ACP, text);
}

std::string withoutColours(std::string_view text) {
    std::string plain;
    while (!text.empty()) {
        std::size_t const escape = text.find("\x1b[");
        plain += text.substr(0, escape);
        if (escape == std::string_view::npos) {
            break;
        }
        text.remove_prefix(escape + 2);
        std::size_t const end = text.find_first_not_of("0123456789;");
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return plain;
}

} // namespace terminal
