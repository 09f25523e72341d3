#include "Images.h"

#include "machine/DiskStore.h"

#include <fmt/format.h>

#include <string>
#include <utility>

namespace machine::simulated {

namespace {

std::string utf8(std::filesystem::path const & path) {
    std::u8string const text = path.u8string();
    return {text.begin(), text.end()};
}

class Opener {
public:
    explicit Opener(std::filesystem::path const & folder) : folder_(folder) {}

    void open(Hub & hub) {
        for (Port & port : hub.ports) {
            if (port.device == nullptr || error_) {
                continue;
            }
            if (port.device->disk && port.device->disk->image) {
                open(*port.device->disk);
            }
            if (port.device->hub != nullptr) {
                open(*port.device->hub);
            }
        }
    }

    std::optional<DescriptionError> error() && { return std::move(error_); }

private:
    void open(Disk & disk) {
        std::filesystem::path const path =
            folder_ / std::filesystem::path(std::u8string(disk.image->begin(), disk.image->end()));
        auto opened = openImage(utf8(path), disk.sectorSize, disk.readOnly);
        if (auto * const wrong = std::get_if<std::string>(&opened)) {
            fail(disk, std::move(*wrong));
            return;
        }
        disk.facts.backing = utf8(path);
        disk.store = std::move(std::get<std::unique_ptr<DiskStore>>(opened));
        std::uint64_t const fits = disk.store->size() / disk.sectorSize;
        if (fits == 0) {
            fail(disk, fmt::format("{} is empty; expected at least one sector", utf8(path)));
        } else if (disk.sectorCount.value_or(fits) > fits) {
            fail(disk, fmt::format("{} holds {} sectors, fewer than sectorCount says", utf8(path), fits));
        }
    }

    void fail(Disk const & disk, std::string message) {
        error_ = DescriptionError{disk.imagePlace, std::move(message)};
    }

    std::filesystem::path const & folder_;
    std::optional<DescriptionError> error_;
};

} // namespace

std::optional<DescriptionError> openImages(Description & description, std::filesystem::path const & folder) {
    Opener opener(folder);
    for (Controller & controller : description.controllers) {
        opener.open(controller.rootHub.hub);
    }
    return std::move(opener).error();
}

} // namespace machine::simulated
