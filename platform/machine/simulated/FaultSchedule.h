#pragma once

#include "Description.h"

#include <cstdint>
#include <vector>

namespace machine::simulated {

// The faults of one hub or controller, and how far each of them is.
class FaultSchedule {
public:
    explicit FaultSchedule(std::vector<Fault> faults = {});

    // Counts a query and gives the fault that strikes it, the first where there are several; null when none does. The
    // port is 0 for a query that is not about one.
    Fault const * strike(Query query, std::uint32_t port);

private:
    struct Counted {
        Fault fault;
        CountedWindow window;
    };
    std::vector<Counted> faults_;
};

} // namespace machine::simulated
