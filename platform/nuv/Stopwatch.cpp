#include "machine/Machine.h"
#include "nuv.h"

namespace nuv {

namespace {

double secondsNow() {
    return std::chrono::duration<double>(machine::current().clock().now()).count();
}

} // namespace

Stopwatch::Stopwatch() : start_(secondsNow()) {}

void Stopwatch::reset() {
    start_ = secondsNow();
}

double Stopwatch::getElapsed() const {
    return secondsNow() - start_;
}

} // namespace nuv
