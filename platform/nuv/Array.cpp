#include "nuv.h"

#include <cstdio>
#include <cstdlib>

namespace nuv {

void arrayIndexAssertion() {
    std::fputs("index < size()\n", stderr);
    std::abort();
}

} // namespace nuv
