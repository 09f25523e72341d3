#include "host/LivePc.h"

#include "machine/windows/WindowsMachine.h"
#include "terminal/windows/SessionEnd.h"

namespace host {

std::unique_ptr<machine::Machine> openLivePc() {
    return machine::makeWindowsMachine(terminal::watchSessionEnd);
}

} // namespace host
