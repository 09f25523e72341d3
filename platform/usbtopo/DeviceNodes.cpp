#include "DeviceNodes.h"

#include <string>

namespace usbtopo {

namespace {

// Products report their names with blanks on either side.
std::u16string_view trimmed(std::u16string_view text) {
    constexpr std::u16string_view blanks = u" \t";
    std::size_t const first = text.find_first_not_of(blanks);
    if (first == std::u16string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) + 1 - first);
}

} // namespace

nuv::String displayName(machine::DeviceNode const & node) {
    std::u16string_view const product = trimmed(node.busReportedDescription);
    if (!product.empty()) {
        return nuv::String(product);
    }
    return nuv::String(std::u16string_view(node.friendlyName.empty() ? node.description : node.friendlyName));
}

machine::NodeId DeviceNodes::find(std::u16string_view driverKey) const {
    return driverKey.empty() ? machine::noNode : tree_.findByDriverKey(driverKey);
}

// For all nodes at once: the subtrees of hubs hold those of the devices behind them, so that walking each would cost
// the square of the bus, and a hub that names a wrong driver key could make it walk the whole tree for every port.
bool DeviceNodes::hasProblem(machine::NodeId node) {
    if (hasProblem_.empty()) {
        hasProblem_.resize(tree_.size() + 1);
        for (auto id = static_cast<machine::NodeId>(tree_.size()); id != machine::noNode; --id) { // children first
            if (hasProblem_[id] || tree_[id].problem != 0) {
                hasProblem_[id] = true;
                hasProblem_[tree_[id].parent] = true;
            }
        }
    }
    return node != machine::noNode && hasProblem_[node];
}

} // namespace usbtopo
