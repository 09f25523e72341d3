// Every record of the whole bus.
#include "FuzzedHub.h"

#include "usbtopo.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    fuzz::FuzzedPc pc(data, size);
    machine::InUse const inUse(pc);
    kernel::beginRun();
    usbtopo::CUsbSystem system;
    system.EnumerateHostControllers();
    return 0;
}
