// Serial ports in the device tree. What Windows keeps across runs of a port (its upper filters and
// the child that its filter has presented) is kept in "devices.ini" in the machine's state folder,
// under the port's instance ID. Every routine may be called from any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/devices/setup_types.h"

namespace korvex::platform {

// Adds a serial port as a node with a COM-port interface, with its filters and the child that its
// filter presented in an earlier run; a port with a filter but without a child has a problem
// (DN_HAS_PROBLEM). `stablePath` names the adapter across runs (a path below /dev/serial/by-path
// where it has one). Its hardware key holds its name as "PortName", until the end of the process.
DEVINST AddSerialPort(
    std::u16string_view name, const std::string& nativePath, const std::string& stablePath);

// Sets a node's upper filters. False when the state folder cannot keep them; they still apply until
// the process ends.
bool StoreUpperFilters(DEVINST node, std::vector<std::u16string> filters);

// Makes a filter present a child below a port: the one with this instance ID, or none. False when
// the state folder cannot keep it; the child stays until the end of the process all the same.
bool PresentChild(DEVINST port, std::u16string_view instanceId);

// Takes a port's filters, its child and what the state folder keeps of it away. False when that
// cannot be written there.
bool ForgetPort(DEVINST port);

// Removes a node and all below it; a port's stored child goes too.
void RemoveNode(DEVINST node);

// The one driver that can be a port's first upper filter: `start` is called when its port is
// restarted or enumerated, without the tree's lock. The name must stay valid until the process
// ends.
void SetFilterDriver(std::u16string_view service, void (*start)(DEVINST port));

// Makes the driver of the node's first upper filter examine the port. Called without the tree's
// lock.
void StartFilter(DEVINST node);

// Forgets every node, filter driver and volatile value of the registry, for the next test. No
// handle or set of the old tree may be used after it.
void ClearDeviceTree();

} // namespace korvex::platform
