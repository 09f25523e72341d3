// A disk of a simulated PC: what its description says, and what has happened to it.
#pragma once

#include "Description.h"
#include "Window.h"
#include "machine/DiskStore.h"
#include "machine/Machine.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace machine::simulated {

struct VolumeState {
    Volume described;
    std::u16string path;
    void const * locker = nullptr; // the open file that has locked it; null: unlocked
    std::uint32_t openFiles = 0;   // on it, which keep it from being locked
};

class DiskState {
public:
    DiskState(Disk described, std::uint32_t number, bool measured);

    Disk const & described() const { return described_; }
    std::uint32_t number() const { return number_; } // of \\.\PhysicalDriveN
    std::uint64_t sectorCount() const { return sectorCount_; }
    std::uint64_t size() const { return sectorCount_ * described_.sectorSize; } // bytes
    DiskStore & bytes() { return *bytes_; }
    bool isMeasured() const { return measured_; }

    std::vector<VolumeState> volumes;

    void countTransfer() { ++transfers_; }
    MediaState media(Duration now) const; // now: since the machine's start
    // The Windows error of anything that needs a medium; 0 while there is one.
    std::uint32_t mediaError(Duration now) const;
    void eject() { ejected_ = true; }

    // Counts a call and gives the fault that strikes it, the first where there are several; null when none does.
    DiskFault const * strike(DiskCall call);
    DiskFault const * strikeTransfer(DiskCall call, std::uint64_t firstSector, std::uint64_t lastSector,
                                     bool overlapped);

private:
    template <class Concerns> DiskFault const * strikeWhere(Concerns concerns);

    Disk described_;
    std::uint32_t number_;
    bool measured_;
    std::uint64_t sectorCount_;
    std::shared_ptr<DiskStore> bytes_;
    std::vector<CountedWindow> windows_; // of the faults, in their order
    std::uint32_t transfers_ = 0;
    bool ejected_ = false;
};

} // namespace machine::simulated
