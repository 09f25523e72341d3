#include "Preservation.h"

#include "kernel.h"
#include "kernel/Runtime.h"

#include <utility>

namespace journal {

namespace {
Preservation * activePreservation = nullptr;
}

Preservation::Preservation(std::unique_ptr<Storage> storage)
    : storage_(std::move(storage)), previous_(std::exchange(activePreservation, this)) {
    if (storage_ != nullptr) {
        journal_.emplace(*storage_);
    }
}

Preservation::~Preservation() {
    activePreservation = previous_;
}

Preservation * Preservation::active() {
    return activePreservation;
}

void Preservation::beginPass(std::u16string_view path) {
    KnownDisk const disk = findDisk(path);
    if (disk.facts != nullptr && disk.facts->inMemory) {
        return;
    }
    Pass & pass = passes_[kernel::fileKey(path)];
    pass.known = disk;
    pass.disk = identityOf(disk);
}

void Preservation::endPass(std::u16string_view path) {
    auto const pass = passes_.find(kernel::fileKey(path));
    if (pass != passes_.end()) {
        settle(pass->second);
        passes_.erase(pass);
    }
}

// 0, 1110 or another error, as those of Disks.h.
std::uint32_t Preservation::checkIsTheDisk(Pass const & pass, kernel::HANDLE open) {
    std::uint32_t const error = checkIsStill(pass.known, open);
    return error != kernel::ERROR_SUCCESS ? error : checkHasStillSize(pass.disk, open);
}

void Preservation::noteSize(std::u16string const & disk, std::uint64_t diskSize, std::uint32_t sectorSize) {
    DiskIdentity & known = passes_.at(disk).disk;
    if (known.size == 0) {
        known.size = diskSize;
        known.sectorSize = sectorSize;
    }
}

void Preservation::noteOpened(std::u16string const & disk, kernel::HANDLE open) {
    Pass & pass = passes_.at(disk);
    std::uint32_t const error = checkIsTheDisk(pass, open);
    if (error == kernel::ERROR_SUCCESS || error == kernel::ERROR_MEDIA_CHANGED) {
        pass.whyNotToWrite = error;
    } else if (pass.whyNotToWrite != kernel::ERROR_MEDIA_CHANGED) { // another disk stays one until it tells otherwise
        // Without a backup in hand the disk is asked again when one is made, or its loss was accepted.
        pass.whyNotToWrite = pass.backup ? error : kernel::ERROR_SUCCESS;
    }
}

std::uint32_t Preservation::keep(std::u16string const & disk, kernel::HANDLE open, std::uint64_t diskSize,
                                 std::uint32_t sectorSize, Range const & range, Bytes backup) {
    Pass & pass = passes_.at(disk);
    settle(pass);
    noteSize(disk, diskSize, sectorSize);
    // Also when it was asked before: nothing is timed now, and a card may have been exchanged without the handle.
    bool const isOfThatSize = pass.disk.size == diskSize && pass.disk.sectorSize == sectorSize;
    std::uint32_t const error = isOfThatSize ? checkIsTheDisk(pass, open) : kernel::ERROR_MEDIA_CHANGED;
    if (error != kernel::ERROR_SUCCESS) {
        pass.whyNotToWrite = error == kernel::ERROR_MEDIA_CHANGED ? error : pass.whyNotToWrite;
        return error;
    }
    pass.whyNotToWrite = kernel::ERROR_SUCCESS; // whatever it said when it was opened
    Backup made{.entry = {.disk = pass.disk, .range = range}, .buffer = backup.data(), .kept = std::nullopt};
    if (journal_) {
        Journal::Kept kept = journal_->keep(pass.disk, range, backup);
        if (!kept.entry) {
            if (kept.left.isOwed) {
                debts_.push_back({pass.disk, range, Debt::Reason::NotClosed,
                                  storage_->pathOf(kept.left.file.empty() ? kept.failed : kept.left.file)});
            }
            return kept.error;
        }
        made.kept = std::move(kept.entry);
    }
    pass.backup = std::move(made);
    return kernel::ERROR_SUCCESS;
}

bool Preservation::isRestore(std::u16string const & disk, Range const & range, void const * buffer) const {
    auto const pass = passes_.find(disk);
    return pass != passes_.end() && pass->second.backup && pass->second.backup->buffer == buffer &&
           pass->second.backup->entry.range == range;
}

std::uint32_t Preservation::whyNotToWrite(std::u16string const & disk) const {
    auto const pass = passes_.find(disk);
    return pass == passes_.end() ? kernel::ERROR_SUCCESS : pass->second.whyNotToWrite;
}

void Preservation::beforeOverwriting(std::u16string const & disk) {
    auto const pass = passes_.find(disk);
    if (pass != passes_.end() && pass->second.backup) {
        pass->second.backup->mayBeOverwritten = true;
    }
}

void Preservation::endRestore(std::u16string const & disk, Restore outcome) {
    auto const pass = passes_.find(disk);
    if (pass == passes_.end() || !pass->second.backup) {
        return;
    }
    if (outcome == Restore::NotTried) {
        settle(pass->second);
        return;
    }
    Backup backup = std::move(*pass->second.backup);
    pass->second.backup.reset();
    if (outcome == Restore::Verified) {
        closeEntry(std::move(backup));
    } else {
        owe(std::move(backup), outcome == Restore::NotWritten ? Debt::Reason::NotWritten : Debt::Reason::Differs);
    }
}

// A backup that nobody has put back is owed, unless nothing was written since it was made.
void Preservation::settle(Pass & pass) {
    if (!pass.backup) {
        return;
    }
    Backup backup = std::move(*pass.backup);
    pass.backup.reset();
    if (backup.mayBeOverwritten) {
        owe(std::move(backup), Debt::Reason::NotWritten);
    } else {
        closeEntry(std::move(backup));
    }
}

void Preservation::closeEntry(Backup backup) {
    if (!backup.kept) {
        return;
    }
    std::string const name = backup.kept->name;
    Journal::Closed const closed = journal_->close(std::move(*backup.kept));
    if (closed.error != kernel::ERROR_SUCCESS) {
        debts_.push_back({backup.entry.disk, backup.entry.range, Debt::Reason::NotClosed,
                          storage_->pathOf(closed.file.empty() ? name : closed.file)});
    }
}

void Preservation::owe(Backup backup, Debt::Reason reason) {
    debts_.push_back({backup.entry.disk, backup.entry.range, reason,
                      backup.kept ? storage_->pathOf(backup.kept->name) : std::string()});
}

PassGuard::PassGuard(std::u16string_view path) : path_(path) {
    if (Preservation * const preservation = Preservation::active()) {
        preservation->beginPass(path_);
    }
}

PassGuard::~PassGuard() {
    if (Preservation * const preservation = Preservation::active()) {
        preservation->endPass(path_);
    }
}

} // namespace journal
