// Which backups nuvrusb recover is about, and which of them may not be put back.
#pragma once

#include "DeviceCatalog.h"
#include "JournalPlace.h"
#include "JournalSurvey.h"
#include "Options.h"
#include "Recovery.h"
#include "journal/Journal.h"

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tkit5 {

struct ChosenBackups {
    std::vector<OwedEntry> entries; // the latest first, since it may have been made of what an earlier one has left
    std::size_t ofOthers = 0;       // owed to disks that were not named
    std::size_t inUse = 0;          // of a run that goes on
    std::set<std::string> beforeUnknown; // those with a later one that cannot be looked at now
};

// What concerns the disks that were named, or everything.
ChosenBackups chooseBackups(journal::Survey const & survey, DeviceCatalog const & catalog,
                            std::vector<CatalogDevice const *> const & named);

// Why one of them must not be put back now, whatever its disk holds; empty when it may be. Those left have to be put
// back before it.
std::optional<RecoveryOutcome> whyNotPutBack(OwedEntry const & entry, ChosenBackups const & chosen,
                                             std::vector<OwedEntry const *> const & left, bool isDiskNamed);

// The same for a backup in another folder, whose order nobody knows.
std::optional<RecoveryOutcome> whyNotBeforeOthers(OwedEntry const & entry, OtherPlaces const & others,
                                                  Options const & options, DeviceCatalog const & catalog);

// Whether a backup may be put back at another time. One that is damaged never is, so no earlier one waits for it: the
// earlier one is what these sectors held before, and nothing will be written over it.
bool isLeft(RecoveryOutcome const & outcome);

} // namespace tkit5
