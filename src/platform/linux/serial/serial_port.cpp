#include "platform/linux/serial/serial_port.h"

#include <fcntl.h>
#include <linux/serial.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <optional>

#include "platform/linux/core/blocking_io.h"
#include "platform/linux/machine.h"
#include "platform/linux/serial/line_settings.h"

namespace korvex::platform {

namespace {

using std::chrono::milliseconds;

// How long a flush may take: the line's longest output queue at 9600 baud is out in less.
constexpr milliseconds FLUSH_LIMIT{500};

// A pseudo-terminal stays open to others: the emulator of its device opens it too.
bool IsPseudoTerminal(int descriptor)
{
    struct stat status{};
    // In the kernel's devices list the terminals of pseudo-terminals have the major numbers 136 to
    // 143.
    return fstat(descriptor, &status) == 0 && major(status.st_rdev) >= 136
        && major(status.st_rdev) <= 143;
}

// When a read of `count` bytes that has got `received` of them ends by time: the limits of
// COMMTIMEOUTS.
std::optional<Clock::time_point> ReadDeadline(
    const COMMTIMEOUTS* timeouts, DWORD count, DWORD received, Clock::time_point start)
{
    const DWORD constant = timeouts->ReadTotalTimeoutConstant;
    if (timeouts->ReadIntervalTimeout == MAXDWORD) {
        const bool firstByteOnly = timeouts->ReadTotalTimeoutMultiplier == MAXDWORD && constant > 0
            && constant < MAXDWORD;
        return firstByteOnly && received == 0 ? start + milliseconds(constant) : start;
    }
    std::optional<Clock::time_point> deadline;
    if (timeouts->ReadTotalTimeoutMultiplier != 0 || constant != 0)
        deadline = start
            + milliseconds(
                static_cast<int64_t>(timeouts->ReadTotalTimeoutMultiplier) * count + constant);
    if (timeouts->ReadIntervalTimeout != 0 && received > 0) {
        const Clock::time_point interval
            = Clock::now() + milliseconds(timeouts->ReadIntervalTimeout);
        deadline = deadline ? std::min(*deadline, interval) : interval;
    }
    return deadline;
}

// Opens a tty that no one else uses. -1, with the last error set, when that fails.
int OpenExclusively(const char* path)
{
    const int descriptor = open(path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        FailWithErrno();
        return -1;
    }
    if (isatty(descriptor) == 1 && flock(descriptor, LOCK_EX | LOCK_NB) == 0)
        return descriptor;
    Fail(errno == EWOULDBLOCK ? ERROR_SHARING_VIOLATION : ErrorFromErrno(errno));
    ::close(descriptor);
    return -1;
}

void ClaimExclusively(SerialPort* port)
{
    port->pseudoTerminal = IsPseudoTerminal(port->descriptor);
    port->exclusive = !port->pseudoTerminal && ioctl(port->descriptor, TIOCEXCL) == 0;
    SetLowLatency(port->descriptor);
    // A line that has come back has the value that was set here.
    const UartTrigger trigger = LowerUartTrigger(port->descriptor);
    if (!trigger.file.empty())
        port->triggerBefore = trigger;
}

// The number of a pseudo-terminal soon belongs to someone else, for example a shell, so its line is
// taken again only through a symbolic link that was made since.
bool MayReopen(const SerialPort* port)
{
    struct stat status{};
    if (port->line->path.empty() || lstat(port->line->path.c_str(), &status) != 0)
        return false;
    const bool sameEntry = status.st_ino == port->pathStatus.st_ino
        && status.st_ctim.tv_sec == port->pathStatus.st_ctim.tv_sec
        && status.st_ctim.tv_nsec == port->pathStatus.st_ctim.tv_nsec;
    return !port->pseudoTerminal || (S_ISLNK(status.st_mode) && !sameEntry);
}

void ShowBytes(LineDirection direction, const uint8_t* bytes, size_t count)
{
    if (const auto& watcher = ThisMachine()->handlers.lineBytes)
        watcher(direction, bytes, count);
}

} // namespace

SerialPort* AdoptSerialDescriptor(int descriptor)
{
    const int wakeDescriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wakeDescriptor < 0) {
        FailWithErrno();
        ::close(descriptor);
        return nullptr;
    }
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
    auto* port = new SerialPort;
    port->descriptor = descriptor;
    port->wakeDescriptor = wakeDescriptor;
    port->terminal = MakeRaw(port->descriptor, &port->settingsBefore);
    DescribeLine(port->terminal ? &port->settingsBefore : nullptr, &port->dcb);
    return port;
}

SerialPort* OpenSerialPort(const char* path)
{
    const int descriptor = OpenExclusively(path);
    if (descriptor < 0)
        return nullptr;
    SerialPort* port = AdoptSerialDescriptor(descriptor);
    if (port == nullptr)
        return nullptr;
    port->line->path = path;
    lstat(path, &port->pathStatus);
    ClaimExclusively(port);
    return port;
}

std::string OpenedPathOf(HANDLE handle)
{
    const auto* port = ObjectAs<SerialPort>(handle);
    return port == nullptr ? "" : port->line->path;
}

bool EnsureConnected(SerialPort* port)
{
    if (port->descriptor >= 0)
        return true;
    const int descriptor = MayReopen(port) ? OpenExclusively(port->line->path.c_str()) : -1;
    if (descriptor < 0)
        return Fail(ERROR_DEVICE_NOT_CONNECTED) != FALSE;
    port->descriptor = descriptor;
    lstat(port->line->path.c_str(), &port->pathStatus);
    port->terminal = MakeRaw(port->descriptor, &port->settingsBefore);
    ClaimExclusively(port);
    if (ApplySettings(port->descriptor, &port->dcb))
        return true;
    return MarkDisconnected(port);
}

bool MarkDisconnected(SerialPort* port)
{
    port->hangupPending = true;
    if (!port->line->path.empty()) {
        // An open descriptor would keep the adapter's number taken, and it would come back under a
        // different one.
        ::close(port->descriptor);
        port->descriptor = -1;
        port->terminal = false;
        port->exclusive = false;
        port->queueStart = port->queueEnd = 0;
    }
    return Fail(ERROR_DEVICE_NOT_CONNECTED) != FALSE;
}

bool IsQueueEmpty(const SerialPort* port)
{
    return port->queueStart == port->queueEnd;
}

bool FetchInput(SerialPort* port)
{
    const ssize_t fetched = read(port->descriptor, port->queue.data(), port->queue.size());
    if (fetched < 0 && (errno == EAGAIN || errno == EINTR))
        return true;
    if (fetched <= 0)
        return MarkDisconnected(port);
    port->queueStart = 0;
    port->queueEnd = static_cast<size_t>(fetched);
    ShowBytes(LineDirection::RECEIVED, port->queue.data(), port->queueEnd);
    return true;
}

SerialPort::~SerialPort()
{
    if (const auto& told = ThisMachine()->pointer.lineClosed; told)
        told(line.get());
    RestoreUartTrigger(&triggerBefore);
    if (terminal)
        tcsetattr(descriptor, TCSANOW, &settingsBefore);
    if (exclusive)
        ioctl(descriptor, TIOCNXCL);
    if (descriptor >= 0)
        ::close(descriptor);
    ::close(wakeDescriptor);
}

BOOL SerialPort::Read(void* buffer, DWORD count, DWORD* received)
{
    *received = 0;
    SetLineOfThread(line);
    if (!EnsureConnected(this))
        return FALSE;
    const Clock::time_point start = Clock::now();
    while (*received < count) {
        if (IsQueueEmpty(this)) {
            const IoWait wait = WaitForIo(
                descriptor, POLLIN, -1, ReadDeadline(&timeouts, count, *received, start));
            if (wait == IoWait::CANCELLED)
                return Fail(ERROR_OPERATION_ABORTED);
            if (wait == IoWait::TIMED_OUT)
                break;
            if (!FetchInput(this))
                return FALSE;
            continue;
        }
        const size_t taken = std::min<size_t>(count - *received, queueEnd - queueStart);
        memcpy(static_cast<uint8_t*>(buffer) + *received, queue.data() + queueStart, taken);
        queueStart += taken;
        *received += static_cast<DWORD>(taken);
    }
    return TRUE;
}

BOOL SerialPort::Write(const void* bytes, DWORD count, DWORD* written)
{
    *written = 0;
    if (!EnsureConnected(this))
        return FALSE;
    std::optional<Clock::time_point> deadline;
    if (timeouts.WriteTotalTimeoutMultiplier != 0 || timeouts.WriteTotalTimeoutConstant != 0)
        deadline = Clock::now()
            + milliseconds(static_cast<int64_t>(timeouts.WriteTotalTimeoutMultiplier) * count
                + timeouts.WriteTotalTimeoutConstant);
    while (*written < count) {
        const ssize_t sent
            = ::write(descriptor, static_cast<const uint8_t*>(bytes) + *written, count - *written);
        if (sent >= 0) {
            ShowBytes(LineDirection::SENT, static_cast<const uint8_t*>(bytes) + *written,
                static_cast<size_t>(sent));
            *written += static_cast<DWORD>(sent);
            continue;
        }
        if (errno == EINTR)
            continue;
        if (errno != EAGAIN) {
            MarkDisconnected(this);
            return FALSE;
        }
        const IoWait wait = WaitForIo(descriptor, POLLOUT, -1, deadline);
        if (wait == IoWait::CANCELLED)
            return Fail(ERROR_OPERATION_ABORTED);
        if (wait == IoWait::TIMED_OUT)
            break; // a write that runs out of time succeeds with fewer bytes
    }
    return TRUE;
}

BOOL SerialPort::Flush()
{
    if (!EnsureConnected(this))
        return FALSE;
    if (!terminal)
        return TRUE;
    // tcdrain alone would wait without limit on a line that does not take its output.
    const Clock::time_point deadline = Clock::now() + FLUSH_LIMIT;
    int unsent = 0;
    while (ioctl(descriptor, TIOCOUTQ, &unsent) == 0 && unsent > 0) {
        if (Clock::now() >= deadline)
            return Fail(ERROR_SEM_TIMEOUT);
        const IoWait wait = WaitForIo(-1, 0, -1, Clock::now() + milliseconds(1));
        if (wait == IoWait::CANCELLED)
            return Fail(ERROR_OPERATION_ABORTED);
    }
    while (tcdrain(descriptor) != 0) {
        if (errno != EINTR)
            return FailWithErrno();
    }
    return TRUE;
}

} // namespace korvex::platform
