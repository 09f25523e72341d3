#include "PerformanceClock.h"

#include "Wait.h"

#include <windows.h>

#include <chrono>

namespace machine::windows {

PerformanceClock::PerformanceClock() {
    LARGE_INTEGER frequency{};
    QueryPerformanceFrequency(&frequency); // never fails on the systems that this program runs on
    perSecond_ = frequency.QuadPart;
}

Duration PerformanceClock::now() const {
    LARGE_INTEGER count{};
    QueryPerformanceCounter(&count);
    long long const seconds = count.QuadPart / perSecond_;
    long long const rest = count.QuadPart % perSecond_;
    return std::chrono::seconds(seconds) + Duration(rest * Duration::period::den / perSecond_);
}

void PerformanceClock::sleep(Duration duration) {
    // Sleep counts ticks of the system, so it may come back a little early.
    Duration const end = now() + duration;
    for (Duration left = duration; left > Duration::zero(); left = end - now()) {
        Sleep(waitMilliseconds(left));
    }
}

} // namespace machine::windows
