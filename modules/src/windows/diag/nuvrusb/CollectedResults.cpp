#include "CollectedResults.h"

namespace nuvrusb {

nuv::Array<tkit5::TestResult> collectedResults;

void emptyCollectedResults() {
    collectedResults = {};
    collectedResults.reserve(8);
}

tkit5::TestResult mergeCollectedResults() {
    tkit5::TestResult merged = tkit5::TestResult::PASS();
    for (tkit5::TestResult const & result : collectedResults) {
        merged.merge(result);
    }
    return merged;
}

} // namespace nuvrusb
