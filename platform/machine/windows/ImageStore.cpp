#include "machine/DiskStore.h"
#include "machine/Pages.h"

#include "ErrorText.h"
#include "Handle.h"

#include <fmt/format.h>

#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

namespace machine {

namespace {

using windows::FileHandle;

constexpr std::size_t mostAtOnce = std::size_t{1} << 30U; // bytes of one transfer

OVERLAPPED at(std::uint64_t offset) {
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(offset);
    place.OffsetHigh = static_cast<DWORD>(offset >> 32U);
    return place;
}

class ImageStore final : public DiskStore {
public:
    ImageStore(FileHandle file, std::uint64_t size, bool isDirect)
        : file_(std::move(file)), size_(size), isDirect_(isDirect) {}

    std::uint64_t size() const override { return size_; }

    std::uint32_t read(std::uint64_t offset, std::span<std::byte> buffer) override {
        if (isDirect_ && !isPageAligned(buffer.data())) {
            return readThroughPages(buffer, [&](std::span<std::byte> pages) { return read(offset, pages); });
        }
        return move(buffer.size(), [&](std::size_t done, DWORD size, DWORD & moved) {
            OVERLAPPED place = at(offset + done);
            return ReadFile(file_.get(), buffer.data() + done, size, &moved, &place);
        });
    }

    std::uint32_t write(std::uint64_t offset, std::span<std::byte const> bytes, bool durable) override {
        if (isDirect_ && !isPageAligned(bytes.data())) {
            return writeThroughPages(bytes,
                                     [&](std::span<std::byte const> pages) { return write(offset, pages, durable); });
        }
        std::uint32_t const error = move(bytes.size(), [&](std::size_t done, DWORD size, DWORD & moved) {
            OVERLAPPED place = at(offset + done);
            return WriteFile(file_.get(), bytes.data() + done, size, &moved, &place);
        });
        if (error == ERROR_SUCCESS && durable && FlushFileBuffers(file_.get()) == FALSE) {
            return GetLastError();
        }
        return error;
    }

    std::uint32_t flush() override { return FlushFileBuffers(file_.get()) != FALSE ? ERROR_SUCCESS : GetLastError(); }

private:
    template <class Move> static std::uint32_t move(std::size_t size, Move moveFrom) {
        for (std::size_t done = 0; done < size;) {
            DWORD moved = 0;
            if (moveFrom(done, static_cast<DWORD>(std::min(size - done, mostAtOnce)), moved) == FALSE) {
                DWORD const error = GetLastError();
                return error == ERROR_HANDLE_EOF ? ERROR_DEVICE_NOT_CONNECTED : error;
            }
            if (moved == 0) {
                return ERROR_DEVICE_NOT_CONNECTED; // the device ends before its size
            }
            done += moved;
        }
        return ERROR_SUCCESS;
    }

    FileHandle const file_;
    std::uint64_t const size_;
    bool const isDirect_;
};

FileHandle openFile(std::filesystem::path const & path, bool readOnly, DWORD flags) {
    DWORD const access = readOnly ? GENERIC_READ : GENERIC_READ | GENERIC_WRITE;
    return FileHandle(CreateFileW(path.c_str(), access, FILE_SHARE_READ, nullptr, OPEN_EXISTING, flags, nullptr));
}

// Past the cache only whole sectors of the file's own disk can be moved, which may be larger than those described.
bool canBeDirect(FileHandle const & file, std::uint32_t sectorSize) {
    FILE_STORAGE_INFO info{};
    return GetFileInformationByHandleEx(file.get(), FileStorageInfo, &info, sizeof info) != FALSE &&
           info.LogicalBytesPerSector != 0 && sectorSize % info.LogicalBytesPerSector == 0;
}

} // namespace

std::variant<std::unique_ptr<DiskStore>, std::string> openImage(std::string const & path, std::uint32_t sectorSize,
                                                                bool readOnly) {
    std::filesystem::path const name(std::u8string(path.begin(), path.end()));
    auto const because = [&path](DWORD error) {
        return error == ERROR_SHARING_VIOLATION
                   ? fmt::format("{} is in use by another run", path)
                   : fmt::format("{} cannot be opened: {}", path, windows::errorText(error));
    };
    std::error_code failure;
    if (!std::filesystem::exists(name, failure)) {
        return fmt::format("{} cannot be opened: No such file or directory", path);
    }
    if (!std::filesystem::is_regular_file(name, failure)) {
        return fmt::format("{} is neither a file nor a block device", path);
    }
    bool isDirect = true;
    auto opened = std::make_unique<FileHandle>(openFile(name, readOnly, FILE_FLAG_NO_BUFFERING));
    if (opened->isValid() && !canBeDirect(*opened, sectorSize)) {
        isDirect = false;
        opened.reset(); // before the next open, which would be kept out
        opened = std::make_unique<FileHandle>(openFile(name, readOnly, FILE_ATTRIBUTE_NORMAL));
    }
    if (!opened->isValid()) {
        return because(GetLastError());
    }
    LARGE_INTEGER size{};
    if (GetFileSizeEx(opened->get(), &size) == FALSE) {
        return because(GetLastError());
    }
    return std::make_unique<ImageStore>(std::move(*opened), static_cast<std::uint64_t>(size.QuadPart), isDirect);
}

} // namespace machine
