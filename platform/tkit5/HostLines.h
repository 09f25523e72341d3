// What a host program says on standard input: one JSON object a line.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace tkit5 {

struct HostStop {};

struct HostAnswer {
    std::uint32_t id = 0; // of the message box
    std::string answer;   // the word as it came
};

// A line that is none of these: one sentence that says what was expected.
struct HostLineFault {
    std::string message;
};

using HostLine = std::variant<HostStop, HostAnswer, HostLineFault>;

// Members that are not known are passed over, so that a host may say more than this version understands.
HostLine parseHostLine(std::string_view line);

} // namespace tkit5
