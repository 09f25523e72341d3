// What is swept: a small PC for each test, on which it passes, and the command line that runs it.
#pragma once

#include "SilentFaults.h"
#include "SweepPc.h"

#include "module/PcBuilder.h"

#include <cstdint>
#include <string>
#include <vector>

namespace test {

inline constexpr std::uint64_t sectorsOfATransfer = 1024; // of a small medium with sectors of 512 bytes
inline constexpr char const * sweptDisk = "USBSTOR\\DISK&VEN_TEST&PROD_STICK\\1&0";

Json describedFor(Swept test);
std::vector<std::string> argumentsOf(Swept test);

std::vector<std::string> recovering(); // the command line that puts back what is owed

// Expects that a call of the program has closed all that it had opened, and came to its end in time.
void expectAllClosed(Outcome const & outcome);

// A PC with this disk behind a full-speed port.
Json stickPcWith(Json disk);
// Three transfers and a sector, with a volume; a transfer takes some eight seconds, so that a pass goes round once.
Json sweptDiskWith(std::initializer_list<std::pair<char const *, Json>> members = {});

} // namespace test
