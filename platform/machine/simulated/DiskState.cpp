#include "DiskState.h"

#include "MemoryStore.h"
#include "kernel/Files.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace machine::simulated {

namespace {

// Where a volume's first sector says that it is encrypted, and how.
struct Mark {
    std::size_t at;
    std::array<unsigned char, 16> bytes;
    std::size_t size;
};
constexpr Mark bitLockerMark{3, {'-', 'F', 'V', 'E', '-', 'F', 'S', '-'}, 8};
constexpr Mark toGoMark{
    424, {0x3B, 0xD6, 0x67, 0x49, 0x29, 0x2E, 0xD8, 0x4A, 0x83, 0x99, 0xF6, 0xA3, 0x39, 0xE3, 0xD0, 0x01}, 16};

void encrypt(DiskStore & bytes, Volume const & volume, std::uint32_t sectorSize) {
    Mark const & mark = volume.encryption == Encryption::BitLocker ? bitLockerMark : toGoMark;
    std::vector<std::byte> sector(sectorSize);
    std::uint64_t const offset = volume.firstSector * sectorSize;
    if (bytes.read(offset, sector) == kernel::ERROR_SUCCESS) {
        std::memcpy(sector.data() + mark.at, mark.bytes.data(), mark.size);
        bytes.write(offset, sector, false);
    }
}

// A common size of a stick, in sectors of 512 bytes.
constexpr std::uint64_t usualSize = 62533296ULL * 512;

} // namespace

DiskState::DiskState(Disk described, std::uint32_t number, bool measured)
    : described_(std::move(described)), number_(number), measured_(measured) {
    std::uint64_t const bytes = described_.store ? described_.store->size() : usualSize;
    sectorCount_ = described_.sectorCount.value_or(bytes / described_.sectorSize);
    bytes_ = described_.store ? std::move(described_.store)
                              : std::shared_ptr<DiskStore>(makeMemoryStore(size(), described_.seed));
    for (DiskFault const & fault : described_.faults) {
        windows_.emplace_back(fault.window);
    }
    for (Volume & volume : described_.volumes) {
        if (volume.encryption != Encryption::None && volume.firstSector < sectorCount_) {
            encrypt(*bytes_, volume, described_.sectorSize);
        }
        volumes.push_back({.described = std::move(volume), .path = {}});
    }
}

MediaState DiskState::media(Duration now) const {
    MediaState state = described_.media;
    for (MediaChange const & change : described_.mediaChanges) {
        bool const has = change.at ? now >= *change.at : transfers_ >= change.atTransfer.value_or(0);
        state = has ? change.media : state;
    }
    return ejected_ && state != MediaState::Unplugged ? MediaState::Absent : state;
}

std::uint32_t DiskState::mediaError(Duration now) const {
    switch (media(now)) {
    case MediaState::Present:
        break;
    case MediaState::Absent: // as of a medium that is not ready yet: why, only the sense data tell
    case MediaState::Loading:
        return kernel::ERROR_NOT_READY;
    case MediaState::Unplugged:
        return kernel::ERROR_DEVICE_NOT_CONNECTED;
    }
    return kernel::ERROR_SUCCESS;
}

template <class Concerns> DiskFault const * DiskState::strikeWhere(Concerns concerns) {
    DiskFault const * striking = nullptr;
    for (std::size_t i = 0; i < windows_.size(); ++i) {
        DiskFault const & fault = described_.faults[i];
        if (concerns(fault) && windows_[i].strikes() && striking == nullptr) {
            striking = &fault;
        }
    }
    return striking;
}

DiskFault const * DiskState::strike(DiskCall call) {
    return strikeWhere([call](DiskFault const & fault) { return fault.call == call; });
}

DiskFault const * DiskState::strikeTransfer(DiskCall call, std::uint64_t firstSector, std::uint64_t lastSector,
                                            bool overlapped) {
    return strikeWhere([&](DiskFault const & fault) {
        return fault.call == call && fault.firstSector <= lastSector && firstSector <= fault.lastSector &&
               fault.overlapped.value_or(overlapped) == overlapped;
    });
}

} // namespace machine::simulated
