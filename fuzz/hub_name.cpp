// The name of the hub on a port, and the hub that is read by it.
#include "FuzzedHub.h"

#include "DeviceStatus.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    fuzz::FuzzedHub const hub(data, size);
    nuvrusb::getPowerConsumptionStatus(hub.get(), 1);
    return 0;
}
