// Why a drive refused a command, read from the sense data that came back. Pure functions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace scsi {

using Bytes = std::span<std::byte const>;

struct SenseCode {
    std::uint8_t key = 0;
    std::uint8_t code = 0;      // additional sense code
    std::uint8_t qualifier = 0; // and its qualifier

    friend bool operator==(SenseCode const & a, SenseCode const & b) = default;
};

// The reason for the refusal of the present command, in fixed or descriptor format. Nothing for data that are too short
// or in another format, or that are about an earlier command.
std::optional<SenseCode> parseSense(Bytes sense);

bool meansSanitizing(SenseCode const & sense);
bool meansNoMedium(SenseCode const & sense);

} // namespace scsi
