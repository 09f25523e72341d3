// The connection record of a port, and what hangs on it.
#include "FuzzedHub.h"

#include "DeviceStatus.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    fuzz::FuzzedHub const hub(data, size);
    nuvrusb::CheckDeviceStatus(hub.get(), 1);
    return 0;
}
