#pragma once

#include "Clock.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace machine {

// A user written down beforehand: what they answer, and when they ask for a stop.
struct ScriptedUser {
    enum class Answer : std::uint8_t { Ok, Yes, No, Retry, Cancel, Abort };

    std::vector<Answer> answers;             // one per message box, in order; after the last one nobody answers
    std::optional<std::uint32_t> stopAtPoll; // the n-th time that the run asks for a stop, from 1, and ever after
    std::optional<Duration> stopAfter;       // on the machine's clock, since the start of the run
};

} // namespace machine
