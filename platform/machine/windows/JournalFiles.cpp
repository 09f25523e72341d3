// Files of a journal: durable, closed to others as long as they are written, renamed at once.
#include "journal/FolderFiles.h"

#include "FilePlace.h"
#include "Handle.h"

#include <windows.h>

#include <winioctl.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace journal {

namespace {

namespace fs = std::filesystem;
using machine::windows::FileHandle;

constexpr std::size_t mostAtOnce = std::size_t{1} << 26U; // bytes of one transfer

class WrittenFile final : public StoredFile {
public:
    explicit WrittenFile(FileHandle file) : file_(std::move(file)) {}

    std::uint32_t write(Bytes bytes) override {
        while (!bytes.empty()) {
            DWORD written = 0;
            auto const size = static_cast<DWORD>(std::min(bytes.size(), mostAtOnce));
            if (WriteFile(file_.get(), bytes.data(), size, &written, nullptr) == FALSE) {
                return GetLastError();
            }
            bytes = bytes.subspan(written);
        }
        return ERROR_SUCCESS;
    }

    std::uint32_t sync() override { return FlushFileBuffers(file_.get()) != FALSE ? ERROR_SUCCESS : GetLastError(); }

private:
    FileHandle const file_;
};

class FileToRead final : public StoredBytes {
public:
    FileToRead(FileHandle file, std::uint64_t size) : file_(std::move(file)), size_(size) {}

    std::uint64_t size() const override { return size_; }

    std::uint32_t read(std::uint64_t offset, std::span<std::byte> buffer) override {
        while (!buffer.empty()) {
            OVERLAPPED place{};
            place.Offset = static_cast<DWORD>(offset);
            place.OffsetHigh = static_cast<DWORD>(offset >> 32U);
            DWORD read = 0;
            auto const size = static_cast<DWORD>(std::min(buffer.size(), mostAtOnce));
            if (ReadFile(file_.get(), buffer.data(), size, &read, &place) == FALSE) {
                return GetLastError();
            }
            if (read == 0) {
                return ERROR_HANDLE_EOF;
            }
            buffer = buffer.subspan(read);
            offset += read;
        }
        return ERROR_SUCCESS;
    }

private:
    FileHandle const file_;
    std::uint64_t const size_;
};

// The disks that the volume of a folder lies on; empty when they cannot be told.
std::vector<DWORD> disksBelow(fs::path const & folder) {
    std::wstring const volume = machine::windows::volumeOf(folder.native());
    FileHandle const file(
        CreateFileW(volume.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
    constexpr std::size_t mostExtents = 64;
    alignas(VOLUME_DISK_EXTENTS) std::array<std::byte, sizeof(VOLUME_DISK_EXTENTS) + mostExtents * sizeof(DISK_EXTENT)>
        record{};
    DWORD returned = 0;
    if (!file.isValid() || DeviceIoControl(file.get(), IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, nullptr, 0, record.data(),
                                           static_cast<DWORD>(record.size()), &returned, nullptr) == FALSE) {
        return {};
    }
    auto const * const extents = reinterpret_cast<VOLUME_DISK_EXTENTS const *>(record.data());
    std::vector<DWORD> disks;
    for (DWORD i = 0; i < extents->NumberOfDiskExtents && i < mostExtents; ++i) {
        disks.push_back(extents->Extents[i].DiskNumber);
    }
    return disks;
}

// The N of \\.\PhysicalDriveN.
std::optional<DWORD> diskNumberOf(std::string const & path) {
    fs::path const name(std::u8string(path.begin(), path.end()));
    FileHandle const disk(
        CreateFileW(name.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
    STORAGE_DEVICE_NUMBER number{};
    DWORD returned = 0;
    if (!disk.isValid() || DeviceIoControl(disk.get(), IOCTL_STORAGE_GET_DEVICE_NUMBER, nullptr, 0, &number,
                                           sizeof number, &returned, nullptr) == FALSE) {
        return std::nullopt;
    }
    return number.DeviceNumber;
}

} // namespace

Result<StoredFile> createFile(fs::path const & path) {
    // Whoever shares deletion only can have the file renamed and removed, but not read.
    FileHandle file(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_DELETE, nullptr, CREATE_NEW,
                                FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.isValid()) {
        return {nullptr, GetLastError()};
    }
    return {std::make_unique<WrittenFile>(std::move(file)), ERROR_SUCCESS};
}

Result<StoredBytes> openFile(fs::path const & path) {
    FileHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size{};
    if (!file.isValid() || GetFileSizeEx(file.get(), &size) == FALSE) {
        return {nullptr, GetLastError()};
    }
    return {std::make_unique<FileToRead>(std::move(file), static_cast<std::uint64_t>(size.QuadPart)), ERROR_SUCCESS};
}

std::uint32_t renameFile(fs::path const & from, fs::path const & to) {
    if (MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_WRITE_THROUGH) != FALSE) {
        return ERROR_SUCCESS;
    }
    DWORD const error = GetLastError();
    return error == ERROR_ALREADY_EXISTS ? fileExists : error;
}

std::uint32_t removeFile(fs::path const & path) {
    return DeleteFileW(path.c_str()) != FALSE ? ERROR_SUCCESS : GetLastError();
}

// By the handle, so that it is the file that nobody else has open, whatever its name is given to.
std::uint32_t removeAbandonedFile(fs::path const & path) {
    constexpr DWORD sharedWithNobody = 0;
    FileHandle const file(
        CreateFileW(path.c_str(), DELETE, sharedWithNobody, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    FILE_DISPOSITION_INFO disposition{TRUE};
    bool const isRemoved = file.isValid() && SetFileInformationByHandle(file.get(), FileDispositionInfo, &disposition,
                                                                        sizeof disposition) != FALSE;
    return isRemoved ? ERROR_SUCCESS : GetLastError();
}

// A folder is flushed like a file. Where Windows does not grant that, the renames have been written through and a
// removal that is lost only brings back an entry that the disk has no need of.
std::uint32_t syncFolder(fs::path const & folder) {
    FileHandle const opened(CreateFileW(folder.c_str(), GENERIC_WRITE,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                        FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (!opened.isValid() || FlushFileBuffers(opened.get()) == FALSE) {
        DWORD const error = GetLastError();
        return error == ERROR_ACCESS_DENIED || error == ERROR_INVALID_FUNCTION ? ERROR_SUCCESS : error;
    }
    return ERROR_SUCCESS;
}

FolderPlace placeOfExisting(fs::path const & folder, std::string const & backing) {
    FolderPlace place;
    place.inMemory = machine::windows::isInMemory(folder.native());
    if (auto const number = backing.empty() ? std::nullopt : diskNumberOf(backing)) {
        place.onDisk = std::ranges::count(disksBelow(folder), *number) != 0;
    }
    return place;
}

} // namespace journal
