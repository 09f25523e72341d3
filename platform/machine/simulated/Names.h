// Names that Windows derives from others.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace machine::simulated {

// Key under which a path is found, whatever its letter case and with or without a device prefix.
std::u16string pathKey(std::u16string_view path);

std::u16string decimal(std::uint32_t number);

// Interface paths by instance ID; empty for an empty one.
std::u16string controllerPath(std::u16string_view instanceId);
std::u16string devicePath(std::u16string_view instanceId);

// Symbolic name of a hub, an interface path without "\\?\".
std::u16string hubName(std::u16string_view instanceId);

std::u16string rootHubInstanceId(std::uint32_t controllerNumber); // from 1
std::u16string diskPath(std::uint32_t diskNumber);
std::u16string volumePath(std::uint32_t diskNumber, std::uint32_t volumeNumber); // from 0

} // namespace machine::simulated
