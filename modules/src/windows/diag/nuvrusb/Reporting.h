// Raising an event at a site of a source unit.
#pragma once

#include "Keys.h"
#include "SourceUnit.h"

namespace nuvrusb {

inline void raiseError(SourceUnit const & unit, tkit5::Event const * event, int line) {
    tkit5::DiagModule::error(event, unit.sourceFile(), line);
}

inline void raiseWarning(SourceUnit const & unit, tkit5::Event const * event, int line) {
    tkit5::DiagModule::warning(event, unit.sourceFile(), line);
}

inline void raiseInformative(SourceUnit const & unit, tkit5::Event const * event, int line) {
    tkit5::DiagModule::informative(event, unit.sourceFile(), line);
}

} // namespace nuvrusb
