#include "platform/linux/devices/config_manager.h"

#include <algorithm>
#include <string>
#include <vector>

#include "platform/linux/devices/device_tree.h"
#include "platform/linux/devices/port_nodes.h"

using korvex::platform::ChildrenOf;
using korvex::platform::DeviceNode;
using korvex::platform::NodeOf;
using korvex::platform::TreeLock;

CONFIGRET CM_Get_Child(DEVINST* child, DEVINST node, ULONG /*flags*/)
{
    const TreeLock lock;
    const std::vector<DEVINST> children = ChildrenOf(node);
    if (NodeOf(node) == nullptr || children.empty())
        return CR_NO_SUCH_DEVNODE;
    *child = children.front();
    return CR_SUCCESS;
}

CONFIGRET CM_Get_Sibling(DEVINST* sibling, DEVINST node, ULONG /*flags*/)
{
    const TreeLock lock;
    const DeviceNode* found = NodeOf(node);
    if (found == nullptr)
        return CR_INVALID_DEVNODE;
    const std::vector<DEVINST> children = ChildrenOf(found->options.parent);
    const auto next = std::upper_bound(children.begin(), children.end(), node);
    if (next == children.end())
        return CR_NO_SUCH_DEVNODE;
    *sibling = *next;
    return CR_SUCCESS;
}

CONFIGRET CM_Get_Device_ID_Size(ULONG* length, DEVINST node, ULONG /*flags*/)
{
    const std::u16string identifier = korvex::platform::InstanceIdOf(node);
    *length = static_cast<ULONG>(identifier.size());
    return identifier.empty() ? CR_INVALID_DEVNODE : CR_SUCCESS;
}

CONFIGRET CM_Get_Device_IDW(DEVINST node, LPWSTR buffer, ULONG capacity, ULONG /*flags*/)
{
    const std::u16string identifier = korvex::platform::InstanceIdOf(node);
    if (identifier.empty())
        return CR_INVALID_DEVNODE;
    if (identifier.size() >= capacity)
        return CR_BUFFER_SMALL;
    std::copy_n(identifier.c_str(), identifier.size() + 1, buffer);
    return CR_SUCCESS;
}

CONFIGRET CM_Get_DevNode_Status(ULONG* status, ULONG* problem, DEVINST node, ULONG /*flags*/)
{
    const TreeLock lock;
    const DeviceNode* found = NodeOf(node);
    if (found == nullptr)
        return CR_INVALID_DEVNODE;
    *status = found->status;
    *problem = 0;
    return CR_SUCCESS;
}

CONFIGRET CM_Reenumerate_DevNode(DEVINST node, ULONG flags)
{
    if (flags != CM_REENUMERATE_SYNCHRONOUS)
        return CR_INVALID_FLAG;
    {
        const TreeLock lock;
        DeviceNode* found = NodeOf(node);
        if (found == nullptr)
            return CR_INVALID_DEVNODE;
        ++found->hooks.enumerations;
    }
    korvex::platform::StartFilter(node);
    return CR_SUCCESS;
}
