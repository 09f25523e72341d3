#include "RecoverChoice.h"

#include "journal/Disks.h"
#include "kernel.h"
#include "nuv.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace tkit5 {

namespace {

using journal::FoundEntry;
using Kind = RecoveryOutcome::Kind;

RecoveryOutcome refused(TestResult const & result, std::string text) {
    return {Kind::Refused, result, std::move(text)};
}

// Without a serial number, or with another name, only a person can say that it is the disk.
std::optional<RecoveryOutcome> whyNotThisDisk(OwedEntry const & entry) {
    journal::DiskIdentity const & owed = entry.found.entry.disk;
    journal::DiskIdentity const known = journal::identityOf(journal::findDisk(entry.disks.front()->osLocator().view()));
    if (owed.serialNumber.empty() || known.serialNumber.empty()) {
        return refused(TestResult::CANNOTRUN(),
                       fmt::format("The disk {} no serial number, so that it may be another one that looks alike. Name "
                                   "it with --device.",
                                   known.serialNumber.empty() ? "has" : "had"));
    }
    if (known.model.empty() || owed.model.empty() || known.model == owed.model) {
        return std::nullopt;
    }
    return refused(TestResult::CANNOTRUN(),
                   fmt::format("The disk has the serial number of the one that was backed up, but is called "
                               "{}, not {}. Name it with --device if it is the one.",
                               known.model, owed.model));
}

} // namespace

ChosenBackups chooseBackups(journal::Survey const & survey, DeviceCatalog const & catalog,
                            std::vector<CatalogDevice const *> const & named) {
    ChosenBackups chosen;
    bool isLaterUnknown = false;
    for (auto found = survey.entries.rbegin(); found != survey.entries.rend(); ++found) {
        bool const isInUse = found->state == FoundEntry::State::InUse;
        chosen.inUse += isInUse ? 1 : 0;
        if (isLaterUnknown) {
            chosen.beforeUnknown.insert(found->name);
        }
        isLaterUnknown = isLaterUnknown || isInUse || found->error != kernel::ERROR_SUCCESS;
    }
    for (OwedEntry & entry : owedEntries(survey, catalog)) {
        if (!named.empty()) {
            std::erase_if(entry.disks,
                          [&named](CatalogDevice const * disk) { return std::ranges::count(named, disk) == 0; });
            if (entry.disks.empty()) {
                ++chosen.ofOthers;
                continue;
            }
        }
        chosen.entries.push_back(std::move(entry));
    }
    std::ranges::reverse(chosen.entries);
    return chosen;
}

std::optional<RecoveryOutcome> whyNotPutBack(OwedEntry const & entry, ChosenBackups const & chosen,
                                             std::vector<OwedEntry const *> const & left, bool isDiskNamed) {
    if (entry.found.error != kernel::ERROR_SUCCESS) {
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
    if (entry.disks.size() > 1) {
        return refused(TestResult::CANNOTRUN(), "Several disks look like the one that it belongs to. Name the "
                                                "right one with --device.");
    }
    if (!isDiskNamed) {
        if (auto refusal = whyNotThisDisk(entry)) {
            return refusal;
        }
    }
    if (chosen.beforeUnknown.contains(entry.found.name)) {
        return refused(TestResult::CANNOTRUN(), "A later backup cannot be read now, and may be of the same sectors; it "
                                                "would have to be put back first. Try again once nothing has it open.");
    }
    // Restored after this one, a later backup would bring back what the test had written.
    bool const waits = std::ranges::any_of(left, [&entry](OwedEntry const * other) {
        return other->found.state == FoundEntry::State::Owed && other->disks == entry.disks &&
               overlap(other->found.entry, entry.found.entry);
    });
    if (waits) {
        return refused(TestResult::CANNOTRUN(), "A later backup of the same sectors has to be put back first.");
    }
    return std::nullopt;
}

std::optional<RecoveryOutcome> whyNotBeforeOthers(OwedEntry const & entry, OtherPlaces const & others,
                                                  Options const & options, DeviceCatalog const & catalog) {
    PlaceSurvey const * const other = placeOfSameSectors(others, entry, catalog);
    if (other == nullptr) {
        return std::nullopt;
    }
    return refused(TestResult::CANNOTRUN(),
                   fmt::format("{} holds a backup of the same sectors, too, and which was made first cannot be "
                               "told. Give up the one that is not wanted: '{} --discard' or '{} --discard'.",
                               other->folder, recoverCommand(options, options.journal),
                               recoverCommand(options, other->named)));
}

bool isLeft(RecoveryOutcome const & outcome) {
    switch (outcome.kind) {
    case Kind::Restored:
    case Kind::InPlace:
    case Kind::Discarded:
    case Kind::Possible:
        return false;
    case Kind::Refused:
    case Kind::Stopped:
    case Kind::Failed:
        break;
    }
    return !outcome.isDamaged;
}

} // namespace tkit5
