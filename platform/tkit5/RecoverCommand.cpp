#include "RecoverCommand.h"

#include "JournalPlace.h"
#include "JournalSurvey.h"
#include "Names.h"
#include "OtherFolders.h"
#include "RecoverChoice.h"
#include "RecoverReport.h"
#include "Recovery.h"
#include "kernel.h"
#include "nuv.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tkit5 {

namespace {

using Kind = RecoveryOutcome::Kind;

// The file of a backup is gone for good. With a warning it may be there still, or again after a loss of power.
bool isClosed(RecoveryOutcome const & outcome) {
    bool const isGivenUp =
        outcome.kind == Kind::Restored || outcome.kind == Kind::InPlace || outcome.kind == Kind::Discarded;
    return isGivenUp && outcome.result == TestResult::PASS();
}

class RecoverCommand {
public:
    RecoverCommand(Options const & options, terminal::Console & console, DeviceCatalog const & catalog,
                   std::unique_ptr<journal::Storage> storage, bool looksElsewhere)
        : options_(options), console_(console), report_(console, options.format == Format::Jsonl), catalog_(catalog),
          storage_(std::move(storage)), looksElsewhere_(looksElsewhere) {}

    int run() {
        if (storage_ == nullptr) {
            return report_.refuse("The system names no folder for backups. Name it with --journal DIR.",
                                  TestResult::BADPARAMS());
        }
        if (!chooseDisks()) {
            return TestResult::BADPARAMS().value();
        }
        if (!lookAtFolders()) {
            return report_.end(TestResult::CANNOTRUN());
        }
        if ((!chosen_.entries.empty() || givesUpUnseen_) && !options_.dryRun) {
            if (auto const declined = askForLeave()) {
                return report_.end(*declined);
            }
        }
        TestResult const result = handleAll();
        if (!options_.dryRun) {
            cleanUp();
        }
        return report_.end(result);
    }

private:
    bool chooseDisks() {
        for (std::string const & name : options_.devices) {
            auto const found = catalog_.find(name);
            if (found.empty()) {
                report_.refuse(fmt::format("There is no device '{}' in this PC. 'nuvrusb devices' lists them.", name),
                               TestResult::BADPARAMS());
                return false;
            }
            disks_.insert(disks_.end(), found.begin(), found.end());
        }
        return true;
    }

    // Finds what is owed and lists it. False when the command's own folder cannot be looked at.
    bool lookAtFolders() {
        PlaceSurvey own{.named = options_.journal, .folder = storage_->place(), .survey = journal::survey(*storage_)};
        std::vector<FolderRemark> remarks;
        if (looksElsewhere_) {
            others_ = surveyOtherPlaces(options_);
            own.isNoted = others_.isOwnNoted;
            remarks = folderRemarks(own, others_, options_, catalog_);
        }
        std::string const why = whyNotLookedAfter(own);
        if (why.empty()) {
            chosen_ = chooseBackups(own.survey, catalog_, disks_);
            hasUnfinished_ = !own.survey.unfinished.empty();
            givesUpUnseen_ = options_.discard && disks_.empty() && isNothingThere(own);
            report_.list(
                chosen_,
                {.folder = storage_->place(), .hasNamedDisks = !disks_.empty(), .isOneOfSeveral = !remarks.empty()});
        }
        if (!tellOfFolders(remarks, options_, console_, report_.lines())) {
            report_.noteLoss();
        }
        if (!why.empty()) {
            report_.refuse(why, TestResult::CANNOTRUN());
        }
        return why.empty();
    }

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

    // Somebody has to say that disks are written to, or that backups go. What comes of it if nobody does.
    std::optional<TestResult> askForLeave() {
        if (options_.allowDestructive) {
            return std::nullopt;
        }
        auto const decline = [this](std::string const & message, TestResult const & result) {
            report_.refuse(message, result);
            return result;
        };
        if (options_.format == Format::Jsonl || !console_.inputIsTerminal() || !console_.outputIsTerminal()) {
            return decline("There is no terminal to ask on. Allow it with --allow-destructive.",
                           TestResult::BADPARAMS());
        }
        std::string answer;
        bool const answered =
            console_.write(question()) && console_.readLine(answer, std::nullopt) == terminal::Console::Input::Line;
        if (answered && answer == "yes") {
            return std::nullopt;
        }
        return decline("Nothing was done, since nobody typed yes.", TestResult::USERABORTED());
    }

    std::string question() const {
        if (givesUpUnseen_) {
            return "What a run kept there will not be looked for any more. Type yes to give it up: ";
        }
        return options_.discard ? "The data in these backups will be lost. Type yes to give them up: "
                                : "What the disks hold there now will be overwritten. Type yes to allow it: ";
    }

    TestResult handleAll() {
        TestResult result = TestResult::PASS();
        std::vector<OwedEntry const *> left; // not back
        for (OwedEntry const & entry : chosen_.entries) {
            if (console_.stopRequested() || report_.isLost()) {
                return result.merge(TestResult::USERABORTED());
            }
            RecoveryOutcome const outcome = options_.discard ? discard(entry) : putBack(entry, left);
            if (isLeft(outcome)) {
                left.push_back(&entry);
            }
            closed_ += isClosed(outcome) ? 1U : 0U;
            report_.tell(entry, outcome);
            result.merge(outcome.result);
        }
        return result;
    }

    RecoveryOutcome discard(OwedEntry const & entry) {
        if (options_.dryRun) {
            return {Kind::Possible, TestResult::PASS(), "It would be given up."};
        }
        if (auto changed = whyNotTouched(entry.found, journal::findAgain(*storage_, entry.found))) {
            return *changed;
        }
        journal::Journal::Closed const closed = journal::Journal(*storage_).close(entry.found.name);
        if (closed.error == kernel::ERROR_SUCCESS) {
            return {Kind::Discarded, TestResult::PASS(), "Given up."};
        }
        std::string const why = nuv::System::getSystemErrorMsg(closed.error).getUTF8String();
        if (closed.isOwed) {
            return {Kind::Refused, TestResult::CANNOTRUN(), fmt::format("It cannot be removed. {}", why)};
        }
        return {Kind::Discarded, TestResult::WARN(),
                fmt::format("Given up, but its file cannot be removed now. {}", why)};
    }

    RecoveryOutcome putBack(OwedEntry const & entry, std::vector<OwedEntry const *> const & left) {
        if (auto refused = whyNotPutBack(entry, chosen_, left, !disks_.empty())) {
            return *refused;
        }
        if (auto refused = whyNotBeforeOthers(entry, others_, options_, catalog_)) {
            return *refused;
        }
        return recover(*storage_, entry.found, *entry.disks.front(), options_.dryRun,
                       [this] { return console_.stopRequested(); });
    }

    // Removes what is owed to nobody: looked for again, since a run may have begun meanwhile.
    void cleanUp() {
        for (std::string const & name : journal::survey(*storage_).unfinished) {
            storage_->removeAbandoned(name);
        }
        if (!looksElsewhere_) {
            return;
        }
        // A folder where nothing was found may be another disk's.
        std::size_t const owed = chosen_.entries.size() + chosen_.ofOthers;
        if ((owed != 0 || hasUnfinished_ || givesUpUnseen_) && closed_ == owed) {
            forgetSettledFolder(options_, console_, *storage_);
        }
        removeUnfinishedNotes();
    }

    Options const & options_;
    terminal::Console & console_;
    RecoverReport report_;
    DeviceCatalog const & catalog_;
    std::unique_ptr<journal::Storage> storage_;
    bool const looksElsewhere_;
    OtherPlaces others_;
    std::vector<CatalogDevice const *> disks_; // that were named
    ChosenBackups chosen_;
    bool hasUnfinished_ = false; // files that owe nothing
    bool givesUpUnseen_ = false; // whatever a run kept in a folder where nothing is now
    std::size_t closed_ = 0;     // given up, since the bytes are back or nobody wants them
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
