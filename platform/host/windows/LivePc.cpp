#include "host/LivePc.h"

#include "machine/windows/WindowsMachine.h"

namespace host {

std::unique_ptr<machine::Machine> openLivePc() {
    return machine::makeWindowsMachine();
}

} // namespace host
