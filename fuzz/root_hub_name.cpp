// The name of a controller's root hub.
#include "FuzzedHub.h"

#include "Controllers.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
    fuzz::FuzzedHub const hub(data, size);
    nuvrusb::getRootHubName(hub.get());
    return 0;
}
