#include "TreeWalk.h"

namespace libHostOS {

machine::NodeId nextInPreOrder(machine::DeviceTree const & tree, machine::NodeId node) {
    if (tree[node].firstChild != machine::noNode) {
        return tree[node].firstChild;
    }
    while (node != machine::noNode && tree[node].nextSibling == machine::noNode) {
        node = tree[node].parent;
    }
    return tree[node].nextSibling;
}

machine::NodeId known(machine::DeviceTree const & tree, machine::NodeId node) {
    return node <= tree.size() ? node : machine::noNode;
}

} // namespace libHostOS
