// Serial communications on a tty or pseudo-terminal. A port is opened with CreateFileW
// (create_file.h), exclusively (share mode 0): a second open fails with ERROR_SHARING_VIOLATION. It
// is read and written with ReadFile and WriteFile under the time-outs set here. A handle has one
// user at a time; only SetCommMask and CancelSynchronousIo (threads.h) may be called beside a
// pending wait. Once the far end is gone, reads, writes and waits fail at once with
// ERROR_DEVICE_NOT_CONNECTED. Each of these calls checks whether the port has come back: then it
// goes on, with the settings, mask and time-outs that were set.
#pragma once

#include "platform/linux/core/types.h"
#include "platform/linux/serial/serial_types.h"

BOOL GetCommState(HANDLE handle, DCB* dcb);

// Sets baud rate (a standard rate), byte size (5 to 8), parity, stop bits and the RTS line; flow
// control is off whatever the DCB says.
// A line without modem lines (a pseudo-terminal) takes any RTS setting.
BOOL SetCommState(HANDLE handle, const DCB* dcb);

// The queues are the kernel's and this handle's, together never below 4096 bytes of input; the
// sizes asked for are not needed.
BOOL SetupComm(HANDLE handle, DWORD inputQueue, DWORD outputQueue);
BOOL GetCommTimeouts(HANDLE handle, COMMTIMEOUTS* timeouts);
BOOL SetCommTimeouts(HANDLE handle, COMMTIMEOUTS* timeouts);

// Of the events only EV_RXCHAR is supported. Ends a pending WaitCommEvent, which then succeeds with
// event 0.
BOOL SetCommMask(HANDLE handle, DWORD mask);

// Waits, without limit, until input has arrived; returns at once while input is queued. Fails once
// after each loss of the line, even if it is back, and at once if no event has been asked for.
BOOL WaitCommEvent(HANDLE handle, DWORD* event, OVERLAPPED* overlapped);
BOOL PurgeComm(HANDLE handle, DWORD flags);
