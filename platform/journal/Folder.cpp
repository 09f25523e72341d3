#include "Folder.h"

#include "FolderFiles.h"
#include "kernel/Files.h"

#include <filesystem>
#include <system_error>
#include <utility>

namespace journal {

namespace {

namespace fs = std::filesystem;

fs::path pathFrom(std::string const & utf8) {
    return {std::u8string(utf8.begin(), utf8.end())};
}

std::string utf8(fs::path const & path) {
    std::u8string const text = path.u8string();
    return {text.begin(), text.end()};
}

// On Windows some standard libraries tell these as errors of C, whose numbers mean something else there.
std::uint32_t errorOf(std::error_code const & failure) {
    if (failure == std::errc::not_a_directory) {
        return kernel::ERROR_PATH_NOT_FOUND;
    }
    if (failure == std::errc::permission_denied) {
        return kernel::ERROR_ACCESS_DENIED;
    }
    return windowsError(failure);
}

// The folder, or the nearest one above it that exists.
fs::path existing(fs::path path) {
    std::error_code ignored;
    path = fs::absolute(path, ignored);
    while (!fs::exists(path, ignored) && path.has_relative_path()) {
        path = path.parent_path();
    }
    return path;
}

class FolderStorage final : public Storage {
public:
    explicit FolderStorage(fs::path folder) : folder_(std::move(folder)) {}

    std::string place() const override { return utf8(folder_); }
    std::string pathOf(std::string const & name) const override { return utf8(folder_ / pathFrom(name)); }

    // Each new folder has to outlast a loss of power, too, which the name in the folder above it decides.
    std::uint32_t make() override {
        std::error_code failure;
        if (fs::is_directory(folder_, failure)) {
            return kernel::ERROR_SUCCESS;
        }
        fs::path const stop = existing(folder_);
        fs::create_directories(folder_, failure);
        if (failure) {
            return errorOf(failure);
        }
        for (fs::path made = fs::absolute(folder_, failure); made != stop && made.has_relative_path();) {
            made = made.parent_path();
            if (std::uint32_t const error = syncFolder(made); error != kernel::ERROR_SUCCESS) {
                return error;
            }
        }
        return kernel::ERROR_SUCCESS;
    }

    Result<StoredFile> create(std::string const & name) override { return createFile(folder_ / pathFrom(name)); }
    Result<StoredBytes> open(std::string const & name) override { return openFile(folder_ / pathFrom(name)); }

    std::uint32_t rename(std::string const & from, std::string const & to) override {
        return renameFile(folder_ / pathFrom(from), folder_ / pathFrom(to));
    }
    std::uint32_t remove(std::string const & name) override { return removeFile(folder_ / pathFrom(name)); }
    std::uint32_t syncNames() override { return syncFolder(folder_); }

    Names list() override {
        Names found;
        std::error_code failure;
        for (fs::directory_iterator each(folder_, failure), end; !failure && each != end; each.increment(failure)) {
            found.names.push_back(utf8(each->path().filename()));
        }
        if (failure == std::errc::no_such_file_or_directory || failure == std::errc::not_a_directory) {
            std::error_code ignored;
            found.error = fs::exists(folder_, ignored) ? notAFolder : kernel::ERROR_PATH_NOT_FOUND;
        } else if (failure) {
            found.error = errorOf(failure);
        }
        return found;
    }

    std::optional<std::uint64_t> room() override {
        std::error_code failure;
        fs::space_info const space = fs::space(existing(folder_), failure);
        return failure ? std::nullopt : std::optional<std::uint64_t>(space.available);
    }

private:
    fs::path const folder_;
};

} // namespace

std::unique_ptr<Storage> folderStorage(std::string const & folder) {
    return std::make_unique<FolderStorage>(pathFrom(folder));
}

FolderPlace placeOfFolder(std::string const & folder, std::string const & backing) {
    return placeOfExisting(existing(pathFrom(folder)), backing);
}

} // namespace journal
