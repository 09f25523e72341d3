#include "Registry.h"

#include <algorithm>

namespace tkit5 {

namespace {

template <class T> T * findNamed(std::vector<std::unique_ptr<T>> const & objects, std::string_view name) {
    auto const found = std::ranges::find_if(objects, [name](auto const & object) { return object->name == name; });
    return found == objects.end() ? nullptr : found->get();
}

} // namespace

Registry & Registry::instance() {
    static Registry registry;
    return registry;
}

RegisteredTest * Registry::findTest(std::string_view name) const {
    return findNamed(tests, name);
}
RegisteredParameter * Registry::findParameter(std::string_view name) const {
    return findNamed(parameters, name);
}

} // namespace tkit5
