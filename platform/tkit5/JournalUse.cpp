#include "JournalUse.h"

#include "JournalPlace.h"
#include "JournalSurvey.h"
#include "Names.h"
#include "TextLayout.h"
#include "journal/Folder.h"
#include "kernel.h"
#include "nuv.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace tkit5 {

namespace {

std::string textOf(OwedEntry const & owed) {
    return rangeText(owed.found.entry.disk, owed.found.entry.range);
}

bool isDamaged(journal::FoundEntry const & found) {
    return found.state == journal::FoundEntry::State::Damaged && found.error == kernel::ERROR_SUCCESS;
}

// What is owed in a folder to disks of this PC, and to others.
struct OwedInPlace {
    std::vector<OwedEntry> here;
    std::vector<OwedEntry> elsewhere;
};

OwedInPlace owedIn(PlaceSurvey const & place, DeviceCatalog const & catalog) {
    OwedInPlace owed;
    for (OwedEntry & each : owedEntries(place.survey, catalog)) {
        if (each.found.state == journal::FoundEntry::State::Owed) {
            (each.disks.empty() ? owed.elsewhere : owed.here).push_back(std::move(each));
        }
    }
    return owed;
}

std::string textOf(std::vector<OwedEntry> const & owed) {
    std::string const more = owed.size() == 1 ? "" : fmt::format(", and {} more", owed.size() - 1);
    return fmt::format("An earlier run was cut short and did not put back {}{}.", textOf(owed.front()), more);
}

struct AllPlaces {
    std::vector<PlaceSurvey> places;  // that of the command first
    std::vector<std::string> unknown; // why it cannot be told what is owed
    std::vector<std::string> damagedNotes;
};

AllPlaces surveyAll(Options const & options) {
    AllPlaces all;
    if (auto own = surveyOwnPlace(options)) {
        all.places.push_back(std::move(*own));
    }
    OtherPlaces others = surveyOtherPlaces(options);
    if (!all.places.empty()) {
        all.places.front().isNoted = others.isOwnNoted;
    }
    std::ranges::move(others.places, std::back_inserter(all.places));
    for (PlaceSurvey const & place : all.places) {
        all.unknown.push_back(whyUnknown(place));
    }
    all.unknown.push_back(std::move(others.unknown));
    std::erase(all.unknown, "");
    all.damagedNotes = std::move(others.damaged);
    return all;
}

std::string reasonText(journal::Debt::Reason reason) {
    switch (reason) {
    case journal::Debt::Reason::NotWritten:
        break;
    case journal::Debt::Reason::Differs:
        return "was written back, but could not be read back as it was";
    case journal::Debt::Reason::NotClosed:
        return "has a backup that could not be removed";
    }
    return "was overwritten and could not be written back";
}

} // namespace

void JournalUse::tellOfOwed(DeviceCatalog const & catalog) {
    auto const say = [this](std::string const & text) {
        console_.writeError(fmt::format("{}: {}\n", programName, text));
    };
    AllPlaces const all = surveyAll(options_);
    for (std::string const & why : all.unknown) {
        say(why + " So it is not known whether an earlier run was cut short.");
    }
    for (std::string const & path : all.damagedNotes) {
        say(textOfDamagedNote(path));
    }
    for (PlaceSurvey const & place : all.places) {
        if (std::string const why = whyNothingThere(place, options_); !why.empty()) {
            say(why);
        }
        for (journal::FoundEntry const & found : place.survey.entries) {
            if (isDamaged(found)) {
                say(textOfDamagedBackup(place, found, options_));
            }
        }
        OwedInPlace const owed = owedIn(place, catalog);
        if (!owed.here.empty()) {
            say(fmt::format("{} '{}' does it.", textOf(owed.here), recoverCommand(options_, place.named)));
        }
        // The command would have to name another PC, or be typed there.
        if (!owed.elsewhere.empty()) {
            say(fmt::format("{} {} in {}.", textOf(owed.elsewhere),
                            owed.elsewhere.size() == 1 ? "The disk is not in this PC; the backup is"
                                                       : "The disks are not in this PC; the backups are",
                            place.folder));
        }
    }
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
    if (disks.empty()) {
        return std::nullopt;
    }
    if (auto refusal = whyNotOn(disks, catalog); refusal || !preservesData(test)) {
        return refusal;
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
    if (std::string const usual = usualJournalFolder(); usual.empty() || !isSameFolder(folder, usual)) {
        note(folder, usual, disks);
    }
    preservation_.emplace(journal::folderStorage(folder));
    return std::nullopt;
}

// While something is owed to one of the disks, or that cannot be told: of backups that come back later, older than what
// a run leaves now, nobody could say which have to be put back first.
std::optional<Refusal> JournalUse::whyNotOn(std::vector<CatalogDevice const *> const & disks,
                                            DeviceCatalog const & catalog) const {
    AllPlaces const all = surveyAll(options_);
    auto const mayBeOwed = [](std::string const & why) {
        return Refusal{fmt::format("{} One may be owed to a disk that would be overwritten, so nothing was run.", why),
                       TestResult::CANNOTRUN()};
    };
    if (!all.unknown.empty()) {
        return mayBeOwed(all.unknown.front());
    }
    for (PlaceSurvey const & place : all.places) {
        for (OwedEntry const & owed : owedEntries(place.survey, catalog)) {
            if (std::ranges::any_of(owed.disks,
                                    [&](CatalogDevice const * disk) { return std::ranges::count(disks, disk) != 0; })) {
                std::string const command = recoverCommand(options_, place.named);
                return Refusal{fmt::format("An earlier run was cut short and did not put back {}. Put it back with "
                                           "'{}', or give it up with '{} --discard'.",
                                           textOf(owed), command, command),
                               TestResult::CANNOTRUN()};
            }
        }
        auto const damaged = std::ranges::find_if(place.survey.entries, isDamaged);
        if (damaged != place.survey.entries.end()) {
            return mayBeOwed(textOfDamagedBackup(place, *damaged, options_));
        }
        if (isNothingThere(place)) {
            std::string const command = recoverCommand(options_, place.named);
            return Refusal{fmt::format("A run that kept backups in {} was cut short, and there are none now. They may "
                                       "be owed to a disk that would be overwritten, so nothing was run. If the folder "
                                       "is on a disk that is not connected, make it available again and use '{}', or "
                                       "give it up with '{} --discard'.",
                                       place.folder, command, command),
                           TestResult::CANNOTRUN()};
        }
    }
    if (!all.damagedNotes.empty()) {
        return mayBeOwed(textOfDamagedNote(all.damagedNotes.front()));
    }
    return std::nullopt;
}

// So that later commands look there, if this run is cut short.
void JournalUse::note(std::string const & folder, std::string const & usual,
                      std::vector<CatalogDevice const *> const & disks) {
    std::string why = "The system names no folder for that.";
    if (std::ranges::any_of(disks,
                            [&](CatalogDevice const * disk) { return !usual.empty() && liesOn(usual, *disk); })) {
        why = fmt::format("{} lies on the disk that is tested.", usual);
    } else if (!usual.empty()) {
        usual_ = journal::folderStorage(usual);
        Noted noted = noteFolder(*usual_, folder);
        if (noted.note) {
            note_ = std::move(noted.note);
            return;
        }
        why = fmt::format("{} cannot be written to. {}", usual,
                          nuv::System::getSystemErrorMsg(noted.error).getUTF8String());
    }
    console_.writeError(fmt::format("{}: If this run is cut short, no later one will know that its backups are in {}: "
                                    "use '{}' then. {}\n",
                                    programName, folder, recoverCommand(options_, options_.journal), why));
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

void JournalUse::finish() {
    if (preservation_ && !preservation_->debts().empty()) {
        tellOfDebts();
        return;
    }
    if (!note_) {
        return;
    }
    std::uint32_t const error = takeBack(*usual_, std::move(*note_));
    note_.reset();
    if (error != kernel::ERROR_SUCCESS) {
        console_.writeError(fmt::format("{}: {}\n", programName, textOfKeptNote(usual_->place(), error)));
    }
}

void JournalUse::tellOfDebts() {
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
                            recoverCommand(options_, options_.journal));
    }
    console_.writeError(text);
    // On a terminal it would be shown twice; in a file it belongs beside the rest of the run.
    if (options_.format == Format::Text && !console_.outputIsTerminal()) {
        console_.write(text);
    }
}

} // namespace tkit5
