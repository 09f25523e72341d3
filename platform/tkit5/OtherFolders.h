// What nuvrusb recover says of the folders that it leaves alone, and forgetting the one that it has settled.
#pragma once

#include "DeviceCatalog.h"
#include "JournalSurvey.h"
#include "JsonlLines.h"
#include "Options.h"
#include "journal/Storage.h"
#include "terminal/Console.h"

namespace tkit5 {

// Where else something is owed, with the command that puts it back, and where that cannot be told: as JSON lines, or
// for people as text and on the error stream.
void tellOfOtherFolders(OtherPlaces const & others, Options const & options, terminal::Console & console,
                        JsonlLines & lines, DeviceCatalog const & catalog);

// If nothing is left in the storage, which is that of the command's folder, later commands need not look there.
void forgetSettledFolder(Options const & options, terminal::Console & console, journal::Storage & storage);

// Removes the notes that runs which were cut short have not completed.
void removeUnfinishedNotes();

} // namespace tkit5
