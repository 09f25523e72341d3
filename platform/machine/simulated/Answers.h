// What hubs and host controllers answer to I/O controls.
#pragma once

#include "Bus.h"
#include "machine/Machine.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace machine::simulated {

// The outcome of an I/O control. A device that hangs does not answer at all.
struct Answer {
    Transfer transfer;
    bool hangs = false;
};

// Both write the output only where the transfer's bytes say so. Faults strike well-formed queries only.
Answer answerOfHub(Bus & bus, HubState & hub, std::uint32_t code, std::span<std::byte const> input,
                   std::span<std::byte> output);
Answer answerOfController(Bus & bus, ControllerState & controller, std::uint32_t code, std::span<std::byte> output);

} // namespace machine::simulated
