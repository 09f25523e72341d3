// Puts the bytes of one backup back to its disk, and what can come of a backup.
#pragma once

#include "DeviceCatalog.h"
#include "journal/Journal.h"
#include "tkit5.h"

#include <functional>
#include <optional>
#include <string>

namespace tkit5 {

struct RecoveryOutcome {
    enum class Kind {
        Restored,  // written and read back
        InPlace,   // nothing had to be written
        Discarded, // the backup is given up, with what it holds
        Possible,  // a dry run: it would be done
        Refused,   // nothing was written
        Stopped,   // on request, before its end; some of it may be written
        Failed,    // the disk may hold something else
    };
    Kind kind = Kind::Refused;
    TestResult result;
    std::string text;       // a sentence for people
    bool isDamaged = false; // the backup, which can never be put back
};

// The disk is the one that the entry belongs to by its serial number; its size and sector size are checked here. Unless
// dry, locks the disk's volumes, opens the disk exclusively, and gives up the entry once its bytes are back. Whatever
// ends it before, the entry stays, so that it can be done again. A file that is another one by then is left alone.
// shallStop is asked between the parts of the range. Blocks for all of its transfers.
RecoveryOutcome recover(journal::Storage & storage, journal::FoundEntry const & owed, CatalogDevice const & disk,
                        bool dry, std::function<bool()> const & shallStop);

// Why nothing may be done with a backup that was found and looked at again; empty when it still is the same.
std::optional<RecoveryOutcome> whyNotTouched(journal::FoundEntry const & found, journal::Refound const & again);

} // namespace tkit5
