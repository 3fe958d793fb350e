// Binding of serial controllers to the serial enumerator filter: installation of its service, the
// port's upper filter, and the parameters that the filter finds in the registry. On the detection
// worker's thread. What fails is not reported to the caller, which goes on without the binding.
#pragma once

#include "discovery/device_nodes.h"
#include "link/touch_controller.h"
#include "platform/win32.h"

namespace korvex {

// Installs the filter if it is missing, makes it the port's only upper filter, stores the
// parameters, restarts the port and waits for the child node that the filter presents: up to 1 s
// after an installation and up to 1.5 s for the child; a stop of the host ends the waits. Sets the
// record's rebootRequired and, once the child has come, its deviceId.
void BindEnumerator(TouchController* controller, HDEVINFO devices, SP_DEVINFO_DATA* element);

// True when the service's binary is in place, after installing it from "<service>.inf" in the
// current directory where it was not. `stopEvent` (null: none) ends the wait after an installation.
bool InstallEnumerator(const WCHAR* service, HANDLE stopEvent);

// True when the file exists that the service's configuration names, relative to the Windows
// directory.
bool IsServiceBinaryPresent(const WCHAR* service);

// Stores the filter's parameters for a port: AlwaysExist always; with AlwaysExist 1 also the
// record's model and baud rate, where it has them. `controller` may be null.
void WriteEnumeratorParameters(
    const TouchController* controller, const PortName* port, uint32_t alwaysExist);

} // namespace korvex
