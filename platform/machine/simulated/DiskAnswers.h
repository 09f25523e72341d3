// What disks and volumes answer to I/O controls.
#pragma once

#include "DiskState.h"
#include "DiskTransfers.h"
#include "machine/Machine.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace machine::simulated {

// The outcome of an I/O control to a disk or a volume; late by a delay, or never.
struct DiskAnswer {
    Transfer transfer;
    Duration delay{};
    bool hangs = false;
};

// Both write the output only where the transfer's bytes say so.
DiskAnswer answerOfDisk(DiskState & disk, Duration now, OpenedFor const & opened, std::uint32_t code,
                        std::span<std::byte const> input, std::span<std::byte> output);

// The file is the one that asks, whose lock it is; others says whether somebody else has the volume open.
DiskAnswer answerOfVolume(DiskState & disk, Duration now, VolumeState & volume, void const * file, bool others,
                          OpenedFor const & opened, std::uint32_t code, std::span<std::byte> output);

} // namespace machine::simulated
