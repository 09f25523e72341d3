#include "SpeedMode.h"

#include "Catalogue.h"
#include "ParameterValue.h"
#include "SourceUnit.h"

namespace nuvrusb {

constinit SpeedMode speedMode;

void readDesiredVerificationSpeed() {
    TraceScope const trace(nuvrusbUnit, "readDesiredVerificationSpeed", 596);
    tkit5::Parameter const * const parameter = parameters::desiredVerificationSpeed;
    bool const isMax = parameter->isset() && parameter->value().valueString().nuvString().compareNoCase("MAX") == 0;
    (isMax ? speedMode.desiredSpeedIsMax : speedMode.desiredSpeedIsDefault) = true;
}

void readIgnore1xDevices() {
    if (uint32Or(parameters::ignore1xdevices, 0) != 0) {
        speedMode.ignore1x = true;
    }
}

} // namespace nuvrusb
