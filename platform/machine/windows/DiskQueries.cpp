#include "DiskQueries.h"

#include "AtaIdentity.h"
#include "ControlThreads.h"
#include "FilePlace.h"
#include "LiveFile.h"
#include "Records.h"
#include "Wide.h"
#include "machine/StorageDescriptor.h"
#include "machine/Text.h"

#include <windows.h>

#include <winioctl.h>

#include <ntddscsi.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <iterator>
#include <optional>

namespace machine::windows {

namespace {

constexpr std::chrono::seconds usualLimit{5};
constexpr std::chrono::seconds identifyLimit = identifyTime + usualLimit; // Windows gives up before
constexpr std::size_t mostExtents = 128;

// An open disk or volume and what it answers.
class Device {
public:
    Device(std::u16string_view path, DWORD access, std::shared_ptr<ControlThreads> const & threads)
        : opened_(openLive({.path = path,
                            .access = access,
                            .share = FILE_SHARE_READ | FILE_SHARE_WRITE,
                            .disposition = OPEN_EXISTING,
                            .flags = 0},
                           threads)) {}

    // The answer, with the error if there is one.
    std::uint32_t ask(DWORD code, Bytes input, std::vector<std::byte> & output, Duration limit = usualLimit) const {
        if (!opened_.file) {
            return opened_.error;
        }
        Transfer const transfer = opened_.file->control(code, input, output, limit);
        output.resize(std::min<std::size_t>(transfer.bytes, output.size()));
        return transfer.error;
    }

private:
    Opened opened_;
};

std::vector<std::uint32_t> disksBelow(Device const & volume) {
    std::vector<std::byte> record(sizeof(VOLUME_DISK_EXTENTS) + (mostExtents - 1) * sizeof(DISK_EXTENT));
    std::uint32_t const error = volume.ask(IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, {}, record);
    return error == ERROR_SUCCESS || error == ERROR_MORE_DATA ? parseDiskNumbers(record) : std::vector<std::uint32_t>();
}

std::u16string withoutLastBackslash(std::wstring_view path) {
    return fromWide(path.ends_with(L'\\') ? path.substr(0, path.size() - 1) : path);
}

std::wstring programFile() {
    std::wstring path(32768, L'\0'); // longer ones do not exist
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

bool contains(std::vector<std::uint32_t> const & disks, std::uint32_t number) {
    return std::ranges::find(disks, number) != disks.end();
}

class FoundVolumes {
public:
    explicit FoundVolumes(wchar_t * name, DWORD size) : search_(FindFirstVolumeW(name, size)) {}
    FoundVolumes(FoundVolumes const &) = delete;
    FoundVolumes & operator=(FoundVolumes const &) = delete;
    ~FoundVolumes() {
        if (any()) {
            FindVolumeClose(search_);
        }
    }
    bool any() const { return search_ != INVALID_HANDLE_VALUE; }
    bool next(wchar_t * name, DWORD size) const { return FindNextVolumeW(search_, name, size) != FALSE; }

private:
    HANDLE search_;
};

} // namespace

VolumePaths volumePaths() {
    std::array<wchar_t, MAX_PATH> name{};
    constexpr auto size = static_cast<DWORD>(name.size());
    FoundVolumes const found(name.data(), size);
    VolumePaths volumes;
    for (bool more = found.any(); more; more = found.next(name.data(), size)) {
        volumes.paths.push_back(withoutLastBackslash(name.data()));
    }
    volumes.complete = GetLastError() == ERROR_NO_MORE_FILES;
    return volumes;
}

std::u16string diskPath(std::uint32_t number) {
    return u"\\\\.\\PhysicalDrive" + toUtf16(std::to_string(number));
}

DiskQueries::DiskQueries(std::shared_ptr<ControlThreads> const & threads) : threads_(threads) {
    systemDisks_ = disksBelow(Device(fromWide(volumeOf(windowsFolder())), 0, threads));
    applicationDisks_ = disksBelow(Device(fromWide(volumeOf(programFile())), 0, threads));
    for (std::u16string const & path : volumePaths().paths) {
        Device const volume(path, 0, threads);
        std::vector<std::byte> nothing;
        if (volume.ask(IOCTL_DISK_IS_WRITABLE, {}, nothing) == ERROR_WRITE_PROTECT) {
            std::ranges::copy(disksBelow(volume), std::back_inserter(disksWithReadOnlyVolume_));
        }
    }
}

DiskFacts DiskQueries::factsOf(std::u16string_view path) const {
    DiskFacts facts;
    facts.number = unknownDisk;
    Device const disk(path, 0, threads_);
    std::vector<std::byte> number(sizeof(STORAGE_DEVICE_NUMBER));
    if (disk.ask(IOCTL_STORAGE_GET_DEVICE_NUMBER, {}, number) == ERROR_SUCCESS &&
        number.size() == sizeof(STORAGE_DEVICE_NUMBER)) {
        std::memcpy(&facts.number, number.data() + offsetof(STORAGE_DEVICE_NUMBER, DeviceNumber), sizeof facts.number);
        facts.isSystemDrive = contains(systemDisks_, facts.number);
        facts.isApplicationDrive = contains(applicationDisks_, facts.number);
        facts.hasReadOnlyVolume = contains(disksWithReadOnlyVolume_, facts.number);
    }

    STORAGE_PROPERTY_QUERY query{};
    query.PropertyId = StorageDeviceProperty;
    query.QueryType = PropertyStandardQuery;
    std::vector<std::byte> descriptor(storageDescriptorRoom);
    if (disk.ask(IOCTL_STORAGE_QUERY_PROPERTY, std::as_bytes(std::span(&query, 1)), descriptor) == ERROR_SUCCESS) {
        if (auto storage = parseStorageDescriptor(descriptor)) {
            facts.serialNumber = std::move(storage->serialNumber);
            facts.product = std::move(storage->product);
            askSecurity(path, storage->bus, storage->isRemovable, facts);
        }
    }
    return facts;
}

void DiskQueries::askSecurity(std::u16string_view path, std::uint32_t bus, bool isRemovable, DiskFacts & facts) const {
    // Sticks and card readers are no ATA disks, and some of them hang on a command that they do not know.
    bool const behindBridge = bus == BusTypeUsb && !isRemovable;
    if (!behindBridge && bus != BusTypeAta && bus != BusTypeSata) {
        return;
    }
    AtaPath const way = behindBridge ? AtaPath::Bridge : AtaPath::Direct;
    std::vector<std::byte> const request = identifyRequest(way);
    std::vector<std::byte> answer(request.size());
    Device const disk(path, GENERIC_READ | GENERIC_WRITE, threads_);
    DWORD const code = behindBridge ? IOCTL_SCSI_PASS_THROUGH : IOCTL_ATA_PASS_THROUGH;
    if (disk.ask(code, request, answer, identifyLimit) != ERROR_SUCCESS) {
        return;
    }
    auto const identity = identityOf(way, answer);
    auto const security = identity ? parseSecurity(*identity) : std::nullopt;
    if (security) {
        facts.reportsAtaSecurity = true;
        facts.securityPasswordSupported = security->supported;
        facts.securityPasswordSet = security->passwordSet;
        facts.ataSecurityLocked = security->locked;
    }
}

} // namespace machine::windows
