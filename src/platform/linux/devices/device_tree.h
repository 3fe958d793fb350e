// The machine's device tree, as the calls of setupapi.h see it. Nodes live from their making to the process's end, so that a DEVINST never
// names another device; a removed one is no longer present. Every routine may be called from any thread.
//
// What Windows keeps across runs of a port (its upper filters and the child that its filter has presented) is kept in "devices.ini" in the
// machine's state folder, under the port's instance ID.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/devices/setupapi.h"

namespace korvex::platform {

// A device that a driver serves: its interface's path opens it where `canOpen` says so, and DeviceIoControl reaches `control`, whose output
// is sized to what the caller takes. Both may be called from any thread.
struct DeviceServer {
    std::function<bool()> canOpen;
    std::function<bool(DWORD code, const std::vector<BYTE>& input, std::vector<BYTE>* output)> control;
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
    std::vector<std::u16string> hardwareIds;
    std::vector<InterfaceOptions> interfaces;
    ULONG status = 0;           // DN_ flags
    bool filtersLocked = false; // its upper filters cannot be set
};

DEVINST AddNode(const NodeOptions& options);

// Removes a node and all below it; a port's stored child goes too.
void RemoveNode(DEVINST node);

// The present node with this instance ID, without regard to case; 0 when there is none.
DEVINST FindNode(std::u16string_view instanceId);

// What a node is and does now, for drivers and tests.
std::u16string InstanceIdOf(DEVINST node);
std::vector<std::u16string> UpperFiltersOf(DEVINST node);
std::vector<DEVINST> ChildrenOf(DEVINST node);
ULONG StatusOf(DEVINST node);
void SetStatus(DEVINST node, ULONG status);
void LockHardwareKey(DEVINST node); // it cannot be opened any more
DWORD InstallFlagsOf(DEVINST node); // DI_ flags that an installer has set
int RestartsOf(DEVINST node);
int EnumerationsOf(DEVINST node);
std::string NativePathOf(DEVINST node); // of a serial port: its tty; else empty

// The registry path of a node's hardware key.
std::u16string HardwareKeyPath(std::u16string_view instanceId);

// Adds a serial port as a node with a COM-port interface, and the child that its filter presented in an earlier run. `stablePath` names
// the adapter across runs (a path below /dev/serial/by-path where it has one). Its hardware key holds its name as "PortName".
DEVINST AddSerialPort(std::u16string_view name, const std::string& nativePath, const std::string& stablePath);

// Has a filter present a child below a port: the one with this instance ID, or none. False when the state folder cannot
// keep it; it counts until the end of the process all the same.
bool PresentChild(DEVINST port, std::u16string_view instanceId);

// Takes a port's filters, its child and what the state folder keeps of it away. False when that cannot be written there.
bool ForgetPort(DEVINST port);

// A driver that can be a port's first upper filter: `start` is called when such a port is restarted or enumerated.
void PlugFilterDriver(std::u16string_view service, std::function<void(DEVINST port)> start);

// The interface that a path names; null when none does.
const InterfaceOptions* FindInterface(std::u16string_view path);

// Opens a device by its interface, for CreateFileW.
HANDLE OpenDevice(const InterfaceOptions* deviceInterface);

// Forgets every node and filter driver, for the next test. No handle or set of the old tree may be used after it.
void ClearDeviceTree();

} // namespace korvex::platform
