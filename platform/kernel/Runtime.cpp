#include "Runtime.h"

#include "HandleTable.h"
#include "SilentHubs.h"

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

} // namespace kernel
