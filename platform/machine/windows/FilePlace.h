// Where files and folders of this PC lie.
#pragma once

#include <string>
#include <string_view>

namespace machine::windows {

// The volume that an existing file or folder lies on, by whatever name that is reached: \\?\Volume{...}, without a
// backslash at the end. Empty when it is on none, as on a server.
std::wstring volumeOf(std::wstring const & path);

// True when an existing file or folder does not outlast a loss of power.
bool isInMemory(std::wstring const & path);

// Empty where the system does not tell.
std::wstring windowsFolder();

// The volume in a path that begins with one; else empty. Pure.
std::wstring_view volumeIn(std::wstring_view path);

} // namespace machine::windows
