#include "RecoverCommand.h"

#include "JournalPlace.h"
#include "JournalSurvey.h"
#include "JsonlLines.h"
#include "Names.h"
#include "OtherFolders.h"
#include "Recovery.h"
#include "TextLayout.h"
#include "journal/Disks.h"
#include "kernel.h"
#include "nuv.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace tkit5 {

namespace {

using journal::FoundEntry;
using Json = nlohmann::ordered_json;
using Kind = RecoveryOutcome::Kind;

struct Handled {
    RecoveryOutcome outcome;
    bool isDiscarded = false;
};

char const * kindName(Handled const & handled) {
    if (handled.isDiscarded) {
        return "discarded";
    }
    switch (handled.outcome.kind) {
    case Kind::Restored:
        return "restored";
    case Kind::InPlace:
        return "inPlace";
    case Kind::Possible:
        return "possible";
    case Kind::Stopped:
        return "stopped";
    case Kind::Failed:
        return "failed";
    case Kind::Refused:
        break;
    }
    return "refused";
}

// Whether a backup may be put back at another time. One that is damaged never is, so no earlier one waits for it: the
// earlier one is what these sectors held before, and nothing will be written over it.
bool isLeft(RecoveryOutcome const & outcome) {
    switch (outcome.kind) {
    case Kind::Restored:
    case Kind::InPlace:
    case Kind::Possible:
        return false;
    case Kind::Refused:
    case Kind::Stopped:
    case Kind::Failed:
        break;
    }
    return !outcome.isDamaged;
}

class RecoverCommand {
public:
    RecoverCommand(Options const & options, terminal::Console & console, DeviceCatalog const & catalog,
                   std::unique_ptr<journal::Storage> storage, bool looksElsewhere)
        : options_(options), console_(console), lines_(console), catalog_(catalog),
          isJsonl_(options.format == Format::Jsonl), storage_(std::move(storage)), looksElsewhere_(looksElsewhere) {}

    int run() {
        if (storage_ == nullptr) {
            return refuse("The system names no folder for backups. Name it with --journal DIR.",
                          TestResult::BADPARAMS());
        }
        if (!chooseDisks()) {
            return TestResult::BADPARAMS().value();
        }
        PlaceSurvey own{.named = options_.journal, .folder = storage_->place(), .survey = journal::survey(*storage_)};
        if (looksElsewhere_) {
            others_ = surveyOtherPlaces(options_);
            own.isNoted = others_.isOwnNoted;
            remarks_ = folderRemarks(own, others_, options_, catalog_);
        }
        std::string const why = whyNotLookedAfter(own);
        if (why.empty()) {
            chooseEntries(own.survey);
            list();
        }
        isLost_ = !tellOfFolders(remarks_, options_, console_, lines_) || isLost_;
        if (!why.empty()) {
            refuse(why, TestResult::CANNOTRUN());
            return ended(TestResult::CANNOTRUN());
        }
        std::size_t const owed = entries_.size() + ofOthers_;
        TestResult result = TestResult::PASS();
        if (!entries_.empty()) {
            if (!options_.dryRun && !isAllowed()) {
                return ended(declined_);
            }
            result = handleAll();
        }
        if (!options_.dryRun) {
            // None of them is owed to anybody. Looked for again, since a run may have begun meanwhile.
            for (std::string const & name : journal::survey(*storage_).unfinished) {
                storage_->remove(name);
            }
            // A folder where nothing was found may be another disk's.
            bool const isFound = owed != 0 || !own.survey.unfinished.empty() || options_.discard;
            if (looksElsewhere_ && isFound && closed_ == owed) {
                forgetSettledFolder(options_, console_, *storage_);
            }
            if (looksElsewhere_) {
                removeUnfinishedNotes();
            }
        }
        return ended(result);
    }

private:
    // Empty when there is nothing against it. The usual folder need not be there, nor one that is given up.
    std::string whyNotLookedAfter(PlaceSurvey const & own) const {
        std::uint32_t const error = own.survey.error;
        bool const isMissingUsual = !options_.journal && error == kernel::ERROR_PATH_NOT_FOUND;
        if (error == kernel::ERROR_SUCCESS || isMissingUsual || (options_.discard && isMissing(error))) {
            return {};
        }
        if (error == journal::notAFolder) {
            return fmt::format("{} is not a folder.", own.folder);
        }
        if (error == kernel::ERROR_PATH_NOT_FOUND) {
            return fmt::format("There is no folder {}.", own.folder);
        }
        return fmt::format("{} cannot be read. {}", own.folder, nuv::System::getSystemErrorMsg(error).getUTF8String());
    }

    bool chooseDisks() {
        for (std::string const & name : options_.devices) {
            auto const found = catalog_.find(name);
            if (found.empty()) {
                refuse(fmt::format("There is no device '{}' in this PC. 'nuvrusb devices' lists them.", name),
                       TestResult::BADPARAMS());
                return false;
            }
            disks_.insert(disks_.end(), found.begin(), found.end());
        }
        return true;
    }

    bool isNamed(CatalogDevice const * disk) const { return std::ranges::count(disks_, disk) != 0; }

    // What concerns the disks that were named, or everything; the latest first, since it may have been made of what an
    // earlier one has left.
    void chooseEntries(journal::Survey const & survey) {
        bool isLaterUnknown = false;
        for (auto found = survey.entries.rbegin(); found != survey.entries.rend(); ++found) {
            bool const isInUse = found->state == FoundEntry::State::InUse;
            inUse_ += isInUse ? 1 : 0;
            if (isLaterUnknown) {
                beforeUnknown_.insert(found->name);
            }
            isLaterUnknown = isLaterUnknown || isInUse || found->error != kernel::ERROR_SUCCESS;
        }
        for (OwedEntry & entry : owedEntries(survey, catalog_)) {
            if (!disks_.empty()) {
                std::erase_if(entry.disks, [this](CatalogDevice const * disk) { return !isNamed(disk); });
                if (entry.disks.empty()) {
                    ++ofOthers_;
                    continue;
                }
            }
            entries_.push_back(std::move(entry));
        }
        std::ranges::reverse(entries_);
    }

    void list() {
        if (isJsonl_) {
            for (OwedEntry const & entry : entries_) {
                lines_.write("owed", jsonOf(entry));
            }
            return;
        }
        std::string text;
        if (entries_.empty()) {
            text = nothingOwed();
        } else {
            text = fmt::format("In {}:\n", printable(storage_->place()));
        }
        for (OwedEntry const & entry : entries_) {
            text += fmt::format("  {}: {}\n", entry.found.name, describe(entry));
        }
        if (ofOthers_ != 0) {
            text += fmt::format("What is owed to other disks: {}. 'nuvrusb recover' without --device lists it.\n",
                                ofOthers_);
        }
        if (inUse_ != 0) {
            text += fmt::format("Backups of a run that goes on: {}.\n", inUse_);
        }
        write(text);
    }

    std::string nothingOwed() const {
        if (!remarks_.empty()) { // there are other folders
            return fmt::format("Nothing is owed{} in {}.\n", disks_.empty() ? "" : " to this disk",
                               printable(storage_->place()));
        }
        return disks_.empty() ? "No backup is owed to any disk.\n" : "Nothing is owed to this disk.\n";
    }

    static std::string describe(OwedEntry const & entry) {
        if (entry.found.state != FoundEntry::State::Owed) {
            return "cannot be read as a backup";
        }
        std::string text = rangeText(entry.found.entry.disk, entry.found.entry.range);
        for (CatalogDevice const * disk : entry.disks) {
            text += fmt::format("\n      {} ({})", printable(disk->facts().identifier.getUTF8String()),
                                printable(disk->facts().osName.getUTF8String()));
        }
        return entry.disks.empty() ? text + "\n      not in this PC" : text;
    }

    static Json jsonOf(OwedEntry const & entry) {
        journal::Entry const & owed = entry.found.entry;
        bool const isReadable = entry.found.state == FoundEntry::State::Owed;
        Json devices = Json::array();
        for (CatalogDevice const * disk : entry.disks) {
            devices.push_back(disk->facts().identifier.getUTF8String());
        }
        return {{"backup", entry.found.name},
                {"readable", isReadable},
                {"serialNumber", owed.disk.serialNumber},
                {"model", owed.disk.model},
                {"diskSize", owed.disk.size},
                {"sectorSize", owed.disk.sectorSize},
                {"firstSector", owed.range.firstSector},
                {"sectorCount", owed.range.sectorCount},
                {"devices", std::move(devices)}};
    }

    // Somebody has to say that disks are written to, or that backups go.
    bool isAllowed() {
        if (options_.allowDestructive) {
            return true;
        }
        if (isJsonl_ || !console_.inputIsTerminal() || !console_.outputIsTerminal()) {
            console_.writeError(
                fmt::format("{}: There is no terminal to ask on. Allow it with --allow-destructive.\n", programName));
            declined_ = TestResult::BADPARAMS();
            return false;
        }
        std::string answer;
        bool const answered =
            console_.write(options_.discard
                               ? "The data in these backups will be lost. Type yes to give them up: "
                               : "What the disks hold there now will be overwritten. Type yes to allow it: ") &&
            console_.readLine(answer, std::nullopt) == terminal::Console::Input::Line;
        if (answered && answer == "yes") {
            return true;
        }
        console_.writeError(fmt::format("{}: Nothing was done, since nobody typed yes.\n", programName));
        declined_ = TestResult::USERABORTED();
        return false;
    }

    TestResult handleAll() {
        TestResult result = TestResult::PASS();
        std::vector<OwedEntry const *> left; // not back
        for (OwedEntry const & entry : entries_) {
            if (console_.stopRequested() || isLost()) {
                return result.merge(TestResult::USERABORTED());
            }
            Handled const handled = options_.discard ? discard(entry) : recoverOne(entry, left);
            if (isLeft(handled.outcome)) {
                left.push_back(&entry);
            }
            // With a warning its file may be there still, or again after a loss of power.
            bool const isClosed = (handled.outcome.kind == Kind::Restored || handled.outcome.kind == Kind::InPlace) &&
                                  handled.outcome.result == TestResult::PASS();
            closed_ += isClosed ? 1 : 0;
            tell(entry, handled);
            result.merge(handled.outcome.result);
        }
        return result;
    }

    Handled discard(OwedEntry const & entry) {
        if (options_.dryRun) {
            return {{Kind::Possible, TestResult::PASS(), "It would be given up."}};
        }
        if (auto changed = whyNotTouched(entry.found, journal::findAgain(*storage_, entry.found))) {
            return {std::move(*changed)};
        }
        journal::Journal::Closed const closed = journal::Journal(*storage_).close(entry.found.name);
        if (closed.error != 0) {
            std::string const why = nuv::System::getSystemErrorMsg(closed.error).getUTF8String();
            return closed.isOwed
                       ? Handled{{Kind::Refused, TestResult::CANNOTRUN(), fmt::format("It cannot be removed. {}", why)}}
                       : Handled{{Kind::InPlace, TestResult::WARN(),
                                  fmt::format("Given up, but its file cannot be removed now. {}", why)},
                                 true};
        }
        return {{Kind::InPlace, TestResult::PASS(), "Given up."}, true};
    }

    Handled recoverOne(OwedEntry const & entry, std::vector<OwedEntry const *> const & left) {
        auto const refused = [](TestResult const & result, std::string text) {
            return Handled{{Kind::Refused, result, std::move(text)}};
        };
        if (entry.found.error != 0) {
            return refused(TestResult::CANNOTRUN(),
                           fmt::format("The backup cannot be read. {}",
                                       nuv::System::getSystemErrorMsg(entry.found.error).getUTF8String()));
        }
        if (entry.found.state != FoundEntry::State::Owed) {
            return refused(TestResult::FAIL(), "The file is damaged, so nothing can be put back from it. --discard "
                                               "removes it.");
        }
        if (entry.disks.empty()) {
            return refused(TestResult::NODEVICE(), "The disk is not in this PC. Plug it in and run this again.");
        }
        journal::Entry const & owed = entry.found.entry;
        if (entry.disks.size() > 1) {
            return refused(TestResult::CANNOTRUN(), "Several disks look like the one that it belongs to. Name the "
                                                    "right one with --device.");
        }
        if (owed.disk.serialNumber.empty() && disks_.empty()) {
            return refused(TestResult::CANNOTRUN(), "The disk has no serial number, so that it may be another one that "
                                                    "looks alike. Name it with --device.");
        }
        std::string const model = journal::identityOf(journal::findDisk(entry.disks.front()->osLocator().view())).model;
        bool const hasOtherModel = !model.empty() && !owed.disk.model.empty() && model != owed.disk.model;
        if (hasOtherModel && disks_.empty()) {
            return refused(TestResult::CANNOTRUN(),
                           fmt::format("The disk has the serial number of the one that was backed up, but is called "
                                       "{}, not {}. Name it with --device if it is the one.",
                                       model, owed.disk.model));
        }
        if (beforeUnknown_.contains(entry.found.name)) {
            return refused(TestResult::CANNOTRUN(),
                           "A later backup cannot be read now, and may be of the same sectors; "
                           "it would have to be put back first. Try again once nothing has it "
                           "open.");
        }
        // Restored after this one, a later backup would bring back what the test had written.
        bool const waits = std::ranges::any_of(left, [&](OwedEntry const * other) {
            return other->found.state == FoundEntry::State::Owed && other->disks == entry.disks &&
                   overlap(other->found.entry, owed);
        });
        if (waits) {
            return refused(TestResult::CANNOTRUN(), "A later backup of the same sectors has to be put back first.");
        }
        if (PlaceSurvey const * const other = placeOfSameSectors(others_, entry, catalog_)) {
            return refused(TestResult::CANNOTRUN(),
                           fmt::format("{} holds a backup of the same sectors, too, and which was made first cannot be "
                                       "told. Give up the one that is not wanted: '{} --discard' or '{} --discard'.",
                                       other->folder, recoverCommand(options_, options_.journal),
                                       recoverCommand(options_, other->named)));
        }
        return {recover(*storage_, entry.found, *entry.disks.front(), options_.dryRun,
                        [this] { return console_.stopRequested(); })};
    }

    void tell(OwedEntry const & entry, Handled const & handled) {
        if (isJsonl_) {
            lines_.write("recovered", {{"backup", entry.found.name},
                                       {"outcome", kindName(handled)},
                                       {"text", handled.outcome.text},
                                       {"result", resultName(handled.outcome.result)},
                                       {"code", handled.outcome.result.value()}});
            return;
        }
        write(fmt::format("{}: {}\n", entry.found.name, printable(handled.outcome.text)));
    }

    void write(std::string const & text) { isLost_ = !console_.write(text) || isLost_; }
    bool isLost() const { return isLost_ || lines_.lost(); }

    int refuse(std::string const & message, TestResult const & result) {
        console_.writeError(fmt::format("{}: {}\n", programName, message));
        return result.value();
    }

    int ended(TestResult result) {
        if (isJsonl_) {
            lines_.write("recoverEnd", {{"result", resultName(result)}, {"code", result.value()}});
        }
        if (isLost()) {
            result.merge(TestResult::USERABORTED());
        }
        return result.value();
    }

    Options const & options_;
    terminal::Console & console_;
    JsonlLines lines_;
    DeviceCatalog const & catalog_;
    bool const isJsonl_;
    std::unique_ptr<journal::Storage> storage_;
    bool const looksElsewhere_;
    OtherPlaces others_;
    std::vector<FolderRemark> remarks_;
    std::vector<CatalogDevice const *> disks_; // that were named
    std::vector<OwedEntry> entries_;
    std::size_t ofOthers_ = 0;
    std::size_t inUse_ = 0;
    std::set<std::string> beforeUnknown_; // backups with a later one that cannot be looked at now
    std::size_t closed_ = 0;              // given up, since the bytes are back or nobody wants them
    TestResult declined_;
    bool isLost_ = false; // text that nobody took
};

} // namespace

int recoverOwed(Options const & options, terminal::Console & console, DeviceCatalog const & catalog) {
    return RecoverCommand(options, console, catalog, openJournal(options), true).run();
}

int recoverOwed(Options const & options, terminal::Console & console, DeviceCatalog const & catalog,
                std::unique_ptr<journal::Storage> storage) {
    return RecoverCommand(options, console, catalog, std::move(storage), false).run();
}

} // namespace tkit5
