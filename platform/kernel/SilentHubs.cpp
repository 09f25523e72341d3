#include "SilentHubs.h"

#include <algorithm>

namespace kernel {

SilentHubs & SilentHubs::instance() {
    static SilentHubs hubs;
    return hubs;
}

bool SilentHubs::contains(std::u16string const & key) const {
    if (!any_) {
        return false;
    }
    std::lock_guard const guard(lock_);
    return keys_.contains(key);
}

void SilentHubs::add(std::u16string const & key) {
    std::lock_guard const guard(lock_);
    keys_.insert(key);
    any_ = true;
}

std::vector<std::u16string> SilentHubs::names() const {
    std::lock_guard const guard(lock_);
    std::vector<std::u16string> sorted(keys_.begin(), keys_.end());
    std::ranges::sort(sorted);
    return sorted;
}

void SilentHubs::clear() {
    std::lock_guard const guard(lock_);
    keys_.clear();
    any_ = false;
}

} // namespace kernel
