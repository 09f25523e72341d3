#pragma once

namespace terminal {

// Takes the end of the user's session (logging off, shutting down) as a request to stop, for the rest of the process.
// Windows sends console events of it only to programs without a user interface, and counts every program as one with
// that uses the Shell's functions; those are told by a message to their windows, so this makes one that nobody sees.
// Where no window can be made there is no session of a user either.
void watchSessionEnd();

} // namespace terminal
