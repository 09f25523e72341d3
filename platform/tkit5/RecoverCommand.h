// nuvrusb recover: what is owed to disks, and putting it back.
#pragma once

#include "DeviceCatalog.h"
#include "Options.h"
#include "terminal/Console.h"

#include <optional>

namespace tkit5 {

// Returns the exit code. Blocks for all transfers of what is put back.
int recoverOwed(Options const & options, terminal::Console & console, DeviceCatalog const & catalog);

} // namespace tkit5
