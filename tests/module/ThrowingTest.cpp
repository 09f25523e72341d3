// A test that throws what neither the module nor the framework knows, for the program as a process.
#include "tkit5.h"

#include <cstdio>
#include <stdexcept>

namespace {

// Its destruction shows that the stack was unwound before the process ended.
struct Unwound {
    ~Unwound() { std::fputs("unwound\n", stderr); }
};

tkit5::TestResult throwForeign(tkit5::DiagDevice const &) {
    Unwound const unwound;
    throw std::runtime_error("nobody catches this");
}

[[maybe_unused]] tkit5::Test const * const throwing =
    tkit5::DiagModule::createTest("Throwing", tkit5::DeviceCapability::USBPorts(), throwForeign);

} // namespace
