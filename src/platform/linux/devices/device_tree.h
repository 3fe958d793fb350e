// The machine's device tree, as the calls of setupapi.h and config_manager.h see it. Nodes live
// from their making to the process's end, so that a DEVINST never names another device; a removed
// one is no longer present. Every routine may be called from any thread.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/devices/setup_types.h"

namespace korvex::platform {

// A device that a driver serves: CreateFileW opens its interface's path if `canOpen` returns true,
// and DeviceIoControl calls `control`, whose output is resized to the caller's capacity. Both may
// be called from any thread.
struct DeviceServer {
    std::function<bool()> canOpen;
    std::function<bool(DWORD code, const std::vector<BYTE>& input, std::vector<BYTE>* output)>
        control;
};

struct InterfaceOptions {
    GUID classId;
    std::u16string path;                  // what CreateFileW opens
    std::string nativePath;               // of a serial port: the tty
    std::shared_ptr<DeviceServer> server; // of any other device
};

struct NodeOptions {
    std::u16string instanceId;
    DEVINST parent = 0; // 0: the root
    std::vector<std::u16string> hardwareIds = {};
    std::vector<InterfaceOptions> interfaces = {};
};

// Faults and counts for tests (NodeOf).
struct NodeTestHooks {
    bool filtersLocked = false;     // its upper filters cannot be set
    bool hardwareKeyLocked = false; // it cannot be opened
    int restarts = 0;
    int enumerations = 0;
};

// A node of the tree. Under the tree's lock.
struct DeviceNode {
    NodeOptions options;
    bool present = true;
    std::vector<std::u16string> upperFilters;
    ULONG status = 0; // DN_ flags
    DWORD installFlags = 0;
    NodeTestHooks hooks;
};

// Holds the tree's lock while it lives; may be nested.
struct TreeLock {
    TreeLock();
    ~TreeLock();
    TreeLock(const TreeLock&) = delete;
    TreeLock& operator=(const TreeLock&) = delete;
};

// The node's record, with the tree locked; null when it is not present.
DeviceNode* NodeOf(DEVINST node);

// In the order in which they were made, with the tree locked.
std::vector<DEVINST> PresentNodes();

DEVINST AddNode(const NodeOptions& options);

// The present node with this instance ID, without regard to case; 0 when there is none.
DEVINST FindNode(std::u16string_view instanceId);

// The state of a node.
std::u16string InstanceIdOf(DEVINST node);
std::vector<DEVINST> ChildrenOf(DEVINST node);
ULONG StatusOf(DEVINST node);
void SetStatus(DEVINST node, ULONG status);
DWORD InstallFlagsOf(DEVINST node);     // DI_ flags that an installer has set
std::string NativePathOf(DEVINST node); // of a serial port: its tty; else empty

// The registry path of a node's hardware key.
std::u16string HardwareKeyPath(std::u16string_view instanceId);

// The interface that a path names; null when none does.
const InterfaceOptions* FindInterface(std::u16string_view path);

// Forgets every node.
void ClearNodes();

} // namespace korvex::platform
