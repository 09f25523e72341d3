// Windows' own functions take and give wchar_t, which has the size of char16_t and is another type.
#pragma once

#include <string>
#include <string_view>

namespace machine::windows {

static_assert(sizeof(wchar_t) == sizeof(char16_t));

inline std::wstring toWide(std::u16string_view text) {
    return {text.begin(), text.end()};
}

inline std::u16string fromWide(std::wstring_view text) {
    return {text.begin(), text.end()};
}

} // namespace machine::windows
