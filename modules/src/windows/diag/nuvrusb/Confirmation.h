// The user's consent before data on a medium is overwritten.
#pragma once

#include "nuv.h"

namespace nuvrusb {

// What is asked.
inline constexpr unsigned confirmDataLoss = 1;     // data on the medium may be lost
inline constexpr unsigned confirmFailedBackup = 2; // it will be, as it could not be backed up

// False when the user declines. One who cannot be asked counts as agreeing: it was the caller who chose to overwrite,
// by the parameters of the run. Any other kind asks with an empty box. Blocks until there is an answer.
bool userConfirmedOperation(nuv::String const & mediaName, unsigned kind);

} // namespace nuvrusb
