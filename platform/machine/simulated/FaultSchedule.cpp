#include "FaultSchedule.h"

#include <utility>

namespace machine::simulated {

FaultSchedule::FaultSchedule(std::vector<Fault> faults) {
    faults_.reserve(faults.size());
    for (Fault & fault : faults) {
        faults_.push_back({std::move(fault)});
    }
}

Fault const * FaultSchedule::strike(Query query, std::uint32_t port) {
    Fault const * striking = nullptr;
    for (Counted & counted : faults_) {
        Fault const & fault = counted.fault;
        if (fault.query != query || (fault.port && *fault.port != port)) {
            continue;
        }
        std::uint64_t const earlier = counted.queries++;
        bool const begun = earlier >= fault.after;
        bool const over = fault.times && earlier - fault.after >= *fault.times;
        if (begun && !over && striking == nullptr) {
            striking = &fault;
        }
    }
    return striking;
}

} // namespace machine::simulated
