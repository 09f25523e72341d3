// What lies in all folders that may hold backups: that of the command, the usual one, and those that are noted there.
#pragma once

#include "DeviceCatalog.h"
#include "JournalPlace.h"
#include "Options.h"
#include "journal/Journal.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tkit5 {

struct PlaceSurvey {
    std::optional<std::string> named; // what --journal takes to look there; empty for the usual folder
    std::string folder;               // UTF-8
    bool isNoted = false;             // known only by the note of a run that was cut short
    journal::Survey survey;
};

// The command's own folder; empty when there is none.
std::optional<PlaceSurvey> surveyOwnPlace(Options const & options);

struct OtherPlaces {
    std::vector<PlaceSurvey> places;
    bool isOwnNoted = false;          // the command's own folder, where that is not the usual one
    std::string unknown;              // why there may be more of them; empty when there are not
    std::vector<std::string> damaged; // notes that name no folder any more, with their paths
};
OtherPlaces surveyOtherPlaces(Options const & options);

// Where a backup of the same sectors lies that may be owed to the same disk; null when there is none.
PlaceSurvey const * placeOfSameSectors(OtherPlaces const & others, OwedEntry const & owed,
                                       DeviceCatalog const & catalog);

// True when nothing is left where a run that was cut short has kept backups, so that it may be another disk's folder,
// or when there is no such folder now.
bool isNothingThere(PlaceSurvey const & place);

// Sentences for people; empty when there is nothing to say.

// Why nobody can tell what is owed there: the folder, or a backup in it, cannot be read now.
std::string whyUnknown(PlaceSurvey const & place);
std::string whyNothingThere(PlaceSurvey const & place, Options const & options);
std::string textOfDamagedBackup(PlaceSurvey const & place, journal::FoundEntry const & found, Options const & options);
std::string textOfDamagedNote(std::string const & path);
// That a note could not be removed, or that nobody knew whether it may be.
std::string textOfKeptNote(std::string const & usual, std::uint32_t error);

// True for the errors of a folder that is not there, as when its disk is not connected, or is none.
bool isMissing(std::uint32_t error);

} // namespace tkit5
