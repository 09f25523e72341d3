// What a folder of journal files asks of the system beyond the standard library. One file for each system.
#pragma once

#include "Folder.h"
#include "Storage.h"

#include <cstdint>
#include <filesystem>
#include <string>

namespace journal {

Result<StoredFile> createFile(std::filesystem::path const & path);
Result<StoredBytes> openFile(std::filesystem::path const & path);
// Never in the place of another file; where the file system cannot do that, it looks first.
std::uint32_t renameFile(std::filesystem::path const & from, std::filesystem::path const & to);
std::uint32_t removeFile(std::filesystem::path const & path);
std::uint32_t removeAbandonedFile(std::filesystem::path const & path);
std::uint32_t syncFolder(std::filesystem::path const & folder);

bool isFolder(std::filesystem::path const & path); // through links
// In a folder that exists. No error when it is there already, 3 when something else is in its place.
std::uint32_t makeFolder(std::filesystem::path const & folder);
Storage::Names namesIn(std::filesystem::path const & folder);

// The folder exists.
FolderPlace placeOfExisting(std::filesystem::path const & folder, std::string const & backing);

} // namespace journal
