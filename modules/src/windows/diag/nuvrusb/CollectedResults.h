// The results of one run of a USB test, in the order in which its measurements or ports finished. Process-wide; each
// run empties it first.
#pragma once

#include "nuv.h"
#include "tkit5.h"

namespace nuvrusb {

extern nuv::Array<tkit5::TestResult> collectedResults;

void emptyCollectedResults();

// PASS merged with every collected result, in list order.
tkit5::TestResult mergeCollectedResults();

} // namespace nuvrusb
