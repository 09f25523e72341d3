// Listings for host programs, described in docs/protocol.md.
#pragma once

#include "JsonlLines.h"
#include "ListingsText.h"

namespace tkit5 {

void writeTests(JsonlLines & lines, Registry const & registry);

void writeDevices(JsonlLines & lines, PcTitle const & pc, DeviceCatalog const & catalog, Registry const & registry,
                  RegisteredTest const * asked);

void writeTopology(JsonlLines & lines, PcTitle const & pc, std::vector<ControllerView> const & controllers);

} // namespace tkit5
