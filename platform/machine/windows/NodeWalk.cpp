#include "NodeWalk.h"

#include "Wide.h"

#include <windows.h>

#include <cfgmgr32.h>

#include <array>
#include <unordered_set>

namespace machine::windows {

namespace {

constexpr std::size_t mostNodes = 100'000; // a tree that is still larger leads in circles

// Outputs start as 0, which is no node: some systems report success without an answer.
DEVINST childOf(DEVINST node) {
    DEVINST child = 0;
    return CM_Get_Child(&child, node, 0) == CR_SUCCESS ? child : 0;
}

DEVINST siblingOf(DEVINST node) {
    DEVINST sibling = 0;
    return CM_Get_Sibling(&sibling, node, 0) == CR_SUCCESS ? sibling : 0;
}

std::u16string idOf(DEVINST node) {
    std::array<wchar_t, MAX_DEVICE_ID_LEN + 1> id{};
    if (CM_Get_Device_IDW(node, id.data(), static_cast<ULONG>(id.size() - 1), 0) != CR_SUCCESS) {
        return {};
    }
    return fromWide(id.data());
}

// Null locates the root.
bool locate(wchar_t * id, DEVINST & node) {
    node = 0;
    return CM_Locate_DevNodeW(&node, id, CM_LOCATE_DEVNODE_NORMAL) == CR_SUCCESS && node != 0;
}

} // namespace

std::vector<WalkedNode> walkNodes() {
    struct Ahead {
        DEVINST node;
        std::size_t parent;
    };
    DEVINST root = 0;
    if (!locate(nullptr, root)) {
        return {};
    }
    std::vector<WalkedNode> walked;
    std::unordered_set<DEVINST> seen{0, root};
    std::vector<Ahead> ahead{{childOf(root), 0}}; // the next one last
    while (!ahead.empty() && walked.size() < mostNodes) {
        auto const [node, parent] = ahead.back();
        ahead.pop_back();
        if (!seen.insert(node).second) {
            continue;
        }
        walked.push_back({node, parent, idOf(node)});
        ahead.push_back({siblingOf(node), parent});
        ahead.push_back({childOf(node), walked.size()});
    }
    return walked;
}

bool isNodePresent(std::u16string const & instanceId) {
    std::wstring id = toWide(instanceId);
    DEVINST node = 0;
    return locate(id.data(), node) || !locate(nullptr, node);
}

NodeStatus statusOf(std::uint32_t devInst) {
    ULONG status = 0;
    ULONG problem = 0;
    if (CM_Get_DevNode_Status(&status, &problem, devInst, 0) != CR_SUCCESS) {
        return {};
    }
    return {(status & DN_HAS_PROBLEM) != 0 ? static_cast<std::uint32_t>(problem) : 0, (status & DN_NO_SHOW_IN_DM) != 0};
}

} // namespace machine::windows
