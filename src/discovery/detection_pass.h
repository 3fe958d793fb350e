// Finding the controllers on the machine: one walk over the COM ports.
#pragma once

#include <cstdint>

#include "discovery/host_context.h"
#include "platform/win32.h"

namespace korvex {

// The kinds of a pass.
// restarts the ports with a known controller and enumerates the others again; opens none
inline constexpr uint32_t PASS_REFRESH = 0;
inline constexpr uint32_t PASS_DETECT = 2; // finds, identifies and starts the controllers

// The interface class of the ports.
inline constexpr GUID COM_PORT_CLASS
    = {0x86E0D1E0, 0x8089, 0x11D0, {0x9C, 0xE4, 0x08, 0x00, 0x3E, 0x30, 0x1F, 0x73}};

// Walks every present COM-port interface once, in order. A detecting pass appends a record per
// controller to the host's list, starts a session for each serial one, and at its end posts the
// host's notify message with 1 when a session was started, else 0. Progress goes to the host's
// status text. A stopped pass ends early and posts nothing. On the detection worker's thread.
void DetectControllers(HostContext* context, uint32_t mode);

// The number in the port's name, read from its fourth character on; 0 when it has none or the name
// cannot be read.
uint32_t ReadPortNumber(HDEVINFO devices, SP_DEVINFO_DATA* element);

} // namespace korvex
