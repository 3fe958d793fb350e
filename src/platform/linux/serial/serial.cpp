#include "platform/linux/serial/serial.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <termios.h>

#include <mutex>
#include <optional>
#include <utility>

#include "platform/linux/core/blocking_io.h"
#include "platform/linux/machine.h"
#include "platform/linux/serial/line_settings.h"
#include "platform/linux/serial/serial_port.h"

using korvex::platform::Fail;
using korvex::platform::FailWithErrno;
using korvex::platform::IoWait;
using korvex::platform::ObjectAs;
using korvex::platform::SerialPort;

BOOL GetCommState(HANDLE handle, DCB* dcb)
{
    const auto* port = ObjectAs<SerialPort>(handle);
    if (port == nullptr)
        return FALSE;
    *dcb = port->dcb;
    return TRUE;
}

BOOL SetCommState(HANDLE handle, const DCB* dcb)
{
    auto* port = ObjectAs<SerialPort>(handle);
    if (port == nullptr)
        return FALSE;
    if (!korvex::platform::EnsureConnected(port)
        || !korvex::platform::ApplySettings(port->descriptor, dcb))
        return FALSE;
    port->dcb = *dcb;
    return TRUE;
}

BOOL SetupComm(HANDLE handle, DWORD /*inputQueue*/, DWORD /*outputQueue*/)
{
    return ObjectAs<SerialPort>(handle) != nullptr ? TRUE : FALSE;
}

BOOL GetCommTimeouts(HANDLE handle, COMMTIMEOUTS* timeouts)
{
    const auto* port = ObjectAs<SerialPort>(handle);
    if (port == nullptr)
        return FALSE;
    *timeouts = port->timeouts;
    return TRUE;
}

BOOL SetCommTimeouts(HANDLE handle, COMMTIMEOUTS* timeouts)
{
    auto* port = ObjectAs<SerialPort>(handle);
    if (port == nullptr)
        return FALSE;
    port->timeouts = *timeouts;
    return TRUE;
}

BOOL SetCommMask(HANDLE handle, DWORD mask)
{
    auto* port = ObjectAs<SerialPort>(handle);
    if (port == nullptr)
        return FALSE;
    const std::lock_guard guard(port->mutex);
    port->eventMask = mask;
    if (port->waiting) {
        port->woken = true;
        eventfd_write(port->wakeDescriptor, 1);
    }
    return TRUE;
}

BOOL WaitCommEvent(HANDLE handle, DWORD* event, OVERLAPPED* /*overlapped*/)
{
    auto* port = ObjectAs<SerialPort>(handle);
    if (port == nullptr)
        return FALSE;
    *event = 0;
    korvex::platform::SetLineOfThread(port->line);
    if (const auto& told = korvex::platform::ThisMachine()->pointer.lineWaits;
        !std::exchange(port->waitedOn, true) && told)
        told(port->line.get());
    // Also where the line is back already: what was going on over it has ended.
    if (std::exchange(port->hangupPending, false))
        return Fail(ERROR_DEVICE_NOT_CONNECTED);
    if (!korvex::platform::EnsureConnected(port))
        return FALSE;
    bool forInput = false;
    {
        const std::lock_guard guard(port->mutex);
        if (port->eventMask == 0)
            return Fail(ERROR_INVALID_PARAMETER);
        forInput = (port->eventMask & EV_RXCHAR) != 0;
        port->waiting = true;
    }
    IoWait wait = IoWait::READY;
    if (!forInput || korvex::platform::IsQueueEmpty(port))
        wait = korvex::platform::WaitForIo(
            port->descriptor, forInput ? POLLIN : 0, port->wakeDescriptor, std::nullopt);
    {
        const std::lock_guard guard(port->mutex);
        port->waiting = false;
        eventfd_t count = 0;
        if (port->woken)
            eventfd_read(port->wakeDescriptor, &count);
        port->woken = false;
    }
    if (wait == IoWait::CANCELLED)
        return Fail(ERROR_OPERATION_ABORTED);
    if (wait == IoWait::WOKEN)
        return TRUE;
    if (korvex::platform::IsQueueEmpty(port) && !korvex::platform::FetchInput(port)) {
        port->hangupPending = false;
        return FALSE;
    }
    *event = EV_RXCHAR;
    return TRUE;
}

BOOL PurgeComm(HANDLE handle, DWORD flags)
{
    auto* port = ObjectAs<SerialPort>(handle);
    if (port == nullptr)
        return FALSE;
    if (!korvex::platform::EnsureConnected(port))
        return FALSE;
    if ((flags & PURGE_RXCLEAR) != 0) {
        port->queueStart = port->queueEnd = 0;
        if (tcflush(port->descriptor, TCIFLUSH) != 0)
            return FailWithErrno();
    }
    if ((flags & PURGE_TXCLEAR) != 0 && tcflush(port->descriptor, TCOFLUSH) != 0)
        return FailWithErrno();
    return TRUE;
}
