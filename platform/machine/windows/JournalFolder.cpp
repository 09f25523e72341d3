// Folders of journal files. Not every standard library is of use here: one lists a folder with a long path from a
// buffer that is too short for it, and tells failures by numbers of C, which are those of other errors of Windows.
#include "Handle.h"
#include "Wide.h"
#include "journal/FolderFiles.h"
#include "machine/Text.h"

#include <windows.h>

#include <string_view>

namespace journal {

namespace {

namespace fs = std::filesystem;
using machine::windows::FileHandle;

// What FindFirstFileExW gives.
class SearchHandle {
public:
    explicit SearchHandle(HANDLE owned) : handle_(owned) {}
    SearchHandle(SearchHandle const &) = delete;
    SearchHandle & operator=(SearchHandle const &) = delete;
    ~SearchHandle() {
        if (isValid()) {
            FindClose(handle_);
        }
    }
    bool isValid() const { return handle_ != INVALID_HANDLE_VALUE; }
    HANDLE get() const { return handle_; }

private:
    HANDLE const handle_;
};

// What a path leads to, through links, or why it leads to nothing.
struct Target {
    bool isFolder = false;
    DWORD error = ERROR_SUCCESS;
};
Target targetOf(fs::path const & path) {
    FileHandle const opened(CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                        nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    BY_HANDLE_FILE_INFORMATION facts{};
    if (!opened.isValid() || GetFileInformationByHandle(opened.get(), &facts) == FALSE) {
        return {false, GetLastError()};
    }
    return {(facts.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0, ERROR_SUCCESS};
}

// A search tells neither a file in the place of the folder nor an empty root folder by an error of its own: the latter
// has no "." to find either.
std::uint32_t whyNotListed(fs::path const & folder, DWORD error) {
    Target const target = targetOf(folder);
    if (target.error == ERROR_FILE_NOT_FOUND) {
        return ERROR_PATH_NOT_FOUND;
    }
    if (target.error != ERROR_SUCCESS) {
        return target.error;
    }
    if (!target.isFolder) {
        return notAFolder;
    }
    return error == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : error;
}

} // namespace

// With a backslash at the end, since "\\?\C:" is the drive and not a folder.
bool isFolder(fs::path const & path) {
    return targetOf(path / L"").isFolder;
}

std::uint32_t makeFolder(fs::path const & folder) {
    if (CreateDirectoryW(folder.c_str(), nullptr) != FALSE) {
        return ERROR_SUCCESS;
    }
    DWORD const error = GetLastError();
    if (isFolder(folder)) {
        return ERROR_SUCCESS;
    }
    // The first means something that is no folder.
    return error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND : error;
}

Storage::Names namesIn(fs::path const & folder) {
    Storage::Names found;
    WIN32_FIND_DATAW each{};
    SearchHandle const search(
        FindFirstFileExW((folder / L"*").c_str(), FindExInfoBasic, &each, FindExSearchNameMatch, nullptr, 0));
    if (!search.isValid()) {
        found.error = whyNotListed(folder, GetLastError());
        return found;
    }
    do {
        std::wstring_view const name = each.cFileName;
        if (name != L"." && name != L"..") {
            found.names.push_back(machine::toUtf8(machine::windows::fromWide(name)));
        }
    } while (FindNextFileW(search.get(), &each) != FALSE);
    DWORD const error = GetLastError();
    found.error = error == ERROR_NO_MORE_FILES ? ERROR_SUCCESS : error;
    return found;
}

} // namespace journal
