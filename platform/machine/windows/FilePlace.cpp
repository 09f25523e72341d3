#include "FilePlace.h"

#include "Handle.h"

#include <windows.h>

#include <array>
#include <cstddef>

namespace machine::windows {

namespace {

constexpr std::size_t longestPath = 32768; // with its terminator

// The folder that a volume appears as, with a backslash at the end; empty when it cannot be told.
std::wstring mountPointOf(std::wstring const & path) {
    std::wstring mountPoint(path.size() + MAX_PATH, L'\0');
    if (path.empty() ||
        GetVolumePathNameW(path.c_str(), mountPoint.data(), static_cast<DWORD>(mountPoint.size())) == FALSE) {
        return {};
    }
    return mountPoint.c_str();
}

// Of what is found under the path: a drive of SUBST or a link only stands for it.
std::wstring volumeOfOpened(std::wstring const & path) {
    FileHandle const file(CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    std::wstring found(longestPath, L'\0');
    DWORD const size = file.isValid()
                           ? GetFinalPathNameByHandleW(file.get(), found.data(), static_cast<DWORD>(found.size()),
                                                       FILE_NAME_OPENED | VOLUME_NAME_GUID)
                           : 0;
    return size < found.size() ? std::wstring(volumeIn({found.data(), size})) : std::wstring();
}

// Where the file cannot be opened, or the system does not know its volume by the file.
std::wstring volumeOfMountPoint(std::wstring const & path) {
    std::array<wchar_t, MAX_PATH> name{};
    if (GetVolumeNameForVolumeMountPointW(mountPointOf(path).c_str(), name.data(), static_cast<DWORD>(name.size())) ==
        FALSE) {
        return {};
    }
    return std::wstring(volumeIn(name.data()));
}

// The root folder of where a file lies.
std::wstring rootOf(std::wstring const & path) {
    std::wstring const volume = volumeOf(path);
    return volume.empty() ? mountPointOf(path) : volume + L'\\';
}

// Windows PE, whose own drive is an image that was loaded into memory.
bool isPreinstallation() {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\MiniNT", 0, KEY_QUERY_VALUE, &key) !=
        ERROR_SUCCESS) {
        return false;
    }
    RegCloseKey(key);
    return true;
}

} // namespace

std::wstring volumeOf(std::wstring const & path) {
    std::wstring volume = volumeOfOpened(path);
    return volume.empty() ? volumeOfMountPoint(path) : volume;
}

bool isInMemory(std::wstring const & path) {
    std::wstring const root = rootOf(path);
    if (root.empty()) {
        return false;
    }
    return GetDriveTypeW(root.c_str()) == DRIVE_RAMDISK || (isPreinstallation() && root == rootOf(windowsFolder()));
}

std::wstring windowsFolder() {
    std::array<wchar_t, MAX_PATH> path{};
    UINT const size = GetSystemWindowsDirectoryW(path.data(), static_cast<UINT>(path.size()));
    return size < path.size() ? std::wstring(path.data(), size) : std::wstring();
}

std::wstring_view volumeIn(std::wstring_view path) {
    std::size_t const end = path.find(L'}');
    return path.starts_with(L"\\\\?\\Volume{") && end != path.npos ? path.substr(0, end + 1) : std::wstring_view();
}

} // namespace machine::windows
