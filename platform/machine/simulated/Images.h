#pragma once

#include "Description.h"
#include "DescriptionReader.h"

#include <filesystem>
#include <optional>

namespace machine::simulated {

// Opens the images of a description's disks; their paths count from the folder. The first one that cannot be used, or
// is too small for its disk, is the error.
std::optional<DescriptionError> openImages(Description & description, std::filesystem::path const & folder);

} // namespace machine::simulated
