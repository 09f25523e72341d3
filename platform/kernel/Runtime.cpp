#include "Runtime.h"

#include "HandleTable.h"
#include "SilentHubs.h"

namespace kernel {

void beginRun() {
    SilentHubs::instance().clear();
}

std::size_t openHandleCount() {
    return HandleTable::instance().size();
}

} // namespace kernel
