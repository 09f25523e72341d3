#pragma once

#include "Files.h"

namespace kernel {

inline constexpr std::uint32_t INFINITE = 0xFFFFFFFF;
inline constexpr std::uint32_t WAIT_OBJECT_0 = 0;
inline constexpr std::uint32_t WAIT_TIMEOUT = 258;
inline constexpr std::uint32_t WAIT_FAILED = 0xFFFFFFFF;

// An unnamed event, or null when it cannot be made. The caller closes it with CloseHandle. securityAttributes and name
// are null.
HANDLE CreateEventW(void * securityAttributes, bool manualReset, bool initiallySet, char16_t const * name);
bool SetEvent(HANDLE event);
bool ResetEvent(HANDLE event);

// Blocks until the event is set or the milliseconds are over: WAIT_OBJECT_0, WAIT_TIMEOUT or WAIT_FAILED.
std::uint32_t WaitForSingleObject(HANDLE event, std::uint32_t milliseconds);

} // namespace kernel
