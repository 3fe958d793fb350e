// The record of a serial port's handle, for the calls that work on it.
#pragma once

#include <sys/stat.h>
#include <termios.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "platform/linux/core/handle_objects.h"
#include "platform/linux/core/input_line.h"
#include "platform/linux/serial/serial_types.h"
#include "platform/linux/serial/uart_trigger.h"

namespace korvex::platform {

struct SerialPort : HandleObject {
    ~SerialPort() override;
    BOOL Read(void* buffer, DWORD count, DWORD* received) override;
    BOOL Write(const void* bytes, DWORD count, DWORD* written) override;
    BOOL Flush() override;

    // Its path is empty for a line that cannot be opened again.
    std::shared_ptr<InputLine> line = std::make_shared<InputLine>();
    bool waitedOn = false;      // for input, once or more
    int descriptor = -1;        // -1: the line is gone
    int wakeDescriptor = -1;    // an eventfd: readable once a pending WaitCommEvent must end
    bool hangupPending = false; // the line has gone since the last WaitCommEvent
    bool exclusive = false;     // TIOCEXCL is set
    bool pseudoTerminal = false;
    struct stat pathStatus{}; // of the path itself, a symbolic link say, when it was opened
    // false for a pipe or a socket, which has no settings and nothing to flush
    bool terminal = false;
    termios settingsBefore{};  // of a terminal, put back when the port is closed
    UartTrigger triggerBefore; // the trigger before the port was opened
    DCB dcb{};
    COMMTIMEOUTS timeouts{};

    // Bytes that were fetched from the descriptor and not read yet: [queueStart, queueEnd).
    std::array<uint8_t, 4096> queue{};
    size_t queueStart = 0;
    size_t queueEnd = 0;

    std::mutex mutex; // guards the rest
    DWORD eventMask = 0;
    bool waiting = false;
    bool woken = false; // the wake descriptor is readable
};

// Makes a port of an open tty, without locking it, or of a pipe or socket, which then serves as a
// line without settings. Takes the descriptor over. Null, with the descriptor closed, when the
// system refuses.
SerialPort* AdoptSerialDescriptor(int descriptor);

// Opens a tty exclusively. Null, with the last error set, when it cannot be opened.
SerialPort* OpenSerialPort(const char* path);

// The path under which a handle's port was opened; empty for any other handle.
std::string OpenedPathOf(HANDLE handle);

// Whether the line is there; one that has gone is opened again by its path, and gets its settings
// back. False with the last error ERROR_DEVICE_NOT_CONNECTED.
bool EnsureConnected(SerialPort* port);

// Takes note that the line has gone. False, with that last error.
bool MarkDisconnected(SerialPort* port);

bool IsQueueEmpty(const SerialPort* port);

// Moves what has arrived into the empty queue. False, with the last error set, when the line has
// gone.
bool FetchInput(SerialPort* port);

} // namespace korvex::platform
