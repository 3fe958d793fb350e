// The tree's nodes themselves, for the calls of setupapi.h. All of it under the tree's lock.
#pragma once

#include <vector>

#include "platform/linux/devices/device_tree.h"

namespace korvex::platform {

struct DeviceNode {
    NodeOptions options;
    bool present = true;
    std::vector<std::u16string> upperFilters;
    ULONG status = 0;
    bool hardwareKeyLocked = false;
    DWORD installFlags = 0;
    int restarts = 0;
    int enumerations = 0;
};

// Holds the tree's lock while it lives; may be nested.
struct TreeLock {
    TreeLock();
    ~TreeLock();
    TreeLock(const TreeLock&) = delete;
    TreeLock& operator=(const TreeLock&) = delete;
};

// Null when the node is not present.
DeviceNode* NodeOf(DEVINST node);
std::vector<DEVINST> PresentNodes();
// False when the state folder cannot keep them; they count until the end of the process all the same.
bool StoreUpperFilters(DEVINST node, std::vector<std::u16string> filters);

// Has the driver of the node's first upper filter look at the port. Called without the lock.
void StartFilter(DEVINST node);

} // namespace korvex::platform
