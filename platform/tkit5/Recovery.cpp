#include "Recovery.h"

#include "DestructiveSummary.h"
#include "journal/Disks.h"
#include "kernel.h"
#include "libMedia2.h"
#include "libVolumes.h"
#include "machine/Pages.h"
#include "nuv.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <span>
#include <utility>

namespace tkit5 {

namespace {

using Kind = RecoveryOutcome::Kind;
using journal::Entry;

constexpr std::size_t mostAtOnce = std::size_t{1} << 20U; // more than the largest sector of an entry

std::string errorText(std::uint32_t error) {
    return nuv::System::getSystemErrorMsg(error).getUTF8String();
}

RecoveryOutcome refused(TestResult const & result, std::string text) {
    return {Kind::Refused, result, std::move(text)};
}

class Recovery {
public:
    Recovery(journal::Storage & storage, journal::FoundEntry const & owed, CatalogDevice const & disk, bool dry,
             std::function<bool()> const & shallStop)
        : storage_(storage), owed_(owed), entry_(owed.entry), disk_(disk), dry_(dry), shallStop_(shallStop),
          pieceSize_(mostAtOnce / entry_.disk.sectorSize * entry_.disk.sectorSize) {}

    RecoveryOutcome run() {
        auto outcome = checkFile();
        if (!outcome) {
            outcome = dry_ ? look() : restore();
        }
        file_.reset(); // an open file cannot be removed everywhere
        if (!dry_ && (outcome->kind == Kind::Restored || outcome->kind == Kind::InPlace)) {
            giveUpEntry(*outcome);
        }
        return *outcome;
    }

private:
    static RecoveryOutcome failed(std::string text) { return {Kind::Failed, TestResult::FAIL(), std::move(text)}; }
    RecoveryOutcome stopped() const {
        return {Kind::Stopped, TestResult::USERABORTED(),
                isTouched_ ? "Stopped; run it again to put the rest back."
                           : "Stopped before anything was written; run it again to put it back."};
    }

    std::optional<RecoveryOutcome> checkFile() {
        journal::Refound again = journal::findAgain(storage_, owed_);
        if (auto const wrong = whyNotTouched(owed_, again)) {
            return wrong;
        }
        file_ = std::move(again.file);
        journal::BackupCheck const check = journal::checkBackup(*file_, entry_);
        if (check.error != kernel::ERROR_SUCCESS) {
            return refused(TestResult::CANNOTRUN(),
                           fmt::format("The backup cannot be read. {}", errorText(check.error)));
        }
        if (!check.intact) {
            RecoveryOutcome damaged =
                refused(TestResult::FAIL(), "The backup is damaged and cannot be used; nothing was written.");
            damaged.isDamaged = true;
            return damaged;
        }
        memory_ = machine::takePages(2 * mostAtOnce);
        if (memory_ == nullptr) {
            return refused(TestResult::CANNOTRUN(), "There is not enough memory.");
        }
        return std::nullopt;
    }

    RecoveryOutcome look() {
        if (auto const wrong = open(kernel::GENERIC_READ, kernel::FILE_SHARE_READ | kernel::FILE_SHARE_WRITE)) {
            return *wrong;
        }
        switch (compare()) {
        case Comparison::Equal:
            return {Kind::InPlace, TestResult::PASS(), "The bytes are in place already."};
        case Comparison::Stopped:
            return stopped();
        case Comparison::Different:
        case Comparison::Unreadable:
            break;
        }
        return {Kind::Possible, TestResult::PASS(), "It can be put back."};
    }

    RecoveryOutcome restore() {
        libVolumes::DeviceLockingManager locker(disk_.osLocator());
        if (!locker.lockVolumes()) {
            return refused(TestResult::DEVICEBUSY(),
                           "A volume of the disk is in use. Close the programs and windows that use it.");
        }
        if (auto const wrong = open(kernel::GENERIC_READ | kernel::GENERIC_WRITE, 0)) {
            return *wrong;
        }
        // From here on nobody else writes to the disk, but until then it may have been put back and used.
        if (auto const wrong = whyNotTouched(owed_, journal::findAgain(storage_, owed_))) {
            return *wrong;
        }
        switch (compare()) {
        case Comparison::Equal:
            // They may be from the disk's own cache, of a restore that was cut short.
            return flush().value_or(
                RecoveryOutcome{Kind::InPlace, TestResult::PASS(), "The bytes were in place already."});
        case Comparison::Stopped:
            return stopped();
        case Comparison::Different:
        case Comparison::Unreadable: // writing may mend it
            break;
        }
        return write();
    }

    // Empty once the disk is open and is the one that was backed up.
    std::optional<RecoveryOutcome> open(std::uint32_t access, std::uint32_t share) {
        nuv::CreateFileOpenArgs args;
        args.fileName = disk_.osLocator();
        args.desiredAccess = access;
        args.shareMode = share;
        args.flagsAndAttributes = kernel::FILE_FLAG_NO_BUFFERING | kernel::FILE_FLAG_WRITE_THROUGH;
        handle_ = nuv::SharedFileHandle(new nuv::FileHandleResManager(args));
        if (!handle_->isValid()) {
            return cannotOpen(kernel::GetLastError());
        }
        // The disk was found by what the system said of it when the program was started.
        switch (std::uint32_t const error =
                    journal::checkIsStill(journal::findDisk(disk_.osLocator().view()), handle_->get())) {
        case kernel::ERROR_SUCCESS:
            break;
        case kernel::ERROR_MEDIA_CHANGED:
            return refused(TestResult::CANNOTRUN(), "It is another disk by now; nothing was written.");
        default:
            return refused(TestResult::CANNOTRUN(),
                           fmt::format("The disk does not tell whether it is the same; nothing was written. {}",
                                       errorText(error)));
        }
        drive_.emplace(handle_, nullptr);
        if (!drive_->isMediaPresent()) {
            return refused(TestResult::NOMEDIA(), "There is no medium in the drive. Insert the one that was tested.");
        }
        std::uint32_t const sectorSize = drive_->getSectorSize();
        std::uint64_t const size = drive_->getSectorCount() * sectorSize;
        if (sectorSize == 0 || size == 0) {
            return refused(TestResult::CANNOTRUN(), "The disk does not tell its size.");
        }
        if (size != entry_.disk.size) {
            return refused(TestResult::CANNOTRUN(),
                           fmt::format("The disk has {}, but the backup is of one with {}: it is another disk, or "
                                       "another medium. Nothing was written.",
                                       sizeText(size), sizeText(entry_.disk.size)));
        }
        if (sectorSize != entry_.disk.sectorSize) {
            return refused(TestResult::CANNOTRUN(),
                           fmt::format("The disk has sectors of {} bytes, but the backup is of one with sectors of {} "
                                       "bytes. Nothing was written.",
                                       sectorSize, entry_.disk.sectorSize));
        }
        return std::nullopt;
    }

    static RecoveryOutcome cannotOpen(std::uint32_t error) {
        switch (error) {
        case kernel::ERROR_SHARING_VIOLATION:
            return refused(TestResult::DEVICEBUSY(), "The disk is in use by another program.");
        case kernel::ERROR_FILE_NOT_FOUND:
        case kernel::ERROR_DEV_NOT_EXIST:
        case kernel::ERROR_NO_SUCH_DEVICE:
        case kernel::ERROR_DEVICE_NOT_CONNECTED:
        case kernel::ERROR_DEVICE_REMOVED:
            return refused(TestResult::NODEVICE(), "The disk has been unplugged.");
        case kernel::ERROR_ACCESS_DENIED:
            return refused(TestResult::CANNOTRUN(), "Access to the disk is denied. Run it as administrator.");
        default:
            return refused(TestResult::CANNOTRUN(), fmt::format("The disk cannot be opened. {}", errorText(error)));
        }
    }

    enum class Comparison { Equal, Different, Unreadable, Stopped };

    // The range on the disk with the backup.
    Comparison compare() {
        for (std::uint64_t done = 0; done < entry_.bytes(); done += pieceSize_) {
            if (shallStop_()) {
                return Comparison::Stopped;
            }
            std::span const wanted = piece(done, 0);
            std::span const found = piece(done, mostAtOnce);
            if (journal::readBackup(*file_, done, wanted) != kernel::ERROR_SUCCESS ||
                !drive_->readSector(sectorAt(done), sectorsOf(found), found.data(), found.size())) {
                return Comparison::Unreadable;
            }
            if (std::memcmp(wanted.data(), found.data(), wanted.size()) != 0) {
                return Comparison::Different;
            }
        }
        return Comparison::Equal;
    }

    RecoveryOutcome write() {
        for (std::uint64_t done = 0; done < entry_.bytes(); done += pieceSize_) {
            if (shallStop_()) {
                return stopped();
            }
            std::span const bytes = piece(done, 0);
            if (std::uint32_t const error = journal::readBackup(*file_, done, bytes); error != kernel::ERROR_SUCCESS) {
                return failed(fmt::format("The backup cannot be read any more. {}", errorText(error)));
            }
            isTouched_ = true;
            if (!drive_->writeSector(sectorAt(done), sectorsOf(bytes), bytes.data(), bytes.size())) {
                return failed(
                    fmt::format("Sector {} cannot be written. {}", sectorAt(done), errorText(kernel::GetLastError())));
            }
        }
        if (auto const unconfirmed = flush()) {
            return *unconfirmed;
        }
        switch (compare()) {
        case Comparison::Equal:
            return {Kind::Restored, TestResult::PASS(), "The bytes are back, as reading them shows."};
        case Comparison::Stopped:
            return stopped();
        case Comparison::Unreadable:
            return failed("The bytes were written, but cannot be read back.");
        case Comparison::Different:
            break;
        }
        return failed("The bytes were written, but something else is read back.");
    }

    // Empty once the disk has for good what was written to it.
    std::optional<RecoveryOutcome> flush() {
        if (kernel::FlushFileBuffers(handle_->get()) || kernel::GetLastError() == kernel::ERROR_INVALID_FUNCTION ||
            kernel::GetLastError() == kernel::ERROR_NOT_SUPPORTED) {
            return std::nullopt;
        }
        return failed(fmt::format("The disk did not confirm what was written. {}", errorText(kernel::GetLastError())));
    }

    void giveUpEntry(RecoveryOutcome & outcome) {
        if (auto const wrong = whyNotTouched(owed_, journal::findAgain(storage_, owed_))) {
            outcome.result = TestResult::WARN();
            outcome.text += " " + wrong->text;
            return;
        }
        journal::Journal::Closed const closed = journal::Journal(storage_).close(owed_.name);
        if (closed.error != kernel::ERROR_SUCCESS) {
            outcome.result = TestResult::WARN();
            outcome.text += closed.isOwed ? " The file with the backup cannot be removed. "
                                          : " Its file cannot be removed now, but nothing is owed any more. ";
            outcome.text += errorText(closed.error);
        }
    }

    std::span<std::byte> piece(std::uint64_t done, std::size_t at) {
        auto const size = static_cast<std::size_t>(std::min<std::uint64_t>(pieceSize_, entry_.bytes() - done));
        return {memory_.get() + at, size};
    }
    std::uint64_t sectorAt(std::uint64_t done) const {
        return entry_.range.firstSector + done / entry_.disk.sectorSize;
    }
    std::uint32_t sectorsOf(std::span<std::byte const> bytes) const {
        return static_cast<std::uint32_t>(bytes.size() / entry_.disk.sectorSize);
    }

    journal::Storage & storage_;
    journal::FoundEntry const & owed_;
    Entry const & entry_;
    CatalogDevice const & disk_;
    bool const dry_;
    std::function<bool()> const & shallStop_;
    std::size_t const pieceSize_; // whole sectors
    bool isTouched_ = false;      // something was written
    std::unique_ptr<journal::StoredBytes> file_;
    machine::Pages memory_; // a piece of the backup and one of the disk
    nuv::SharedFileHandle handle_;
    std::optional<libMedia2::OSDrive> drive_; // refers to the handle
};

} // namespace

std::optional<RecoveryOutcome> whyNotTouched(journal::FoundEntry const & found, journal::Refound const & again) {
    using State = journal::Refound::State;
    switch (again.state) {
    case State::Same:
        return std::nullopt;
    case State::Gone:
        return refused(TestResult::CANNOTRUN(), "Its file is gone: another program has put it back or given it up, or "
                                                "the folder is no longer there.");
    case State::InUse:
        return refused(TestResult::CANNOTRUN(), "It is in use by a run.");
    case State::Replaced:
        return refused(TestResult::CANNOTRUN(),
                       found.error == kernel::ERROR_SUCCESS
                           ? "It was replaced meanwhile by another backup, which is left alone. Run this again."
                           : "It could not be read before and can be now, so it is left alone. Run this again.");
    case State::Unreadable:
        break;
    }
    return refused(TestResult::CANNOTRUN(), fmt::format("The backup cannot be read. {}", errorText(again.error)));
}

RecoveryOutcome recover(journal::Storage & storage, journal::FoundEntry const & owed, CatalogDevice const & disk,
                        bool dry, std::function<bool()> const & shallStop) {
    return Recovery(storage, owed, disk, dry, shallStop).run();
}

} // namespace tkit5
