#pragma once

#include "machine/Machine.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace machine::windows {

class ControlThreads;

inline constexpr std::uint32_t unknownDisk = std::numeric_limits<std::uint32_t>::max();

// The paths of the volumes, such as \\?\Volume{...}.
VolumePaths volumePaths();

// \\.\PhysicalDriveN.
std::u16string diskPath(std::uint32_t number);

// Asks the disks of this PC what they are. What needs rights that the process has not stays unknown.
class DiskQueries {
public:
    explicit DiskQueries(std::shared_ptr<ControlThreads> const & threads);

    // Of a disk by its interface path. Its number is unknownDisk when it does not tell even that.
    DiskFacts factsOf(std::u16string_view path) const;

private:
    void askSecurity(std::u16string_view path, std::uint32_t bus, bool isRemovable, DiskFacts & facts) const;

    std::shared_ptr<ControlThreads> threads_;
    std::vector<std::uint32_t> systemDisks_;
    std::vector<std::uint32_t> applicationDisks_;
    std::vector<std::uint32_t> disksWithReadOnlyVolume_;
};

} // namespace machine::windows
