#include "Machine.h"

#include <cstdio>
#include <cstdlib>

namespace machine {

namespace {
Machine * inUse = nullptr;
}

Machine & current() {
    if (inUse == nullptr) {
        std::fputs("no machine is in use\n", stderr);
        std::abort();
    }
    return *inUse;
}

InUse::InUse(Machine & machine) : previous_(inUse) {
    inUse = &machine;
}

InUse::~InUse() {
    inUse = previous_;
}

} // namespace machine
