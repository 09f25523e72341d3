#include "Folder.h"

#include "FolderFiles.h"
#include "kernel/Files.h"

#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

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

// The folder, or the nearest one above it that exists.
fs::path existing(fs::path path) {
    std::error_code ignored;
    path = fs::absolute(path, ignored);
    while (!isFolder(path) && path.has_relative_path()) {
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
        if (isFolder(folder_)) {
            return kernel::ERROR_SUCCESS;
        }
        std::error_code ignored;
        std::vector<fs::path> missing{fs::absolute(folder_, ignored)}; // each in the next one
        for (fs::path above = missing.back().parent_path(); above.has_relative_path() && !isFolder(above);
             above = above.parent_path()) {
            missing.push_back(above);
        }
        for (auto each = missing.rbegin(); each != missing.rend(); ++each) {
            if (std::uint32_t const error = makeFolder(*each); error != kernel::ERROR_SUCCESS) {
                return error;
            }
        }
        for (fs::path const & made : missing) {
            if (std::uint32_t const error = syncFolder(made.parent_path()); error != kernel::ERROR_SUCCESS) {
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
    std::uint32_t removeAbandoned(std::string const & name) override {
        return removeAbandonedFile(folder_ / pathFrom(name));
    }
    std::uint32_t syncNames() override { return syncFolder(folder_); }
    Names list() override { return namesIn(folder_); }

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
