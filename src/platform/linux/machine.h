// The computer as the Windows calls of this layer see it. A program's start fills it in (the command `korvex`, a test); the library
// itself knows nothing of it. Changes are made before the calls that they concern, on one thread.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "platform/linux/pointer/pointer.h"

namespace korvex::platform {

struct WindowBackend;

enum class LineDirection { SENT, RECEIVED };

struct Machine {
    // Folders, as native paths; empty: there is no such folder. Where the registry and the devices' settings are kept, what CSIDL_SYSTEM
    // gives, and the Windows folder.
    std::string stateFolder;
    std::string systemFolder;
    std::string windowsFolder;

    // The version of Windows that the machine gives itself.
    unsigned osMajor = 5;
    unsigned osMinor = 1;
    bool isServer = false;
    bool isTabletPc = false;

    // The service manager cannot be opened.
    bool serviceManagerLocked = false;

    // Windows has CancelSynchronousIo since Vista; false: GetProcAddress does not find it.
    bool hasCancelSynchronousIo = true;

    // How windows are shown (window_backend.h); null: not at all. And a signalfd whose signals close the windows; -1: none.
    const WindowBackend* windowBackend = nullptr;
    int closeSignals = -1;

    // Is told of each serial port that could not be opened by its interface, with the error of CreateFileW; any thread.
    std::function<void(const std::string& path, DWORD error)> portRefused;

    // Is shown the bytes that come and go on serial lines, each call of the system's on the thread that makes it.
    std::function<void(LineDirection direction, const uint8_t* bytes, size_t count)> lineWatcher;

    // Receives each debugger text (UTF-8), one call at a time. Default: standard error.
    std::function<void(std::string_view text)> traceOutput;

    // Receives each input record, one call at a time; false when it could not be sent. Default: none can be sent.
    std::function<bool(const INPUT& input)> pointerOutput;

    // Asks where the pointer is; false when that is not known. On the windows' thread, beside outputs.
    std::function<bool(POINT* position)> pointerPosition;

    // The primary screen in pixels; that of the display, once one is in use.
    std::atomic<int> screenWidth = 1024;
    std::atomic<int> screenHeight = 768;

    // The display went away while a window waited for it.
    bool displayLost = false;
};

// The one machine of this process.
Machine* ThisMachine();

// Makes it what it was at the start, for the next test.
void ResetMachine();

// The pixel that an absolute coordinate (0 to 65535) falls on, on an axis of `size` pixels; clamped to the axis.
LONG PixelOf(LONG coordinate, int size);

// Input goes to the X server of the display (null: the one in DISPLAY) through XTest, and the screen's size is the display's. When the
// server goes away, inputs fail and the connection is tried again at most once a second. False with a reason when it cannot be used.
bool UseX11Pointer(Machine* machine, const char* display, std::string* reason);

// Input goes to a file descriptor as one JSON object a line, {"dx":32767,"dy":32767,"flags":32771}, each in one write.
void UseLoggedPointer(Machine* machine, int descriptor);

// Debugger texts go to a file descriptor, each in one write.
void UseTraceDescriptor(Machine* machine, int descriptor);

} // namespace korvex::platform
