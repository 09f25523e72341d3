// Text that comes from devices and texts of any length, made fit for a terminal. Widths are columns.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tkit5 {

// Valid UTF-8 on one line: line ends and tabs become blanks, malformed bytes and characters that steer a terminal (or
// turn the direction of writing) become U+FFFD. A device's name cannot repaint the screen.
std::string printable(std::string_view text);

std::size_t columns(std::string_view printableText);

// Broken at blanks into lines of at most that many columns; a longer word stays whole. At least one line, perhaps
// empty. A width of 0 keeps one line.
std::vector<std::string> wrapped(std::string_view printableText, std::size_t width);

// At most that many columns; what is cut ends in "...".
std::string cut(std::string_view printableText, std::size_t width);

} // namespace tkit5
