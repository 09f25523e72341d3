#include "Startup.h"

#include "Embedded.h"
#include "LivePc.h"
#include "machine/simulated/DescriptionReader.h"
#include "machine/simulated/Images.h"
#include "machine/simulated/SimulatedMachine.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>
#include <vector>

namespace host {

namespace {

constexpr std::string_view standInPc = "desktop-usb3-nested-hubs.json";

// A description of 10,000 devices has some 5 MB. The limit keeps an endless file from eating all memory.
constexpr std::size_t longestDescription = 256U * 1024U * 1024U;

// The bundled description of that name, with or without ".json"; null when there is none.
embedded::File const * findBundled(std::string_view name) {
    auto const files = embedded::machines::files();
    auto const found = std::ranges::find_if(files, [name](embedded::File const & file) {
        return file.name == name || file.name.substr(0, file.name.rfind('.')) == name;
    });
    return found == files.end() ? nullptr : &*found;
}

std::string bundledNames() {
    std::vector<std::string_view> names;
    for (embedded::File const & file : embedded::machines::files()) {
        names.push_back(file.name.substr(0, file.name.rfind('.')));
    }
    return fmt::format("{}", fmt::join(names, ", "));
}

void addImages(machine::simulated::Hub const & hub, std::vector<std::string> & images) {
    for (machine::simulated::Port const & port : hub.ports) {
        if (port.device == nullptr) {
            continue;
        }
        if (port.device->disk && port.device->disk->image) {
            images.push_back(port.device->disk->facts.backing);
        }
        if (port.device->hub != nullptr) {
            addImages(*port.device->hub, images);
        }
    }
}

std::variant<Pc, PcError> describedPc(std::string_view file, std::string_view json,
                                      std::filesystem::path const & folder) {
    auto read = machine::readDescription(json);
    if (auto const * error = std::get_if<machine::DescriptionError>(&read)) {
        return PcError{fmt::format("{}: {}", file, error->format())};
    }
    auto & description = std::get<machine::simulated::Description>(read);
    if (auto const error = machine::simulated::openImages(description, folder)) {
        return PcError{fmt::format("{}: {}", file, error->format())};
    }
    Pc pc;
    pc.user = description.user;
    for (machine::simulated::Controller const & controller : description.controllers) {
        addImages(controller.rootHub.hub, pc.images);
    }
    pc.machine = machine::makeSimulatedMachine(std::move(description));
    return pc;
}

std::variant<std::string, PcError> readFile(std::string const & name, std::filesystem::path const & path) {
    auto const error = [&name](std::string_view why) { return PcError{fmt::format("{}: {}.", name, why)}; };

    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) {
        return error("this is a folder; expected the file of a described PC");
    }
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        return error("the file cannot be opened for reading; check its permissions");
    }
    std::string contents;
    std::array<char, 65536> piece;
    while (stream.read(piece.data(), piece.size()) || stream.gcount() != 0) {
        contents.append(piece.data(), static_cast<std::size_t>(stream.gcount()));
        if (contents.size() > longestDescription) {
            return error("the file is longer than 256 MiB; no described PC is");
        }
    }
    if (stream.bad()) {
        return error("the file cannot be read to its end");
    }
    return contents;
}

} // namespace

std::variant<Pc, PcError> openPc(std::optional<std::string> const & descriptionFile) {
    if (!descriptionFile) {
        if (auto live = openLivePc()) {
            Pc pc;
            pc.machine = std::move(live);
            return pc;
        }
        auto pc = describedPc(standInPc, findBundled(standInPc)->contents, {});
        if (auto * opened = std::get_if<Pc>(&pc)) {
            opened->isBundled = true;
        }
        return pc;
    }

    std::filesystem::path const path(std::u8string(descriptionFile->begin(), descriptionFile->end()));
    std::error_code failure;
    if (!std::filesystem::exists(path, failure)) {
        if (embedded::File const * const bundled = findBundled(*descriptionFile)) {
            return describedPc(bundled->name, bundled->contents, {});
        }
        if (failure) {
            return PcError{fmt::format("{}: {}.", *descriptionFile, failure.message())};
        }
        return PcError{
            fmt::format("{}: there is no such file, and no bundled PC of that name. The bundled ones are {}.",
                        *descriptionFile, bundledNames())};
    }
    auto contents = readFile(*descriptionFile, path);
    if (auto * error = std::get_if<PcError>(&contents)) {
        return std::move(*error);
    }
    return describedPc(*descriptionFile, std::get<std::string>(contents), path.parent_path());
}

} // namespace host
