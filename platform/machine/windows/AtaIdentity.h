// IDENTIFY DEVICE of ATA, by which a disk tells whether a password protects it. Pure functions over bytes.
#pragma once

#include "Records.h"

#include <chrono>
#include <optional>
#include <vector>

namespace machine::windows {

inline constexpr std::size_t identitySize = 512;

// What the request gives the disk to answer. One in standby spins up first, which takes some ten seconds; one that does
// not answer in time is reset by Windows.
inline constexpr std::chrono::seconds identifyTime{15};

// How a disk is asked: straight, or through a bridge that translates (SCSI / ATA Translation).
enum class AtaPath : std::uint8_t { Direct, Bridge };

// The record of the I/O control that asks; its answer is as long. Direct: IOCTL_ATA_PASS_THROUGH, Bridge:
// IOCTL_SCSI_PASS_THROUGH.
std::vector<std::byte> identifyRequest(AtaPath path);

// The identity in an answer; empty when the disk refused.
std::optional<Bytes> identityOf(AtaPath path, Bytes answer);

struct AtaSecurity {
    bool supported = false;
    bool passwordSet = false;
    bool locked = false;
};

// Empty when these are not the bytes of an ATA disk.
std::optional<AtaSecurity> parseSecurity(Bytes identity);

} // namespace machine::windows
