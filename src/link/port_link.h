// The transport between a controller and the runtime: packets over a serial port. A link has one
// user at a time: the detecting thread until the session starts, then the session's reader thread.
// Results are true for success; no routine closes the port. A link of another kind than LINK_SERIAL
// fails every transfer; one with an invalid handle transfers nothing and succeeds.
#pragma once

#include <cstdint>

#include "link/touch_controller.h"

namespace korvex {

// Puts the link around a port that is open for synchronous reading and writing, exclusively, and
// configures the port (SerialConfigure). False for a kind other than LINK_SERIAL or a handle that
// is invalid; the link stores both all the same.
bool LinkInit(PortLink* link, HANDLE handle, uint32_t kind, uint32_t portNumber);

// Writes one packet, bounded by byteTimeoutMs in all. False on a failed or a short write. A count
// of 0 succeeds.
bool LinkWrite(PortLink* link, const uint8_t* bytes, uint32_t count);

// Reads exactly `count` bytes into `buffer`, one byte per call of the system, so that no later byte
// is taken from the port. Gives up at the `count`-th empty wait of byteTimeoutMs, counted over the
// whole call, not consecutively: a controller may pause between bytes, but all pauses together may
// last only `count` times byteTimeoutMs. On false the bytes received so far are at the start
// of `buffer`, and the link's readFailed distinguishes a port that refused the read from a silent
// one. A count of 0 succeeds.
bool LinkRead(PortLink* link, uint8_t* buffer, uint32_t count);

// Waits until a byte has been received, without limit. False when the wait failed or was cancelled;
// true at once on a link without a port. Any return means no more than "go and read".
bool LinkWaitInput(PortLink* link);

// 8 data bits, no parity, one stop bit, RTS off, time-out 10 ms a byte; the baud rate stays. What
// the port refuses shows in the exchanges that follow.
bool SerialConfigure(PortLink* link);

// Sets the port's baud rate and records it in the link, even if the port refuses it.
void SerialSetBaud(PortLink* link, uint32_t baudRate);

// Discards pending input until the line is quiet for byteTimeoutMs, at most 5 times 64 bytes and
// what the port's queue holds then.
bool SerialDrain(PortLink* link);

} // namespace korvex
