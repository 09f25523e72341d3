// What nuvrusb recover says of the folders that it leaves alone, and forgetting the one that it has settled.
#pragma once

#include "DeviceCatalog.h"
#include "JournalSurvey.h"
#include "JsonlLines.h"
#include "Options.h"
#include "journal/Storage.h"
#include "terminal/Console.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace tkit5 {

// A folder where something is owed, with the command that puts it back, or where that cannot be told.
struct FolderRemark {
    std::optional<std::string> folder; // empty when it is not known
    std::optional<std::size_t> owed;   // empty when it cannot be told
    std::string text;
};

// On the other folders, and on the command's own where nothing is left of what was noted there.
std::vector<FolderRemark> folderRemarks(PlaceSurvey const & own, OtherPlaces const & others, Options const & options,
                                        DeviceCatalog const & catalog);

// As JSON lines, or for people as text and on the error stream. False when the text was lost.
bool tellOfFolders(std::vector<FolderRemark> const & remarks, Options const & options, terminal::Console & console,
                   JsonlLines & lines);

// If nothing is left in the storage, which is that of the command's folder, later commands need not look there.
void forgetSettledFolder(Options const & options, terminal::Console & console, journal::Storage & storage);

// Removes the notes that runs which were cut short have not completed.
void removeUnfinishedNotes();

} // namespace tkit5
