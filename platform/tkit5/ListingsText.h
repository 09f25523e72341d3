// Listings for people.
#pragma once

#include "Registry.h"
#include "Topology.h"

#include <string>
#include <vector>

namespace tkit5 {

// What PC a listing is about.
struct PcTitle {
    std::string name;
    bool isBundled = false; // nobody named it
};

std::string titleText(PcTitle const & pc); // the first lines of a listing

std::string testsAsText(Registry const & registry);

// With a test: why that test takes a device or does not, else which tests take it.
std::string devicesAsText(PcTitle const & pc, DeviceCatalog const & catalog, Registry const & registry,
                          RegisteredTest const * asked);

std::string topologyAsText(PcTitle const & pc, std::vector<ControllerView> const & controllers, bool colour);

} // namespace tkit5
