#include "StateFolder.h"

#include <cstdlib>

namespace support {

void setEnvironment(char const * name, std::string const & value) {
    ::_putenv_s(name, value.c_str());
}

} // namespace support
