// What a run owes to disks: told before it, kept during it, told after it.
#pragma once

#include "DestructiveSummary.h"
#include "DeviceCatalog.h"
#include "JournalFolders.h"
#include "Options.h"
#include "Registry.h"
#include "RunLoop.h"
#include "journal/Preservation.h"
#include "journal/Storage.h"
#include "terminal/Console.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tkit5 {

class JournalUse {
public:
    JournalUse(Options const & options, terminal::Console & console) : options_(options), console_(console) {}

    // Tells on the error stream what earlier runs have left behind. Creates nothing.
    void tellOfOwed(DeviceCatalog const & catalog);

    // Before a destructive run: refuses it while something is owed to one of its disks. Where data are to be preserved,
    // finds a place for the backups and keeps them from now on, or else asks a person whether to go on without.
    std::optional<Refusal> prepare(RegisteredTest const & test, DataFate const & fate,
                                   std::vector<CatalogDevice const *> const & devices, DeviceCatalog const & catalog,
                                   bool canAsk);

    // After the run: tells what was not put back. Where all is back, nobody has to look into the run's folder later.
    void finish();

private:
    std::optional<Refusal> whyNotOn(std::vector<CatalogDevice const *> const & disks,
                                    DeviceCatalog const & catalog) const;
    std::optional<Refusal> goOnWithout(std::string const & why, bool canAsk);
    void note(std::string const & folder, std::string const & usual, std::vector<CatalogDevice const *> const & disks);
    void tellOfDebts();

    Options const & options_;
    terminal::Console & console_;
    std::unique_ptr<journal::Storage> usual_;
    std::optional<OpenNote> note_; // of the run's folder, in the usual one
    std::optional<journal::Preservation> preservation_;
};

} // namespace tkit5
