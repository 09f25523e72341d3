#pragma once

#include <string>

namespace support {

// The folder that programs keep their state in, from now on: one of the running test's own, empty when the test begins.
std::string useOwnStateFolder();

void setEnvironment(char const * name, std::string const & value);

} // namespace support
