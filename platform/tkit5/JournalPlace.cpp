#include "JournalPlace.h"

#include "DestructiveSummary.h"
#include "DiskSize.h"
#include "TextLayout.h"
#include "journal/Disks.h"
#include "journal/Folder.h"
#include "machine/Machine.h"
#include "machine/Text.h"
#include "nuv.h"
#include "terminal/Process.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

namespace tkit5 {

namespace {

machine::DiskFacts const * diskFacts(CatalogDevice const & device) {
    return machine::current().devices().disk(device.facts().node);
}

bool isTrue(RegisteredTest const & test, char const * parameter) {
    auto const found = std::ranges::find(test.parameters, parameter, &RegisteredParameter::name);
    return found != test.parameters.end() && (*found)->type == DataType::BOOLEAN && (*found)->passed &&
           (*found)->passed->valueBool();
}

// A test overwrites at most so many sectors at once, times the size of one of them; two backups may exist for a moment.
constexpr std::uint64_t sectorsPerByteOfSector = 40;
constexpr std::uint64_t backupsAtOnce = 2;

std::uint64_t roomFor(CatalogDevice const & disk) {
    DiskSize const size = sizeOfDisk(disk.osLocator());
    std::uint64_t const transfer = std::uint64_t{size.sectorSize} * size.sectorSize * sectorsPerByteOfSector;
    return backupsAtOnce * (std::min(transfer, size.bytes) + journal::headerSize);
}

// The disks with its serial number. If there are none, those that may be the one by their model, because it told no
// serial number then or they tell none now.
std::vector<CatalogDevice const *> disksOf(journal::DiskIdentity const & owed, DeviceCatalog const & catalog) {
    std::vector<CatalogDevice const *> same;
    std::vector<CatalogDevice const *> alike;
    for (auto const & device : catalog.devices()) {
        if (diskFacts(*device) == nullptr) {
            continue;
        }
        journal::DiskIdentity const known = journal::identityOf(journal::findDisk(device->osLocator().view()));
        if (owed.serialNumber.empty() || known.serialNumber.empty()) {
            if (owed.model == known.model) {
                alike.push_back(device.get());
            }
        } else if (owed.serialNumber == known.serialNumber) {
            same.push_back(device.get());
        }
    }
    return same.empty() ? alike : same;
}

} // namespace

std::string usualJournalFolder() {
    std::string const state = terminal::stateFolder();
    if (state.empty()) {
        return {};
    }
    std::u8string const folder =
        (std::filesystem::path(std::u8string(state.begin(), state.end())) / "nuvrusb").u8string();
    return {folder.begin(), folder.end()};
}

std::string journalFolder(Options const & options) {
    return options.journal ? *options.journal : usualJournalFolder();
}

std::unique_ptr<journal::Storage> openJournal(Options const & options) {
    std::string const folder = journalFolder(options);
    return folder.empty() ? nullptr : journal::folderStorage(folder);
}

bool preservesData(RegisteredTest const & test) {
    return isTrue(test, "PerformWritePerformance") && isTrue(test, "PreserveAndRestoreData") &&
           isTrue(test, "PromptEnable");
}

bool livesInMemory(CatalogDevice const & device) {
    machine::DiskFacts const * const facts = diskFacts(device);
    return facts != nullptr && facts->inMemory;
}

bool liesOn(std::string const & folder, CatalogDevice const & disk) {
    machine::DiskFacts const * const facts = diskFacts(disk);
    std::string const backing =
        facts != nullptr && !facts->backing.empty() ? facts->backing : machine::toUtf8(disk.osLocator().view());
    return journal::placeOfFolder(folder, backing).onDisk;
}

std::string whyNoJournal(std::string const & folder, std::vector<CatalogDevice const *> const & disks) {
    if (folder.empty()) {
        return "The system names no folder for it.";
    }
    std::uint64_t needed = 0;
    for (CatalogDevice const * disk : disks) {
        if (liesOn(folder, *disk)) {
            return fmt::format("{} lies on the disk that is tested.", folder);
        }
        needed = std::max(needed, roomFor(*disk));
    }
    auto const storage = journal::folderStorage(folder);
    if (auto const room = storage->room(); room && *room < needed) {
        return fmt::format("{} has room for {}, but {} are needed.", folder, sizeText(*room), sizeText(needed));
    }
    std::uint32_t const error = journal::Journal(*storage).tryOut();
    if (error == journal::noNumberLeft) {
        return fmt::format(
            "{} holds a file with the highest number that a backup can have. 'nuvrusb recover' removes it "
            "when nothing is owed.",
            folder);
    }
    if (error != 0) {
        return fmt::format("{} cannot be used. {}", folder, nuv::System::getSystemErrorMsg(error).getUTF8String());
    }
    return {};
}

bool isLostWithPower(std::string const & folder) {
    return journal::placeOfFolder(folder, {}).inMemory;
}

std::vector<OwedEntry> owedEntries(journal::Survey const & survey, DeviceCatalog const & catalog) {
    std::vector<OwedEntry> owed;
    for (journal::FoundEntry const & found : survey.entries) {
        if (found.state == journal::FoundEntry::State::InUse) {
            continue;
        }
        OwedEntry entry{found, {}};
        if (found.state == journal::FoundEntry::State::Owed) {
            entry.disks = disksOf(found.entry.disk, catalog);
        }
        owed.push_back(std::move(entry));
    }
    return owed;
}

bool overlap(journal::Entry const & a, journal::Entry const & b) {
    return a.range.firstSector < b.range.firstSector + b.range.sectorCount &&
           b.range.firstSector < a.range.firstSector + a.range.sectorCount;
}

std::string rangeText(journal::DiskIdentity const & disk, journal::Range const & range) {
    return fmt::format("sectors {} to {} of {}, {}", range.firstSector, range.firstSector + range.sectorCount - 1,
                       disk.model.empty() ? "a disk" : printable(disk.model),
                       disk.serialNumber.empty() ? "without serial number"
                                                 : "serial number " + printable(disk.serialNumber));
}

std::string recoverCommand(Options const & options, std::optional<std::string> const & folder) {
    std::string command = "nuvrusb recover";
    if (folder) {
        command += fmt::format(" --journal \"{}\"", *folder);
    }
    if (options.machine) {
        command += fmt::format(" --machine \"{}\"", *options.machine);
    }
    return command;
}

} // namespace tkit5
