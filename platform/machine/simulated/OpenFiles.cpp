#include "OpenFiles.h"

#include "Answers.h"
#include "DiskAnswers.h"
#include "DiskTransfers.h"
#include "kernel/Files.h"

#include <chrono>

namespace machine::simulated {

namespace {

// About what a driver takes for a query that it answers from memory. The value matters less than that it is not zero:
// nothing may be asked for ever at no cost.
constexpr Duration controlTime = std::chrono::microseconds(50);

// Spends the time of an answer. True when there is one within the limit.
bool answersInTime(Clock & clock, Duration delay, bool hangs, std::optional<Duration> limit) {
    Duration const takes = hangs ? endOfPatience : delay;
    if (hangs || (limit && takes > *limit)) {
        clock.sleep(limit.value_or(endOfPatience));
        return false;
    }
    if (takes > Duration::zero() || clock.isVirtual()) {
        clock.sleep(takes + (clock.isVirtual() ? controlTime : Duration::zero()));
    }
    return true;
}

class SimulatedFile : public File {
public:
    SimulatedFile(Bus & bus, Clock & clock, Openable & target, OpenRequest const & request)
        : bus_(bus), clock_(clock), target_(target), sharing_(sharingOf(request)), share_(target, sharing_) {}

    Started read(std::uint64_t, std::span<std::byte>) override {
        return {{kernel::ERROR_INVALID_FUNCTION, 0}, nullptr};
    }
    Started write(std::uint64_t, std::span<std::byte const>) override {
        return {{kernel::ERROR_INVALID_FUNCTION, 0}, nullptr};
    }
    std::uint32_t flush() override { return kernel::ERROR_INVALID_FUNCTION; }

protected:
    Bus & bus_;
    Clock & clock_;
    Openable & target_;
    Sharing const sharing_;
    Share const share_;
};

// A hub, a controller, or a device that answers nothing.
class UsbFile final : public SimulatedFile {
public:
    using SimulatedFile::SimulatedFile;

    Transfer control(std::uint32_t code, std::span<std::byte const> input, std::span<std::byte> output,
                     std::optional<Duration> limit) override {
        Answer const answer = ask(code, input, output);
        return answersInTime(clock_, {}, answer.hangs, limit) ? answer.transfer
                                                              : Transfer{kernel::ERROR_SEM_TIMEOUT, 0};
    }

private:
    Answer ask(std::uint32_t code, std::span<std::byte const> input, std::span<std::byte> output) {
        if (!hasAccess(sharing_.reads, sharing_.writes, code)) {
            return {{kernel::ERROR_ACCESS_DENIED, 0}, false};
        }
        if (target_.kind == Openable::Kind::Controller) {
            return answerOfController(bus_, bus_.controllers[target_.index], code, output);
        }
        if (target_.kind == Openable::Kind::Hub) {
            return answerOfHub(bus_, bus_.hubs[target_.index], code, input, output);
        }
        return {{kernel::ERROR_INVALID_FUNCTION, 0}, false};
    }
};

OpenedFor openedFor(OpenRequest const & request) {
    Sharing const sharing = sharingOf(request);
    return {.reading = sharing.reads,
            .writing = sharing.writes,
            .overlapped = (request.flags & kernel::FILE_FLAG_OVERLAPPED) != 0,
            .unbuffered = (request.flags & kernel::FILE_FLAG_NO_BUFFERING) != 0,
            .writeThrough = (request.flags & kernel::FILE_FLAG_WRITE_THROUGH) != 0};
}

class DiskFile final : public SimulatedFile {
public:
    DiskFile(Bus & bus, Clock & clock, Duration start, Openable & target, OpenRequest const & request)
        : SimulatedFile(bus, clock, target, request), start_(start), opened_(openedFor(request)),
          disk_(bus.disks[target.index]) {}

    Transfer control(std::uint32_t code, std::span<std::byte const> input, std::span<std::byte> output,
                     std::optional<Duration> limit) override {
        DiskAnswer const answer = answerOfDisk(*disk_, clock_.now() - start_, opened_, code, input, output);
        return answersInTime(clock_, answer.delay, answer.hangs, limit) ? answer.transfer
                                                                        : Transfer{kernel::ERROR_SEM_TIMEOUT, 0};
    }
    Started read(std::uint64_t offset, std::span<std::byte> buffer) override {
        return startRead(disk_, clock_, start_, opened_, offset, buffer);
    }
    Started write(std::uint64_t offset, std::span<std::byte const> bytes) override {
        return startWrite(disk_, clock_, start_, opened_, offset, bytes);
    }
    std::uint32_t flush() override {
        answersInTime(clock_, {}, false, std::nullopt);
        if (!opened_.writing) {
            return kernel::ERROR_ACCESS_DENIED;
        }
        std::uint32_t const error = disk_->mediaError(clock_.now() - start_);
        return error != kernel::ERROR_SUCCESS ? error : disk_->bytes().flush();
    }

private:
    Duration const start_;
    OpenedFor const opened_;
    std::shared_ptr<DiskState> const disk_;
};

class VolumeFile final : public SimulatedFile {
public:
    VolumeFile(Bus & bus, Clock & clock, Duration start, Openable & target, OpenRequest const & request)
        : SimulatedFile(bus, clock, target, request), start_(start), opened_(openedFor(request)),
          disk_(bus.disks[target.index]) {}
    VolumeFile(VolumeFile const &) = delete;
    VolumeFile & operator=(VolumeFile const &) = delete;
    ~VolumeFile() override {
        if (volume().locker == this) {
            volume().locker = nullptr;
        }
    }

    Transfer control(std::uint32_t code, std::span<std::byte const>, std::span<std::byte> output,
                     std::optional<Duration> limit) override {
        DiskAnswer const answer =
            answerOfVolume(*disk_, clock_.now() - start_, volume(), this, hasOthers(), opened_, code, output);
        return answersInTime(clock_, answer.delay, answer.hangs, limit) ? answer.transfer
                                                                        : Transfer{kernel::ERROR_SEM_TIMEOUT, 0};
    }

private:
    VolumeState & volume() { return disk_->volumes[target_.volume]; }
    bool hasOthers() { return !share_.isOnlyOne() || volume().openFiles != 0; }

    Duration const start_;
    OpenedFor const opened_;
    std::shared_ptr<DiskState> const disk_;
};

// A file on a volume, which can only be held open.
class FileOnVolume final : public SimulatedFile {
public:
    FileOnVolume(Bus & bus, Clock & clock, Openable & target, OpenRequest const & request)
        : SimulatedFile(bus, clock, target, request), disk_(bus.disks[target.index]) {
        ++disk_->volumes[target_.volume].openFiles;
    }
    FileOnVolume(FileOnVolume const &) = delete;
    FileOnVolume & operator=(FileOnVolume const &) = delete;
    ~FileOnVolume() override { --disk_->volumes[target_.volume].openFiles; }

    Transfer control(std::uint32_t, std::span<std::byte const>, std::span<std::byte>,
                     std::optional<Duration> limit) override {
        answersInTime(clock_, {}, false, limit);
        return {kernel::ERROR_INVALID_FUNCTION, 0};
    }

private:
    std::shared_ptr<DiskState> const disk_;
};

} // namespace

std::unique_ptr<File> makeFile(Bus & bus, Clock & clock, Duration start, Openable & target,
                               OpenRequest const & request) {
    if (target.kind == Openable::Kind::Disk) {
        return std::make_unique<DiskFile>(bus, clock, start, target, request);
    }
    if (target.kind == Openable::Kind::Volume) {
        return std::make_unique<VolumeFile>(bus, clock, start, target, request);
    }
    if (target.kind == Openable::Kind::VolumeFile) {
        return std::make_unique<FileOnVolume>(bus, clock, target, request);
    }
    return std::make_unique<UsbFile>(bus, clock, target, request);
}

} // namespace machine::simulated
