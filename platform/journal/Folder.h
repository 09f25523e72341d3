// A journal's storage in a folder of the system that the program runs on.
#pragma once

#include "Storage.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>

namespace journal {

// A folder that need not exist yet; whatever is in it beside the journal's files is left alone. Only make() makes the
// folder, with those above it.
std::unique_ptr<Storage> folderStorage(std::string const & folder);

// Facts about where a folder is, or would be once it is created.
struct FolderPlace {
    bool inMemory = false; // its files do not outlast a loss of power
    bool onDisk = false;   // it lies on the disk that was asked about
};

// backing: the file or block device behind a disk, or the path by which the system opens it; empty: none to compare.
FolderPlace placeOfFolder(std::string const & folder, std::string const & backing);

} // namespace journal
