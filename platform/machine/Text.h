// Texts as they come from hardware: any sequence of 16-bit units, UTF-16 where it is well formed.
#pragma once

#include <string>
#include <string_view>

namespace machine {

// Pure conversions. What is not well formed becomes U+FFFD, one for each part that cannot be continued.
std::string toUtf8(std::u16string_view text);
std::u16string toUtf16(std::string_view utf8);

// Upper-cased from a to z: the form in which paths and instance IDs are looked up.
std::u16string foldedCase(std::u16string_view text);

// Without the "\\?\" or "\\.\" in front, if there is one: both lead to the same device.
std::u16string_view withoutDevicePrefix(std::u16string_view path);

} // namespace machine
