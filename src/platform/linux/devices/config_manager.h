// The configuration manager: where a device node is in the tree, and its status.
#pragma once

#include "platform/linux/devices/setup_types.h"

CONFIGRET CM_Get_Child(DEVINST* child, DEVINST node, ULONG flags);
CONFIGRET CM_Get_Sibling(DEVINST* sibling, DEVINST node, ULONG flags);
// UTF-16 units without terminator
CONFIGRET CM_Get_Device_ID_Size(ULONG* length, DEVINST node, ULONG flags);
CONFIGRET CM_Get_Device_IDW(DEVINST node, LPWSTR buffer, ULONG capacity, ULONG flags);
CONFIGRET CM_Get_DevNode_Status(ULONG* status, ULONG* problem, DEVINST node, ULONG flags);

// With CM_REENUMERATE_SYNCHRONOUS only: CR_INVALID_FLAG otherwise.
CONFIGRET CM_Reenumerate_DevNode(DEVINST node, ULONG flags);
