// Where backups of what a test overwrites are kept, and whether they can be.
#pragma once

#include "DeviceCatalog.h"
#include "Options.h"
#include "Registry.h"
#include "journal/Journal.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tkit5 {

// In the folder for programs' state of this user; empty when the system has none.
std::string usualJournalFolder();

// The folder that was named, else the usual one.
std::string journalFolder(Options const & options);

// Null when there is no folder. Creates nothing.
std::unique_ptr<journal::Storage> openJournal(Options const & options);

// True for a test that, with the parameters passed, overwrites data and puts it back.
bool preservesData(RegisteredTest const & test);

bool livesInMemory(CatalogDevice const & device); // a disk of a described PC that is gone when the program ends

// True when the folder lies on a disk.
bool liesOn(std::string const & folder, CatalogDevice const & disk);

// Why the folder cannot hold what a run on these disks needs; empty when it can. Creates the folder and tries it out.
std::string whyNoJournal(std::string const & folder, std::vector<CatalogDevice const *> const & disks);

// True when what is kept in the folder does not outlast a loss of power.
bool isLostWithPower(std::string const & folder);

// An entry that nobody works on any more, and the disks of the PC that it may belong to.
struct OwedEntry {
    journal::FoundEntry found;
    std::vector<CatalogDevice const *> disks;
};

// What is owed in a folder; where the disk or its backup has no serial number the model has to do. Damaged entries
// belong to no disk; those of a process that runs are left out.
std::vector<OwedEntry> owedEntries(journal::Survey const & survey, DeviceCatalog const & catalog);

bool overlap(journal::Entry const & a, journal::Entry const & b); // two of one disk

// "sectors 20480 to 40959 of Stick, serial number 4C530001"
std::string rangeText(journal::DiskIdentity const & disk, journal::Range const & range);

// The command that puts everything back, with the options of this one but for the folder.
std::string recoverCommand(Options const & options, std::optional<std::string> const & folder);

} // namespace tkit5
