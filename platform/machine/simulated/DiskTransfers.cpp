#include "DiskTransfers.h"

#include "kernel/Files.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace machine::simulated {

namespace {

// A drive tries again for a while before it gives up; nothing may fail for ever at no cost.
constexpr Duration leastFailure = std::chrono::milliseconds(10);

// Nor may anything else be done for ever at no cost, on the fastest disk.
constexpr Duration leastTime{1};

struct Range {
    std::uint64_t offset;
    std::size_t size;
};

// What comes of a transfer, known at its start.
struct Outcome {
    Transfer transfer;
    Duration takes{};
    bool neverEnds = false;
    bool cancellable = true;
};

using Move = std::function<std::uint32_t(std::size_t size)>; // moves the first bytes; a Windows error

Transfer finish(Clock & clock, Outcome const & outcome, Move const & move) {
    std::uint32_t const error = move(outcome.transfer.bytes);
    if (error == kernel::ERROR_SUCCESS) {
        return outcome.transfer;
    }
    clock.sleep(leastFailure);
    return {error, 0};
}

class SimulatedTransfer final : public PendingTransfer {
public:
    SimulatedTransfer(Clock & clock, Outcome const & outcome, Move move)
        : clock_(clock), outcome_(outcome), end_(clock.now() + outcome.takes), move_(std::move(move)) {}

    std::optional<Transfer> wait(Duration limit) override {
        if (cancelled_) {
            return Transfer{kernel::ERROR_OPERATION_ABORTED, 0};
        }
        Duration const left = end_ - clock_.now();
        if (outcome_.neverEnds || left > limit) {
            clock_.sleep(limit);
            return std::nullopt;
        }
        clock_.sleep(std::max(left, Duration::zero()));
        return finish(clock_, outcome_, move_);
    }

    // What has ended already, though nobody has waited for it, is not undone.
    void cancel() override {
        cancelled_ = cancelled_ || (outcome_.cancellable && (outcome_.neverEnds || clock_.now() < end_));
    }

private:
    Clock & clock_;
    Outcome const outcome_;
    Duration const end_;
    Move const move_;
    bool cancelled_ = false;
};

Duration timeFor(std::size_t bytes, double megabytesPerSecond) {
    double const nanoseconds = static_cast<double>(bytes) / (megabytesPerSecond * bytesPerMegabyte) * 1e9;
    return Duration(static_cast<Duration::rep>(nanoseconds + 0.5));
}

// An error of the request or of the disk's state, which ends a transfer at its start; 0 when there is none.
std::uint32_t errorAtStart(DiskState const & disk, Duration now, bool allowed, Range range, bool unaligned) {
    std::uint32_t const sectorSize = disk.described().sectorSize;
    if (!allowed) {
        return kernel::ERROR_ACCESS_DENIED;
    }
    if (range.offset % sectorSize != 0 || range.size % sectorSize != 0 || unaligned) {
        return kernel::ERROR_INVALID_PARAMETER;
    }
    if (std::uint32_t const error = disk.mediaError(now); error != kernel::ERROR_SUCCESS) {
        return error;
    }
    bool const inside = range.offset <= disk.size() && range.size <= disk.size() - range.offset;
    return inside ? kernel::ERROR_SUCCESS : kernel::ERROR_SECTOR_NOT_FOUND;
}

// How much was moved before a fault: up to its first sector, or half where it is no matter of sectors.
std::size_t movedBefore(DiskFault const & fault, Range range, std::uint32_t sectorSize) {
    std::uint64_t const first = range.offset / sectorSize;
    if (fault.firstSector == 0 && fault.lastSector == UINT64_MAX) {
        return range.size / 2 / sectorSize * sectorSize;
    }
    return fault.firstSector <= first ? 0 : static_cast<std::size_t>(fault.firstSector - first) * sectorSize;
}

Outcome outcomeOf(DiskState & disk, DiskCall call, Range range, bool overlapped) {
    Disk const & described = disk.described();
    double const rate = call == DiskCall::Read ? described.readRate : described.writeRate;
    std::uint64_t const first = range.offset / described.sectorSize;
    std::uint64_t const last = first + std::max<std::uint64_t>(range.size / described.sectorSize, 1) - 1;
    DiskFault const * const fault = disk.strikeTransfer(call, first, last, overlapped);

    Outcome outcome{.transfer = {kernel::ERROR_SUCCESS, static_cast<std::uint32_t>(range.size)}};
    if (fault != nullptr) {
        if (auto const * const fails = std::get_if<FailsWith>(&fault->effect)) {
            outcome.transfer = {fails->error,
                                static_cast<std::uint32_t>(movedBefore(*fault, range, described.sectorSize))};
        } else if (auto const * const delays = std::get_if<Delays>(&fault->effect)) {
            outcome.takes = delays->by;
        } else {
            outcome.neverEnds = true;
            outcome.cancellable = std::get<NeverEnds>(fault->effect).cancellable;
        }
    }
    if (!disk.isMeasured()) {
        outcome.takes += std::max(described.latency + timeFor(outcome.transfer.bytes, rate), leastTime);
    }
    if (outcome.transfer.error != kernel::ERROR_SUCCESS) {
        outcome.takes = std::max(outcome.takes, leastFailure);
    }
    return outcome;
}

Started carryOut(DiskState & disk, Clock & clock, Outcome const & outcome, bool overlapped, Move move) {
    // On the real clock the store's own time is the transfer's, so that it is spent before the return.
    if (overlapped && (!disk.isMeasured() || outcome.neverEnds || outcome.takes > Duration::zero())) {
        return {{}, std::make_unique<SimulatedTransfer>(clock, outcome, std::move(move))};
    }
    if (outcome.neverEnds) {
        clock.sleep(endOfPatience);
        return {{kernel::ERROR_SEM_TIMEOUT, 0}, nullptr};
    }
    if (outcome.takes > Duration::zero()) {
        clock.sleep(outcome.takes);
    }
    return {finish(clock, outcome, move), nullptr};
}

Started refused(Clock & clock, std::uint32_t error) {
    clock.sleep(leastFailure);
    return {{error, 0}, nullptr};
}

bool isUnaligned(OpenedFor const & opened, void const * buffer, std::uint32_t sectorSize) {
    std::uint32_t const alignment = sectorSize & (~sectorSize + 1); // the largest power of two in it
    return opened.unbuffered && reinterpret_cast<std::uintptr_t>(buffer) % alignment != 0;
}

// Windows keeps raw writes out of the volumes that it has mounted, unless they are locked.
bool touchesUnlockedVolume(DiskState const & disk, Range range) {
    std::uint32_t const sectorSize = disk.described().sectorSize;
    std::uint64_t const first = range.offset / sectorSize;
    std::uint64_t const end = first + range.size / sectorSize;
    return std::ranges::any_of(disk.volumes, [&](VolumeState const & volume) {
        return volume.locker == nullptr && volume.described.firstSector < end &&
               first < volume.described.firstSector + volume.described.sectorCount;
    });
}

} // namespace

Started startRead(std::shared_ptr<DiskState> const & disk, Clock & clock, Duration start, OpenedFor const & opened,
                  std::uint64_t offset, std::span<std::byte> buffer) {
    disk->countTransfer();
    Range const range{offset, buffer.size()};
    bool const unaligned = isUnaligned(opened, buffer.data(), disk->described().sectorSize);
    if (auto const error = errorAtStart(*disk, clock.now() - start, opened.reading, range, unaligned); error != 0) {
        return refused(clock, error);
    }
    Outcome const outcome = outcomeOf(*disk, DiskCall::Read, range, opened.overlapped);
    return carryOut(*disk, clock, outcome, opened.overlapped, [disk, offset, buffer](std::size_t size) {
        return size == 0 ? kernel::ERROR_SUCCESS : disk->bytes().read(offset, buffer.first(size));
    });
}

Started startWrite(std::shared_ptr<DiskState> const & disk, Clock & clock, Duration start, OpenedFor const & opened,
                   std::uint64_t offset, std::span<std::byte const> bytes) {
    disk->countTransfer();
    Range const range{offset, bytes.size()};
    bool const unaligned = isUnaligned(opened, bytes.data(), disk->described().sectorSize);
    auto error = errorAtStart(*disk, clock.now() - start, opened.writing, range, unaligned);
    if (error == kernel::ERROR_SUCCESS && disk->described().readOnly) {
        error = kernel::ERROR_WRITE_PROTECT;
    }
    if (error == kernel::ERROR_SUCCESS && touchesUnlockedVolume(*disk, range)) {
        error = kernel::ERROR_ACCESS_DENIED;
    }
    if (error != kernel::ERROR_SUCCESS) {
        return refused(clock, error);
    }
    Outcome const outcome = outcomeOf(*disk, DiskCall::Write, range, opened.overlapped);
    bool const durable = opened.writeThrough;
    return carryOut(*disk, clock, outcome, opened.overlapped, [disk, offset, bytes, durable](std::size_t size) {
        return size == 0 ? kernel::ERROR_SUCCESS : disk->bytes().write(offset, bytes.first(size), durable);
    });
}

} // namespace machine::simulated
