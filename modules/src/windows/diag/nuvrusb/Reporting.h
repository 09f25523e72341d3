// Raising an event at a site of the unit "nuvrusb".
#pragma once

#include "Keys.h"
#include "SourceUnit.h"

namespace nuvrusb {

inline void raiseError(tkit5::Event const * event, int line) {
    tkit5::DiagModule::error(event, nuvrusbUnit.sourceFile(), line);
}

inline void raiseWarning(tkit5::Event const * event, int line) {
    tkit5::DiagModule::warning(event, nuvrusbUnit.sourceFile(), line);
}

} // namespace nuvrusb
