#include "LivePc.h"

namespace host {

std::unique_ptr<machine::Machine> openLivePc() {
    return nullptr;
}

} // namespace host
