// Steps of the storage test that stand on their own.
#pragma once

#include "PerformanceCalculator.h"

#include "nuv.h"
#include "tkit5.h"

namespace nuvrusb {

// True when the disk is locked by an ATA password, so that nothing on it can be read or written.
bool isHarddrivePasswordProtected(tkit5::DiagDevice const & device);

// Runs the passes that the parameters ask for and merges their results.
void readPerformance(tkit5::TestResult & result, nuv::SharedResourceManager<PerformanceCalculator> const & calculator,
                     tkit5::DiagDevice const & device);

} // namespace nuvrusb
