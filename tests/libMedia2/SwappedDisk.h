// A drive that preserves data, on a disk that another one takes the place of.
#pragma once

#include "journal/Journal.h"
#include "journal/Preservation.h"
#include "libMedia2.h"
#include "support/DiskPc.h"
#include "support/MemoryStorage.h"
#include "support/StoredDisk.h"
#include "support/SwappedPc.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>

namespace test {

using libMedia2::OSDrive;
using support::disk1;
using support::MemoryDisk;
using support::MemoryStorage;
using support::Pages;

inline constexpr std::uint32_t sectorSize = 512;
inline constexpr std::uint32_t count = 4;

struct Told {
    std::string serialNumber;
    std::string model = "Stick";
};

inline std::shared_ptr<support::StoredBytes> bytesOfADisk(std::size_t sectors = 64) {
    return std::make_shared<support::StoredBytes>(sectors * sectorSize);
}

inline std::unique_ptr<machine::Machine> pcWith(Told const & disk, std::shared_ptr<support::StoredBytes> const & bytes,
                                                std::uint32_t sizeOfSector = sectorSize) {
    return support::pcWithStored(bytes, sizeOfSector,
                                 R"("serialNumber": ")" + disk.serialNumber + R"(", "name": ")" + disk.model + '"');
}

class SwappedDisk : public testing::Test {
protected:
    void begin(Told const & before, Told const & now) {
        beginOn(before, now);
        open();
    }
    // The right disk, and another one in its place by the next time that it is opened.
    void beginWithTheRightOne() {
        beginOn({"S1"}, {"S2"});
        pc_->putBack();
        open();
    }
    void beginOn(Told const & before, Told const & now) { beginOn(pcWith(before, right_), pcWith(now, another_)); }
    void beginOn(std::unique_ptr<machine::Machine> before, std::unique_ptr<machine::Machine> now) {
        pc_ = std::make_unique<support::SwappedPc>(std::move(before), std::move(now));
        inUse_.emplace(*pc_);
        preservation_.emplace(std::make_unique<MemoryStorage>(storage_));
        pass_.emplace(disk1);
    }
    void open() {
        slot_.release();
        nuv::CreateFileOpenArgs args;
        args.fileName = disk1;
        args.desiredAccess = kernel::GENERIC_READ | kernel::GENERIC_WRITE;
        args.creationDisposition = kernel::OPEN_EXISTING;
        args.flagsAndAttributes = kernel::FILE_FLAG_NO_BUFFERING;
        slot_ = nuv::SharedFileHandle(new nuv::FileHandleResManager(args));
        drive_ = drive_ ? std::move(drive_) : std::make_unique<OSDrive>(slot_, nullptr);
    }
    void swapAndOpen() {
        pc_->swapAgain();
        open();
    }
    ~SwappedDisk() override {
        drive_.reset();
        slot_.release();
        pass_.reset();
    }

    bool backUp() { return drive_->readSector(8, count, backup_.data(), backup_.size()); }
    bool overwrite() { return drive_->writeSector(8, count, pattern_.data(), pattern_.size()); }
    bool restore() { return drive_->writeSector(8, count, backup_.data(), backup_.size()); }
    journal::DiskIdentity ofOnlyBackup() {
        pass_.reset();
        MemoryStorage storage(storage_);
        auto const found = journal::survey(storage).entries;
        return found.size() == 1 ? found[0].entry.disk : journal::DiskIdentity();
    }

    std::shared_ptr<support::StoredBytes> const right_ = bytesOfADisk();
    std::shared_ptr<support::StoredBytes> const another_ = bytesOfADisk();
    std::vector<std::byte> const blank_ = right_->bytes;
    std::shared_ptr<MemoryDisk> storage_ = std::make_shared<MemoryDisk>();
    std::unique_ptr<support::SwappedPc> pc_;
    std::optional<machine::InUse> inUse_;
    std::optional<journal::Preservation> preservation_;
    std::optional<journal::PassGuard> pass_;
    nuv::SharedFileHandle slot_;
    std::unique_ptr<OSDrive> drive_;
    Pages backup_{std::size_t{count} * sectorSize};
    Pages pattern_{std::size_t{count} * sectorSize, 0xEE};
};

} // namespace test
