#include "JournalUse.h"

#include "JournalPlace.h"
#include "Names.h"
#include "TextLayout.h"
#include "journal/Folder.h"
#include "kernel.h"
#include "nuv.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace tkit5 {

namespace {

journal::Survey surveyOf(Options const & options) {
    auto const storage = openJournal(options);
    return storage == nullptr ? journal::Survey() : journal::survey(*storage);
}

// Why nobody can tell what is owed: the folder, or a backup in it, cannot be read now. Empty when it can.
std::string whyUnknown(Options const & options, journal::Survey const & survey) {
    auto const text = [&options](std::string const & what, std::uint32_t error) {
        return fmt::format("{} in {} cannot be read. {}", what, journalFolder(options),
                           nuv::System::getSystemErrorMsg(error).getUTF8String());
    };
    if (survey.error != kernel::ERROR_SUCCESS && survey.error != kernel::ERROR_PATH_NOT_FOUND) { // no folder, no backup
        return text("The backups", survey.error);
    }
    auto const unread = std::ranges::find_if(survey.entries, [](auto const & found) { return found.error != 0; });
    return unread == survey.entries.end() ? std::string() : text("The backup " + unread->name, unread->error);
}

std::string textOf(OwedEntry const & owed) {
    return owed.found.state == journal::FoundEntry::State::Owed
               ? rangeText(owed.found.entry.disk, owed.found.entry.range)
               : fmt::format("what {} held, which cannot be read as a backup", owed.found.name);
}

std::string reasonText(journal::Debt::Reason reason) {
    switch (reason) {
    case journal::Debt::Reason::NotWritten:
        break;
    case journal::Debt::Reason::Differs:
        return "was written back, but could not be read back as it was";
    case journal::Debt::Reason::NotClosed:
        return "is back in place, but its backup could not be removed";
    }
    return "was overwritten and could not be written back";
}

} // namespace

void JournalUse::tellOfOwed(DeviceCatalog const & catalog) {
    journal::Survey const survey = surveyOf(options_);
    if (std::string const why = whyUnknown(options_, survey); !why.empty()) {
        console_.writeError(
            fmt::format("{}: {} So it is not known whether an earlier run was cut short.\n", programName, why));
    }
    std::vector<OwedEntry> owed = owedEntries(survey, catalog);
    std::erase_if(owed, [](OwedEntry const & each) { return each.found.error != 0; });
    if (owed.empty()) {
        return;
    }
    std::string const more = owed.size() == 1 ? "" : fmt::format(", and {} more", owed.size() - 1);
    console_.writeError(fmt::format("{}: An earlier run was cut short and did not put back {}{}. '{}' does it.\n",
                                    programName, textOf(owed.front()), more, recoverCommand(options_)));
}

std::optional<Refusal> JournalUse::prepare(RegisteredTest const & test, DataFate const & fate,
                                           std::vector<CatalogDevice const *> const & devices,
                                           DeviceCatalog const & catalog, bool canAsk) {
    if (!fate.isOverwritten) {
        return std::nullopt;
    }
    std::vector<CatalogDevice const *> disks;
    std::ranges::copy_if(devices, std::back_inserter(disks),
                         [](CatalogDevice const * device) { return !livesInMemory(*device); });
    journal::Survey const survey = surveyOf(options_);
    if (std::string const why = whyUnknown(options_, survey); !why.empty() && !disks.empty()) {
        return Refusal{fmt::format("{} One may be owed to a disk that would be overwritten, so nothing was run.", why),
                       TestResult::CANNOTRUN()};
    }
    for (OwedEntry const & owed : owedEntries(survey, catalog)) {
        if (std::ranges::any_of(owed.disks,
                                [&](CatalogDevice const * disk) { return std::ranges::count(disks, disk) != 0; })) {
            return Refusal{
                fmt::format("An earlier run was cut short and did not put back {}. Put it back with '{}', or "
                            "give it up with '{} --discard'.",
                            textOf(owed), recoverCommand(options_), recoverCommand(options_)),
                TestResult::CANNOTRUN()};
        }
    }
    if (disks.empty() || !preservesData(test)) {
        return std::nullopt;
    }
    if (options_.noJournal) {
        preservation_.emplace(nullptr);
        return std::nullopt;
    }
    std::string const folder = journalFolder(options_);
    if (std::string const why = whyNoJournal(folder, disks); !why.empty()) {
        return goOnWithout(why, canAsk);
    }
    if (isLostWithPower(folder)) {
        console_.writeError(
            fmt::format("{}: {} is in memory: backups there outlast the end of this program, but no loss "
                        "of power. --journal names another folder.\n",
                        programName, folder));
    }
    preservation_.emplace(journal::folderStorage(folder));
    return std::nullopt;
}

std::optional<Refusal> JournalUse::goOnWithout(std::string const & why, bool canAsk) {
    std::string const risk = fmt::format("What is overwritten cannot be kept in a safe place meanwhile. {}", why);
    if (!canAsk) {
        return Refusal{
            fmt::format("{} Name a folder on another disk with --journal DIR, or insist with --no-journal.", risk),
            TestResult::BADPARAMS()};
    }
    std::string answer;
    bool const answered = console_.write(fmt::format(
                              "{}\nIf the power fails, or the device is unplugged or this program is killed during "
                              "the test, that data is lost. Type yes to go on all the same: ",
                              risk)) &&
                          console_.readLine(answer, std::nullopt) == terminal::Console::Input::Line;
    if (!answered || answer != "yes") {
        return Refusal{"Nothing was run, since nobody typed yes.", TestResult::USERABORTED()};
    }
    preservation_.emplace(nullptr);
    return std::nullopt;
}

void JournalUse::tellOfDebts() {
    if (!preservation_ || preservation_->debts().empty()) {
        return;
    }
    bool isDataOwed = false;
    bool isKept = false;
    std::string list;
    for (journal::Debt const & debt : preservation_->debts()) {
        isDataOwed = isDataOwed || debt.reason != journal::Debt::Reason::NotClosed;
        isKept = isKept || !debt.file.empty();
        list += fmt::format("  {}\n      {}\n", rangeText(debt.disk, debt.range), reasonText(debt.reason));
        list += debt.file.empty() ? "      and there is no backup of it\n"
                                  : fmt::format("      backup: {}\n", printable(debt.file));
    }
    std::string text =
        fmt::format("\n{}\n{}", isDataOwed ? "!!! DATA WAS NOT PUT BACK !!!" : "Backups are left over.", list);
    if (isKept) {
        text += fmt::format("{}    {}\n",
                            isDataOwed ? "Leave the disk as it is, and put the data back with\n" : "Remove them with\n",
                            recoverCommand(options_));
    }
    console_.writeError(text);
    // On a terminal it would be shown twice; in a file it belongs beside the rest of the run.
    if (options_.format == Format::Text && !console_.outputIsTerminal()) {
        console_.write(text);
    }
}

} // namespace tkit5
