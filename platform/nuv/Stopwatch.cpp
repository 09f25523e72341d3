#include "machine/Machine.h"
#include "nuv.h"

namespace nuv {

namespace {

std::int64_t now() {
    return machine::current().clock().now().count();
}

} // namespace

Stopwatch::Stopwatch() : start_(now()) {}

void Stopwatch::reset() {
    start_ = now();
}

double Stopwatch::getElapsed() const {
    // Subtracted as whole numbers, so that a time is the same whenever it was measured.
    return std::chrono::duration<double>(machine::Duration(now() - start_)).count();
}

} // namespace nuv
