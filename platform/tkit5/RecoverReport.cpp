#include "RecoverReport.h"

#include "Names.h"
#include "TextLayout.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <utility>

namespace tkit5 {

namespace {

using journal::FoundEntry;
using Json = nlohmann::ordered_json;
using Kind = RecoveryOutcome::Kind;

char const * kindName(Kind kind) {
    switch (kind) {
    case Kind::Restored:
        return "restored";
    case Kind::InPlace:
        return "inPlace";
    case Kind::Discarded:
        return "discarded";
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

std::string nothingOwed(RecoverReport::Scope const & scope) {
    if (scope.isOneOfSeveral) {
        return fmt::format("Nothing is owed{} in {}.\n", scope.hasNamedDisks ? " to this disk" : "",
                           printable(scope.folder));
    }
    return scope.hasNamedDisks ? "Nothing is owed to this disk.\n" : "No backup is owed to any disk.\n";
}

std::string describe(OwedEntry const & entry) {
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

Json jsonOf(OwedEntry const & entry) {
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

} // namespace

void RecoverReport::list(ChosenBackups const & chosen, Scope const & scope) {
    if (isJsonl_) {
        for (OwedEntry const & entry : chosen.entries) {
            lines_.write("owed", jsonOf(entry));
        }
        return;
    }
    std::string text = chosen.entries.empty() ? nothingOwed(scope) : fmt::format("In {}:\n", printable(scope.folder));
    for (OwedEntry const & entry : chosen.entries) {
        text += fmt::format("  {}: {}\n", entry.found.name, describe(entry));
    }
    if (chosen.ofOthers != 0) {
        text += fmt::format("What is owed to other disks: {}. 'nuvrusb recover' without --device lists it.\n",
                            chosen.ofOthers);
    }
    if (chosen.inUse != 0) {
        text += fmt::format("Backups of a run that goes on: {}.\n", chosen.inUse);
    }
    write(text);
}

void RecoverReport::tell(OwedEntry const & entry, RecoveryOutcome const & outcome) {
    if (isJsonl_) {
        lines_.write("recovered", {{"backup", entry.found.name},
                                   {"outcome", kindName(outcome.kind)},
                                   {"text", outcome.text},
                                   {"result", resultName(outcome.result)},
                                   {"code", outcome.result.value()}});
        return;
    }
    write(fmt::format("{}: {}\n", entry.found.name, printable(outcome.text)));
}

int RecoverReport::end(TestResult result) {
    if (isJsonl_) {
        lines_.write("recoverEnd", {{"result", resultName(result)}, {"code", result.value()}});
    }
    if (isLost()) {
        result.merge(TestResult::USERABORTED());
    }
    return result.value();
}

int RecoverReport::refuse(std::string const & message, TestResult const & result) {
    console_.writeError(fmt::format("{}: {}\n", programName, message));
    return result.value();
}

} // namespace tkit5
