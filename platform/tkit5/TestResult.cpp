#include "tkit5/TestResult.h"

#include <array>
#include <cstddef>

namespace tkit5 {

TestResult TestResult::PASS() {
    return TestResult(0);
}
TestResult TestResult::FAIL() {
    return TestResult(1);
}
TestResult TestResult::WARN() {
    return TestResult(2);
}
TestResult TestResult::NODEVICE() {
    return TestResult(3);
}
TestResult TestResult::NOMEDIA() {
    return TestResult(4);
}
TestResult TestResult::BADPARAMS() {
    return TestResult(5);
}
TestResult TestResult::CANNOTRUN() {
    return TestResult(6);
}
TestResult TestResult::DEVICEBUSY() {
    return TestResult(7);
}
TestResult TestResult::USERABORTED() {
    return TestResult(8);
}
TestResult TestResult::INTERNALERROR() {
    return TestResult(9);
}
TestResult TestResult::MISCONFIGURED() {
    return TestResult(10);
}
TestResult TestResult::EXITEDABNORMALLY() {
    return TestResult(11);
}

namespace {

// How serious the verdict with each code is. Verdicts that say why nothing was found out lie below FAIL: a fault that
// was found on one device counts for more than another device that could not be tested.
constexpr std::array<int, 12> seriousness = {
    0,  // PASS
    9,  // FAIL
    1,  // WARN
    3,  // NODEVICE
    2,  // NOMEDIA
    7,  // BADPARAMS
    5,  // CANNOTRUN
    4,  // DEVICEBUSY
    8,  // USERABORTED
    10, // INTERNALERROR
    6,  // MISCONFIGURED
    11, // EXITEDABNORMALLY
};

int seriousnessOf(TestResult const & result) {
    return seriousness[static_cast<std::size_t>(result.value())];
}

} // namespace

TestResult & TestResult::merge(TestResult const & other) {
    if (seriousnessOf(other) > seriousnessOf(*this)) {
        *this = other;
    }
    return *this;
}

} // namespace tkit5
