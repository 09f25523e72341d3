#include "TopologyReader.h"
#include "usbtopo.h"

namespace usbtopo {

CUsbHub::CUsbHub(nuv::String const * name, char const *) {
    if (name != nullptr) {
        TopologyReader().readHub(*this, *name);
    }
}

bool CUsbSystem::EnumerateHostControllers() {
    controllers_ = Controllers();
    if (machine::current().devices().size() == 0) {
        return false; // not even a root
    }
    controllers_ = TopologyReader().readControllers();
    return true;
}

} // namespace usbtopo
