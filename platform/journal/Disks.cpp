#include "Disks.h"

#include "kernel.h"
#include "kernel/RecordQuery.h"
#include "kernel/Runtime.h"
#include "machine/Machine.h"
#include "machine/StorageDescriptor.h"
#include "machine/Text.h"

#include <array>
#include <optional>
#include <span>
#include <utility>

namespace journal {

namespace {

std::string trimmed(std::u16string const & text) {
    constexpr char16_t const * blanks = u" \t";
    std::size_t const first = text.find_first_not_of(blanks);
    if (first == std::u16string::npos) {
        return {};
    }
    return clipped(machine::toUtf8(text.substr(first, text.find_last_not_of(blanks) - first + 1)));
}

// What a disk can tell of a text: other characters get lost on the way, and so do blanks.
std::string comparable(std::u16string const & text) {
    std::string told;
    for (char16_t const unit : text) {
        if (unit > u' ' && unit < u'\x7F') {
            told += static_cast<char>(unit);
        }
    }
    return clipped(std::move(told));
}

bool areSame(std::u16string const & one, std::u16string const & other) {
    return comparable(one) == comparable(other);
}

// Empty when the disk says nothing of itself; the kernel's last error then tells why.
std::optional<machine::StorageFacts> askFacts(kernel::HANDLE disk) {
    kernel::STORAGE_PROPERTY_QUERY query{};
    query.PropertyId = kernel::StorageDeviceProperty;
    query.QueryType = kernel::PropertyStandardQuery;
    std::array<std::byte, machine::storageDescriptorRoom> record{};
    std::uint32_t size = 0;
    if (!kernel::DeviceIoControl(disk, kernel::IOCTL_STORAGE_QUERY_PROPERTY, &query, sizeof query, record.data(),
                                 record.size(), &size, nullptr)) {
        return std::nullopt;
    }
    auto facts = machine::parseStorageDescriptor(std::span(record).first(size));
    if (!facts) {
        kernel::SetLastError(kernel::ERROR_GEN_FAILURE);
    }
    return facts;
}

} // namespace

KnownDisk findDisk(std::u16string_view path) {
    std::u16string const key = kernel::fileKey(path);
    machine::DeviceTree const & tree = machine::current().devices();
    for (machine::NodeId const id : tree.ofClass(machine::NodeClass::Disk)) {
        if (kernel::fileKey(tree[id].interfacePath) == key) {
            return {&tree[id], tree.disk(id)};
        }
    }
    return {};
}

DiskIdentity identityOf(KnownDisk const & disk) {
    DiskIdentity identity;
    if (disk.facts != nullptr) {
        identity.serialNumber = trimmed(disk.facts->serialNumber);
        identity.model = trimmed(disk.node->friendlyName.empty() ? disk.node->description : disk.node->friendlyName);
    }
    return identity;
}

std::uint32_t checkIsStill(KnownDisk const & disk, kernel::HANDLE open) {
    if (disk.facts == nullptr || (disk.facts->serialNumber.empty() && disk.facts->product.empty())) {
        return kernel::ERROR_SUCCESS; // it said nothing of itself, so there is nothing to compare with
    }
    auto const found = askFacts(open);
    if (!found) {
        std::uint32_t const error = kernel::GetLastError();
        bool const knowsNoQuestion = error == kernel::ERROR_INVALID_FUNCTION || error == kernel::ERROR_NOT_SUPPORTED;
        return knowsNoQuestion ? kernel::ERROR_SUCCESS : error;
    }
    bool const isSame =
        areSame(found->serialNumber, disk.facts->serialNumber) && areSame(found->product, disk.facts->product);
    return isSame ? kernel::ERROR_SUCCESS : kernel::ERROR_MEDIA_CHANGED;
}

std::uint32_t checkHasStillSize(DiskIdentity const & known, kernel::HANDLE open) {
    if (known.size == 0) {
        return kernel::ERROR_SUCCESS;
    }
    std::uint32_t const sectorSize = kernel::askSectorSize(open);
    std::uint64_t const count = sectorSize != 0 ? kernel::askSectorCount(open, sectorSize) : 0;
    if (count == 0) {
        return kernel::GetLastError();
    }
    bool const isSame = sectorSize == known.sectorSize && count * sectorSize == known.size;
    return isSame ? kernel::ERROR_SUCCESS : kernel::ERROR_MEDIA_CHANGED;
}

} // namespace journal
