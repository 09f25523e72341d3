#include "Runtime.h"

#include "HandleTable.h"
#include "SilentHubs.h"
#include "machine/Text.h"

namespace kernel {

void beginRun() {
    SilentHubs::instance().clear();
}

std::vector<std::u16string> silentHubs() {
    return SilentHubs::instance().names();
}

std::size_t openHandleCount() {
    return HandleTable::instance().size();
}

std::u16string fileKey(std::u16string_view path) {
    return machine::foldedCase(machine::withoutDevicePrefix(path));
}

std::u16string fileKey(HANDLE handle) {
    std::shared_ptr<OpenFile> const file = HandleTable::instance().findFile(handle);
    return file ? file->key : std::u16string();
}

} // namespace kernel
