#pragma once

#include "Reporter.h"

#include <cstddef>

namespace tkit5 {

// How many events were raised, by severity.
struct EventCounts {
    std::size_t errors = 0;
    std::size_t warnings = 0;
    std::size_t informatives = 0;

    void count(Severity severity) {
        switch (severity) {
        case Severity::Error:
            ++errors;
            break;
        case Severity::Warning:
            ++warnings;
            break;
        case Severity::Informative:
            ++informatives;
            break;
        }
    }
};

} // namespace tkit5
