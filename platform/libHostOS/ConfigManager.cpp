#include "KnownNode.h"
#include "libHostOS.h"
#include "machine/Machine.h"

#include <string>

namespace libHostOS {

namespace {

machine::DeviceNode const & nodeOf(ConfigManager::Node node) {
    machine::DeviceTree const & tree = machine::current().devices();
    return tree[known(tree, node)];
}

bool fill(nuv::String & text, std::u16string const & value) {
    if (value.empty()) {
        return false;
    }
    text = nuv::String(std::u16string_view(value));
    return true;
}

} // namespace

ConfigManager::Node ConfigManager::getRootNode() {
    return machine::current().devices().root();
}

ConfigManager::Node ConfigManager::getChildNode(Node node) {
    return nodeOf(node).firstChild;
}

ConfigManager::Node ConfigManager::getSiblingNode(Node node) {
    return nodeOf(node).nextSibling;
}

ConfigManager::Node ConfigManager::getParentNode(Node node) {
    return nodeOf(node).parent;
}

bool ConfigManager::getDriverKey(Node node, nuv::String & driverKey) {
    return fill(driverKey, nodeOf(node).driverKey);
}

bool ConfigManager::getDescription(Node node, nuv::String & description) {
    return fill(description, nodeOf(node).description);
}

bool ConfigManager::isDisabled(Node node) {
    return nodeOf(node).problem == machine::problemDisabled;
}

bool ConfigManager::hasDriverProblem(Node node, std::uint32_t * problem) {
    std::uint32_t const code = nodeOf(node).problem;
    if (code == 0) {
        return false;
    }
    if (problem != nullptr) {
        *problem = code;
    }
    return true;
}

} // namespace libHostOS
