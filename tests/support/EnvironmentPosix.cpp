#include "StateFolder.h"

#include <cstdlib>

namespace support {

void setEnvironment(char const * name, std::string const & value) {
    ::setenv(name, value.c_str(), 1);
}

} // namespace support
