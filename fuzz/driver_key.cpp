// The driver key of the device on a port.
#include "FuzzedHub.h"

#include "DeviceNodes.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    fuzz::FuzzedHub const hub(data, size);
    nuvrusb::GetDriverKeyName(hub.get(), 1);
    return 0;
}
