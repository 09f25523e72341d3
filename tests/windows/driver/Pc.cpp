#include "Pc.h"

#include "DiskRecords.h"
#include "kernel/Files.h"
#include "kernel/StorageRecords.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <optional>
#include <utility>

namespace livepc {

namespace {

using machine::Duration;

// What takes as long as that is not answered at all.
constexpr Duration never = std::chrono::hours(1);

// How a file is opened, as the kernel has it.
constexpr std::uint32_t optionWriteThrough = 0x2;
constexpr std::uint32_t optionUnbuffered = 0x8;

// Memory for a transfer past every cache.
class PageBuffer {
public:
    explicit PageBuffer(std::size_t size)
        : bytes_(static_cast<std::byte *>(::operator new(std::max<std::size_t>(size, 1), alignment))), size_(size) {}
    std::span<std::byte> bytes() const { return {bytes_.get(), size_}; }

private:
    static constexpr std::align_val_t alignment{4096};
    struct Free {
        void operator()(std::byte * bytes) const { ::operator delete(bytes, alignment); }
    };
    std::unique_ptr<std::byte, Free> bytes_;
    std::size_t size_;
};

} // namespace

std::uint32_t statusOf(std::uint32_t error) {
    switch (error) {
    case kernel::ERROR_SUCCESS:
        return 0;
    case kernel::ERROR_MORE_DATA:
        return 0x80000005; // a warning, with which the output is kept
    case kernel::ERROR_OPERATION_ABORTED:
        return 0xC0000120;
    default:
        return 0xC0010000 | error; // the facility whose codes are taken over as they are
    }
}

struct Pc::File {
    std::unique_ptr<machine::File> file;
    std::u16string path;
};

struct Pc::Transfer {
    std::unique_ptr<machine::PendingTransfer> pending;
    PageBuffer buffer;
    bool reads;
};

struct Pc::LateAnswer {
    std::optional<Duration> due; // empty: never
    machine::Transfer outcome;
    std::vector<std::byte> output;
};

Pc::Pc(machine::Machine & machine, AnswerClock & clock, std::vector<Name> names, Send send)
    : machine_(machine), clock_(clock), names_(std::move(names)), send_(std::move(send)) {}

Pc::~Pc() = default;

void Pc::answer(std::uint32_t id, machine::Transfer outcome, std::span<std::byte const> output) {
    ForwarderAnswer const header{.id = id,
                                 .status = statusOf(outcome.error),
                                 .information = outcome.bytes,
                                 .outputSize = static_cast<std::uint32_t>(output.size())};
    send_(header, output);
}

void Pc::take(ForwarderRequest const & request, std::span<std::byte const> input) {
    clock_.takeLate();
    if (request.kind == forwarderOpen) {
        open(request);
        return;
    }
    if (request.kind == forwarderClose) {
        files_.erase(request.file);
        return;
    }
    if (request.kind == forwarderCancel) {
        cancel(request.id);
        return;
    }
    auto const found = files_.find(request.file);
    if (found == files_.end()) {
        answer(request.id, {kernel::ERROR_INVALID_HANDLE, 0}, {});
        return;
    }
    if (request.kind == forwarderControl) {
        control(request, found->second, input);
    } else if (request.kind == forwarderFlush) {
        answer(request.id, {found->second.file->flush(), 0}, {});
    } else {
        transfer(request, found->second, input);
    }
}

void Pc::open(ForwarderRequest const & request) {
    Name const & name = names_.at(request.name);
    // Every handle of a program that runs on Windows itself is open for overlapped I/O.
    std::uint32_t flags = kernel::FILE_FLAG_OVERLAPPED;
    flags |= (request.options & optionUnbuffered) != 0 ? kernel::FILE_FLAG_NO_BUFFERING : 0;
    flags |= (request.options & optionWriteThrough) != 0 ? kernel::FILE_FLAG_WRITE_THROUGH : 0;
    auto opened = machine_.open({.path = name.path,
                                 .access = request.access,
                                 .share = request.share,
                                 .disposition = kernel::OPEN_EXISTING,
                                 .flags = flags});
    if (opened.file) {
        files_[request.file] = {std::move(opened.file), name.path};
    }
    answer(request.id, {opened.error, 0}, {});
}

// The facts of the disk that a path opens, or of the one below the volume that it opens; null when there is none.
machine::DiskFacts const * Pc::diskBelow(File & file) const {
    machine::DeviceTree const & tree = machine_.devices();
    kernel::VOLUME_DISK_EXTENTS extents{};
    bool const isVolume = file.file
                              ->control(kernel::IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, {},
                                        std::as_writable_bytes(std::span(&extents, 1)), std::nullopt)
                              .error == kernel::ERROR_SUCCESS;
    for (machine::NodeId const node : tree.ofClass(machine::NodeClass::Disk)) {
        if (isVolume ? tree.disk(node)->number == extents.Extents[0].DiskNumber
                     : tree[node].interfacePath == file.path) {
            return tree.disk(node);
        }
    }
    return nullptr;
}

// What described disks do not answer, since it is part of their facts there.
bool Pc::answerFromFacts(ForwarderRequest const & request, File & file, std::span<std::byte const> input) {
    if (request.code != kernel::IOCTL_DISK_IS_WRITABLE && request.code != kernel::IOCTL_SCSI_PASS_THROUGH) {
        return false;
    }
    machine::DiskFacts const * const disk = diskBelow(file);
    if (disk == nullptr) {
        return false;
    }
    if (request.code == kernel::IOCTL_DISK_IS_WRITABLE) {
        if (disk->hasReadOnlyVolume) {
            answer(request.id, {kernel::ERROR_WRITE_PROTECT, 0}, {});
        }
        return disk->hasReadOnlyVolume;
    }
    std::vector<std::byte> record = answerToIdentify(*disk, input);
    if (record.empty()) {
        return false;
    }
    record.resize(std::min<std::size_t>(record.size(), request.outputSize));
    answer(request.id, {kernel::ERROR_SUCCESS, static_cast<std::uint32_t>(record.size())}, record);
    return true;
}

void Pc::control(ForwarderRequest const & request, File & file, std::span<std::byte const> input) {
    if (answerFromFacts(request, file, input)) {
        return;
    }
    std::vector<std::byte> output(request.outputSize);
    LateAnswer late{.due = {}, .outcome = file.file->control(request.code, input, output, std::nullopt), .output = {}};
    output.resize(std::min<std::size_t>(late.outcome.bytes, output.size()));
    late.output = std::move(output);
    Duration const takes = clock_.takeLate();
    if (takes < never) {
        late.due = clock_.now() + takes;
    }
    lateAnswers_.emplace(request.id, std::move(late));
}

void Pc::transfer(ForwarderRequest const & request, File & file, std::span<std::byte const> input) {
    bool const reads = request.kind == forwarderRead;
    PageBuffer buffer(reads ? request.outputSize : input.size());
    if (!reads) {
        std::ranges::copy(input, buffer.bytes().begin());
    }
    machine::Started started =
        reads ? file.file->read(request.offset, buffer.bytes()) : file.file->write(request.offset, buffer.bytes());
    if (started.pending) {
        transfers_.emplace(request.id, Transfer{std::move(started.pending), std::move(buffer), reads});
        return;
    }
    answer(request.id, started.transfer, reads ? buffer.bytes().first(started.transfer.bytes) : std::span<std::byte>());
}

// A control that is cancelled ends at once; of a transfer the disk decides.
void Pc::cancel(std::uint32_t id) {
    if (lateAnswers_.erase(id) != 0) {
        answer(id, {kernel::ERROR_OPERATION_ABORTED, 0}, {});
    } else if (auto const found = transfers_.find(id); found != transfers_.end()) {
        found->second.pending->cancel();
    }
}

void Pc::completeDue() {
    std::erase_if(lateAnswers_, [this](auto const & entry) {
        auto const & [id, late] = entry;
        bool const isDue = late.due && *late.due <= clock_.now();
        if (isDue) {
            answer(id, late.outcome, late.output);
        }
        return isDue;
    });
    std::erase_if(transfers_, [this](auto & entry) {
        auto & [id, transfer] = entry;
        auto const outcome = transfer.pending->wait(Duration::zero());
        if (outcome) {
            answer(id, *outcome,
                   transfer.reads ? transfer.buffer.bytes().first(outcome->bytes) : std::span<std::byte>());
        }
        return outcome.has_value();
    });
}

bool Pc::isBusy() const {
    return !transfers_.empty() || !lateAnswers_.empty();
}

} // namespace livepc
