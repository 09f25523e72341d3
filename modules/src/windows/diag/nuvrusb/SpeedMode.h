// What the caller demands of connection speeds. The flags are process-wide and are never cleared: a process that runs
// with different values one after the other ends up with more than one of them set.
#pragma once

namespace nuvrusb {

struct SpeedMode {
    bool desiredSpeedIsMax = false;     // desiredVerificationSpeed was read as "MAX" once
    bool desiredSpeedIsDefault = false; // it was read unset, or as anything else, once
    bool ignore1x = false;              // ignore1xdevices was read as non-zero once
};

extern SpeedMode speedMode;

void readDesiredVerificationSpeed();
void readIgnore1xDevices();

} // namespace nuvrusb
