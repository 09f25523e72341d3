#pragma once

#include "DeviceReader.h"

namespace machine::simulated {

void readDisk(JsonObject const & json, Device & device, WholeReading & names); // the device's disk, if it has one

} // namespace machine::simulated
