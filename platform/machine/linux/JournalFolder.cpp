// Folders of journal files.
#include "JournalErrors.h"
#include "journal/FolderFiles.h"
#include "kernel/Files.h"

#include <string>
#include <system_error>

namespace journal {

namespace fs = std::filesystem;

bool isFolder(fs::path const & path) {
    std::error_code ignored;
    return fs::is_directory(path, ignored);
}

std::uint32_t makeFolder(fs::path const & folder) {
    std::error_code failure;
    fs::create_directory(folder, failure); // one that is there already is no failure
    if (!failure) {
        return kernel::ERROR_SUCCESS;
    }
    return failure == std::errc::file_exists ? kernel::ERROR_PATH_NOT_FOUND : windowsError(failure);
}

Storage::Names namesIn(fs::path const & folder) {
    Storage::Names found;
    std::error_code failure;
    for (fs::directory_iterator each(folder, failure), end; !failure && each != end; each.increment(failure)) {
        found.names.push_back(each->path().filename().string());
    }
    if (failure == std::errc::no_such_file_or_directory || failure == std::errc::not_a_directory) {
        std::error_code ignored;
        found.error = fs::exists(folder, ignored) ? notAFolder : kernel::ERROR_PATH_NOT_FOUND;
    } else if (failure) {
        found.error = windowsError(failure);
    }
    return found;
}

} // namespace journal
