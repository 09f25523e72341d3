#include "PendingIo.h"
#include "PerformanceCalculator.h"
#include "Reporting.h"

#include <utility>

namespace nuvrusb {

namespace {

SourceUnit & unit = performanceCalculatorUnit;

// Milliseconds.
constexpr std::uint32_t probeStep = 50;
constexpr std::uint32_t probeLimit = 30'000;
constexpr std::uint32_t ejectLimit = 5'000;
constexpr std::uint32_t cancelLimit = 1'000;

// A medium that cannot deliver one transfer in that time is of no use in the drive.
void requestEject(nuv::SharedFileHandle const & handle) {
    PendingIo eject(handle, nuv::SharedResource<EventHandle>(new EventHandle));
    eject.startControl(kernel::IOCTL_STORAGE_EJECT_MEDIA);
    eject.waitForEnd(ejectLimit);
}

} // namespace

bool PerformanceCalculator::isMediaOperationReady(nuv::SharedFileHandle handle, std::uint32_t byteCount) {
    TraceScope const trace(unit, "PerformanceCalculator::isMediaOperationReady", 126);
    // The calculator keeps the event: it stays open after the probe, until the next one or the end of the calculator.
    probeEvent_ = nuv::SharedResource<EventHandle>(new EventHandle);
    if (!probeEvent_->isValid()) {
        unit.log(1, 134, "isMediaOperationReady()::CreateEvent() failed");
        return false;
    }
    AlignedBuffer buffer;
    if (!buffer.reserve(byteCount)) {
        return false;
    }

    // Readiness is told by the event alone: a read that fails at once is waited for like one that hangs.
    PendingIo read(std::move(handle), probeEvent_, std::move(buffer));
    read.startRead(byteCount);
    std::uint32_t elapsed = 0;
    while (read.wait(probeStep) == kernel::WAIT_TIMEOUT) {
        elapsed += probeStep;
        if (elapsed > probeLimit) {
            raiseWarning(unit, keys::LARGE_CHUNKS_OF_DATA_READ_FAILED, 151);
            read.cancel();
            requestEject(read.file());
            read.waitForEnd(cancelLimit);
            return false;
        }
    }
    return true;
}

bool PerformanceCalculator::reopenForMediaCheck(std::uint64_t sector) {
    TraceScope const trace(unit, "PerformanceCalculator::reopenForMediaCheck", 841);
    if (sector != 0) {
        return true;
    }
    reopen(kernel::FILE_FLAG_OVERLAPPED | kernel::FILE_FLAG_NO_BUFFERING | kernel::FILE_ATTRIBUTE_NORMAL);
    if (!isMediaOperationReady(handle_, static_cast<std::uint32_t>(transferSize()))) {
        mediaReady_ = false;
        return false;
    }
    return true;
}

} // namespace nuvrusb
