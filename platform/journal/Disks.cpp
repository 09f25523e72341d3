#include "Disks.h"

#include "kernel/Runtime.h"
#include "machine/Machine.h"
#include "machine/Text.h"

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

} // namespace journal
