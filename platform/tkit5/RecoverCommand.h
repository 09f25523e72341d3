// nuvrusb recover: what is owed to disks, and putting it back.
#pragma once

#include "DeviceCatalog.h"
#include "Options.h"
#include "journal/Storage.h"
#include "terminal/Console.h"

#include <memory>

namespace tkit5 {

// Returns the exit code. Blocks for all transfers of what is put back.
int recoverOwed(Options const & options, terminal::Console & console, DeviceCatalog const & catalog);

// The same with the backups in a storage, and a look at no other place; null: there is none.
int recoverOwed(Options const & options, terminal::Console & console, DeviceCatalog const & catalog,
                std::unique_ptr<journal::Storage> storage);

} // namespace tkit5
