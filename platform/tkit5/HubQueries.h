// The two facts of a port that the USB topology does not carry, asked of its hub.
#pragma once

#include "nuv.h"

#include <cstdint>
#include <optional>

namespace tkit5 {

// The other port behind the same connector.
struct Companion {
    std::uint32_t port = 0;
    nuv::String hubName; // without "\\?\" in front
};

// One hub, opened. Queries of a hub that cannot be opened or does not answer give nothing.
class HubQueries {
public:
    explicit HubQueries(nuv::String const & hubName); // with or without "\\?\" in front

    nuv::String driverKey(std::uint32_t port) const; // of the device on the port; empty when the hub names none
    std::optional<Companion> companion(std::uint32_t port) const;

private:
    nuv::FileHandleResManager hub_;
};

} // namespace tkit5
