// What disks answer of the facts that are told of a described one.
#pragma once

#include "machine/DeviceTree.h"

#include <cstddef>
#include <span>
#include <vector>

namespace livepc {

// STORAGE_DEVICE_DESCRIPTOR of a USB disk: one that reports ATA security is built in a case, others are sticks.
std::vector<std::byte> storageDescriptor(machine::DiskFacts const & disk);

// The answer to a SCSI pass through that carries IDENTIFY DEVICE; empty when it carries something else, or when the
// disk knows no such command.
std::vector<std::byte> answerToIdentify(machine::DiskFacts const & disk, std::span<std::byte const> request);

} // namespace livepc
