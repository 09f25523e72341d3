#include "JournalSurvey.h"

#include "JournalFolders.h"
#include "journal/Folder.h"
#include "kernel/Files.h"
#include "nuv.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace tkit5 {

namespace {

std::string errorText(std::uint32_t error) {
    return nuv::System::getSystemErrorMsg(error).getUTF8String();
}

PlaceSurvey surveyOf(std::optional<std::string> const & named, std::string const & folder, bool isNoted) {
    return {.named = named,
            .folder = folder,
            .isNoted = isNoted,
            .survey = journal::survey(*journal::folderStorage(folder))};
}

} // namespace

bool isMissing(std::uint32_t error) {
    constexpr std::uint32_t networkPathNotFound = 53;
    constexpr std::uint32_t networkNameNotFound = 67;
    constexpr std::array errors{kernel::ERROR_FILE_NOT_FOUND, kernel::ERROR_PATH_NOT_FOUND, kernel::ERROR_NOT_READY,
                                networkPathNotFound,          networkNameNotFound,          journal::notAFolder};
    return std::ranges::count(errors, error) != 0;
}

std::optional<PlaceSurvey> surveyOwnPlace(Options const & options) {
    std::string const folder = journalFolder(options);
    return folder.empty() ? std::nullopt : std::optional(surveyOf(options.journal, folder, false));
}

OtherPlaces surveyOtherPlaces(Options const & options) {
    OtherPlaces others;
    std::string const usual = usualJournalFolder();
    if (usual.empty()) {
        return others;
    }
    std::vector<std::string> known{journalFolder(options)};
    auto const isKnown = [&known](std::string const & folder) {
        return std::ranges::any_of(known, [&](std::string const & each) { return isSameFolder(each, folder); });
    };
    bool const isOwnUsual = isKnown(usual);
    if (!isOwnUsual) {
        known.push_back(usual);
        others.places.push_back(surveyOf(std::nullopt, usual, false));
    }
    auto const storage = journal::folderStorage(usual);
    FolderNotes const notes = folderNotes(*storage);
    if (notes.error != kernel::ERROR_SUCCESS && notes.error != journal::notAFolder) {
        std::string const what = notes.unread.empty() ? fmt::format("The list of other folders in {}", usual)
                                                      : fmt::format("The note {}", storage->pathOf(notes.unread));
        others.unknown = fmt::format("{}, where backups may be, cannot be read. {}", what, errorText(notes.error));
    }
    for (std::string const & name : notes.damaged) {
        others.damaged.push_back(storage->pathOf(name));
    }
    for (FolderNotes::Note const & note : notes.notes) {
        if (!isKnown(note.folder)) {
            known.push_back(note.folder);
            others.places.push_back(surveyOf(note.folder, note.folder, true));
        } else if (!isOwnUsual && isSameFolder(known.front(), note.folder)) {
            others.isOwnNoted = true;
        }
    }
    return others;
}

PlaceSurvey const * placeOfSameSectors(OtherPlaces const & others, OwedEntry const & owed,
                                       DeviceCatalog const & catalog) {
    auto const isOfSame = [&owed](OwedEntry const & other) {
        bool const mayBeOfSameDisk = std::ranges::any_of(
            other.disks, [&owed](CatalogDevice const * disk) { return std::ranges::count(owed.disks, disk) != 0; });
        return mayBeOfSameDisk && overlap(other.found.entry, owed.found.entry);
    };
    auto const place = std::ranges::find_if(others.places, [&](PlaceSurvey const & each) {
        return std::ranges::any_of(owedEntries(each.survey, catalog), isOfSame);
    });
    return place == others.places.end() ? nullptr : &*place;
}

bool isNothingThere(PlaceSurvey const & place) {
    return place.isNoted && place.survey.entries.empty() && whyUnknown(place).empty();
}

std::string whyUnknown(PlaceSurvey const & place) {
    auto const text = [&place](std::string const & what, std::uint32_t error) {
        return fmt::format("{} in {} cannot be read. {}", what, place.folder, errorText(error));
    };
    std::uint32_t const error = place.survey.error;
    bool const isAbsent =
        error == kernel::ERROR_PATH_NOT_FOUND || error == journal::notAFolder || (place.isNoted && isMissing(error));
    if (error != kernel::ERROR_SUCCESS && !isAbsent) { // no folder, no backup
        return text("The backups", error);
    }
    auto const unread = std::ranges::find_if(place.survey.entries, [](auto const & found) { return found.error != 0; });
    return unread == place.survey.entries.end() ? std::string() : text("The backup " + unread->name, unread->error);
}

std::string whyNothingThere(PlaceSurvey const & place, Options const & options) {
    if (!isNothingThere(place)) {
        return {};
    }
    return fmt::format(
        "A run that kept backups in {} was cut short, and there are none now. If the folder is on a "
        "disk that is not connected, connect it. If nothing is missing, '{} --discard' ends this notice.",
        place.folder, recoverCommand(options, place.named));
}

std::string textOfDamagedBackup(PlaceSurvey const & place, journal::FoundEntry const & found, Options const & options) {
    std::string const command = recoverCommand(options, place.named);
    return fmt::format("The backup {} in {} is damaged, so that nobody can tell what it held. '{}' puts back what else "
                       "is owed, and '{} --discard' then removes it.",
                       found.name, place.folder, command, command);
}

std::string textOfDamagedNote(std::string const & path) {
    return fmt::format("{} is damaged. It named a folder where a run that was cut short kept backups: 'nuvrusb recover "
                       "--journal DIR' looks there. Remove the file once nothing is owed.",
                       path);
}

std::string textOfKeptNote(std::string const & usual, std::uint32_t error) {
    return fmt::format("Later commands may still say that a run was cut short, and runs that write may be refused for "
                       "it, since its note in {} was not removed. {}",
                       usual, errorText(error));
}

} // namespace tkit5
