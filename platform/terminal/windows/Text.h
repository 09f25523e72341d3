// Between UTF-8, the UTF-16 of Windows' own functions and the text of older ones.
#pragma once

#include <string>
#include <string_view>

namespace terminal {

// What is not well formed becomes U+FFFD.
std::wstring toWide(std::string_view utf8);

// The characters at the start of a UTF-8 text that have room in so many bytes; no fewer bytes where there is no end of
// a character among them.
std::string_view wholeCharacters(std::string_view utf8, std::size_t room);
std::string toUtf8(std::wstring_view text);

std::string toCodePage(std::wstring_view text); // in the code page of this process

// The text without the sequences that set colours.
std::string withoutColours(std::string_view text);

} // namespace terminal
