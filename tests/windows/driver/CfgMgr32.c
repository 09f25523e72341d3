/* A cfgmgr32.dll whose device nodes are the lines of a file, which NUVRUSB_TEST_NODES names: for each, in the order of
   the tree, the number of its parent's line, its status, its problem code and its instance ID. The first line is the
   root. It is read again whenever a node is located, so that nodes can come and go. */
#define _CFGMGR32_ /* the functions are here and not imported */
#include <windows.h>

#include <cfgmgr32.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { mostNodes = 4096 };

struct Node {
    DEVINST parent;
    ULONG status;
    ULONG problem;
    WCHAR id[MAX_DEVICE_ID_LEN];
};

/* The node n is at n - 1. The lines of nodes that are gone have no ID, so that the others keep their numbers. */
static struct Node nodes[mostNodes];
static DEVINST count;
static SRWLOCK lock = SRWLOCK_INIT;

static int readNode(char * line, struct Node * node) {
    int idAt = 0;
    memset(node, 0, sizeof *node);
    if (sscanf(line, "%lu %lu %lu %n", &node->parent, &node->status, &node->problem, &idAt) != 3) {
        return 0;
    }
    line[strcspn(line, "\r\n")] = '\0';
    return MultiByteToWideChar(CP_UTF8, 0, line + idAt, -1, node->id, MAX_DEVICE_ID_LEN) != 0;
}

static void readNodes(void) {
    WCHAR name[MAX_PATH];
    count = 0;
    if (GetEnvironmentVariableW(L"NUVRUSB_TEST_NODES", name, MAX_PATH) == 0) {
        return;
    }
    FILE * file = _wfopen(name, L"rb");
    if (file == NULL) {
        return;
    }
    char line[1024];
    while (count < mostNodes && fgets(line, sizeof line, file) != NULL && readNode(line, &nodes[count])) {
        ++count;
    }
    fclose(file);
}

static struct Node * nodeOf(DEVINST number) {
    return number >= 1 && number <= count && nodes[number - 1].id[0] != L'\0' ? &nodes[number - 1] : NULL;
}

/* The first child of a parent behind a node; 0 when there is none. */
static DEVINST childBehind(DEVINST parent, DEVINST node) {
    for (DEVINST number = node + 1; number <= count; ++number) {
        if (nodeOf(number) != NULL && nodes[number - 1].parent == parent) {
            return number;
        }
    }
    return 0;
}

static CONFIGRET given(DEVINST * target, DEVINST node) {
    if (node == 0) {
        return CR_NO_SUCH_DEVNODE;
    }
    *target = node;
    return CR_SUCCESS;
}

CONFIGRET WINAPI CM_Locate_DevNodeW(DEVINST * node, DEVINSTID_W id, ULONG flags) {
    DEVINST found = 0;
    (void)flags;
    AcquireSRWLockExclusive(&lock);
    readNodes();
    for (DEVINST number = 1; number <= count && found == 0; ++number) {
        if (nodeOf(number) != NULL && (id == NULL || _wcsicmp(nodes[number - 1].id, id) == 0)) {
            found = number;
        }
    }
    ReleaseSRWLockExclusive(&lock);
    return given(node, found);
}

CONFIGRET WINAPI CM_Get_Child(DEVINST * child, DEVINST node, ULONG flags) {
    (void)flags;
    AcquireSRWLockExclusive(&lock);
    DEVINST const found = nodeOf(node) != NULL ? childBehind(node, node) : 0;
    ReleaseSRWLockExclusive(&lock);
    return given(child, found);
}

CONFIGRET WINAPI CM_Get_Sibling(DEVINST * sibling, DEVINST node, ULONG flags) {
    (void)flags;
    AcquireSRWLockExclusive(&lock);
    struct Node const * at = nodeOf(node);
    DEVINST const found = at != NULL && at->parent != 0 ? childBehind(at->parent, node) : 0;
    ReleaseSRWLockExclusive(&lock);
    return given(sibling, found);
}

CONFIGRET WINAPI CM_Get_Device_IDW(DEVINST node, PWSTR buffer, ULONG length, ULONG flags) {
    (void)flags;
    CONFIGRET result = CR_NO_SUCH_DEVNODE;
    AcquireSRWLockExclusive(&lock);
    struct Node const * at = nodeOf(node);
    if (at != NULL) {
        /* As on Windows: as much as fits, with a terminator where there is room for one. */
        SIZE_T const size = wcslen(at->id) + 1;
        result = wcslen(at->id) <= length ? CR_SUCCESS : CR_BUFFER_SMALL;
        memcpy(buffer, at->id, sizeof *buffer * (size < length ? size : length));
    }
    ReleaseSRWLockExclusive(&lock);
    return result;
}

CONFIGRET WINAPI CM_Get_DevNode_Status(ULONG * status, ULONG * problem, DEVINST node, ULONG flags) {
    (void)flags;
    CONFIGRET result = CR_NO_SUCH_DEVNODE;
    AcquireSRWLockExclusive(&lock);
    struct Node const * at = nodeOf(node);
    if (at != NULL) {
        *status = at->status;
        *problem = at->problem;
        result = CR_SUCCESS;
    }
    ReleaseSRWLockExclusive(&lock);
    return result;
}
