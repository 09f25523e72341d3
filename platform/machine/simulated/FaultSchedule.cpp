#include "FaultSchedule.h"

#include <utility>

namespace machine::simulated {

FaultSchedule::FaultSchedule(std::vector<Fault> faults) {
    faults_.reserve(faults.size());
    for (Fault & fault : faults) {
        CountedWindow const window(fault.window);
        faults_.push_back({std::move(fault), window});
    }
}

Fault const * FaultSchedule::strike(Query query, std::uint32_t port) {
    Fault const * striking = nullptr;
    for (Counted & counted : faults_) {
        Fault const & fault = counted.fault;
        if (fault.query != query || (fault.port && *fault.port != port)) {
            continue;
        }
        if (counted.window.strikes() && striking == nullptr) {
            striking = &fault;
        }
    }
    return striking;
}

} // namespace machine::simulated
