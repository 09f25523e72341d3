#include "OtherFolders.h"

#include "JournalFolders.h"
#include "JournalPlace.h"
#include "Names.h"
#include "TextLayout.h"
#include "journal/Folder.h"
#include "kernel/Files.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <utility>

namespace tkit5 {

namespace {

using Json = nlohmann::ordered_json;

} // namespace

std::vector<FolderRemark> folderRemarks(PlaceSurvey const & own, OtherPlaces const & others, Options const & options,
                                        DeviceCatalog const & catalog) {
    std::vector<FolderRemark> all;
    if (std::string nothing = whyNothingThere(own, options); !nothing.empty() && !options.discard) {
        all.push_back({own.folder, 0, std::move(nothing)});
    }
    for (PlaceSurvey const & place : others.places) {
        std::size_t const owed = owedEntries(place.survey, catalog).size();
        if (std::string why = whyUnknown(place); !why.empty()) {
            all.push_back({place.folder, std::nullopt, why + " So it is not known what is owed there."});
        } else if (owed != 0) {
            all.push_back({place.folder, owed,
                           fmt::format("Backups that are owed in {}: {}. '{}' puts them back.", place.folder, owed,
                                       recoverCommand(options, place.named))});
        } else if (std::string nothing = whyNothingThere(place, options); !nothing.empty()) {
            all.push_back({place.folder, owed, std::move(nothing)});
        }
    }
    if (!others.unknown.empty()) {
        all.push_back({std::nullopt, std::nullopt, others.unknown + " So it is not known what is owed elsewhere."});
    }
    for (std::string const & path : others.damaged) {
        all.push_back({std::nullopt, std::nullopt, textOfDamagedNote(path)});
    }
    return all;
}

bool tellOfFolders(std::vector<FolderRemark> const & remarks, Options const & options, terminal::Console & console,
                   JsonlLines & lines) {
    bool isWritten = true;
    for (FolderRemark const & remark : remarks) {
        if (options.format == Format::Jsonl) {
            lines.write("otherFolder", {{"folder", remark.folder ? Json(*remark.folder) : Json()},
                                        {"owed", remark.owed ? Json(*remark.owed) : Json()},
                                        {"text", remark.text}});
        } else if (remark.owed.value_or(0) != 0) {
            isWritten = console.write(printable(remark.text) + "\n") && isWritten;
        } else {
            console.writeError(fmt::format("{}: {}\n", programName, printable(remark.text)));
        }
    }
    return isWritten;
}

void forgetSettledFolder(Options const & options, terminal::Console & console, journal::Storage & storage) {
    std::string const usual = usualJournalFolder();
    if (usual.empty()) {
        return;
    }
    auto const usualStorage = journal::folderStorage(usual);
    FolderNotes const notes = folderNotes(*usualStorage); // before the survey, which then shows what their runs owe
    journal::Survey const left = journal::survey(storage);
    std::uint32_t error = isMissing(left.error) ? kernel::ERROR_SUCCESS : left.error;
    bool const isSettled = std::ranges::all_of(left.entries, [](journal::FoundEntry const & found) {
        return found.state == journal::FoundEntry::State::InUse; // of a run with its own note
    });
    if (error == kernel::ERROR_SUCCESS && isSettled) {
        error = forgetFolder(*usualStorage, notes, journalFolder(options));
    }
    if (error != kernel::ERROR_SUCCESS) {
        console.writeError(fmt::format("{}: {}\n", programName, textOfKeptNote(usual, error)));
    }
}

void removeUnfinishedNotes() {
    if (std::string const usual = usualJournalFolder(); !usual.empty()) {
        auto const storage = journal::folderStorage(usual);
        removeUnfinished(*storage, folderNotes(*storage));
    }
}

} // namespace tkit5
