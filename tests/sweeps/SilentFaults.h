// Faults that no event, log line or verdict shows, because nothing is lost by them.
#pragma once

#include "Faults.h"

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace test {

enum class Swept : std::uint8_t { Speed, Status, Storage };
char const * nameOf(Swept test);

struct SilentFault {
    std::vector<Swept> tests;
    Call call = Call::Open;
    std::string_view what; // as CallRecord::struck() has it
    std::string_view reason;

    bool isAbout(Swept test, Call aCall) const;
};

std::span<SilentFault const> silentFaults();

} // namespace test
