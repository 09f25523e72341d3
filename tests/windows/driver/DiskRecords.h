// What disks answer of the facts that are told of a described one.
#pragma once

#include "machine/DeviceTree.h"

#include <cstddef>
#include <span>
#include <vector>

namespace livepc {

// The answer to a SCSI pass through that carries IDENTIFY DEVICE; empty when it carries something else, or when the
// disk knows no such command.
std::vector<std::byte> answerToIdentify(machine::DiskFacts const & disk, std::span<std::byte const> request);

} // namespace livepc
