// The open files of a simulated PC: hubs and controllers, disks, volumes, and what answers nothing.
#pragma once

#include "Bus.h"
#include "Sharing.h"
#include "machine/Clock.h"
#include "machine/Machine.h"

#include <memory>

namespace machine::simulated {

// A file of the target. The bus, the clock and the target outlive it; start is when the machine began.
std::unique_ptr<File> makeFile(Bus & bus, Clock & clock, Duration start, Openable & target,
                               OpenRequest const & request);

} // namespace machine::simulated
