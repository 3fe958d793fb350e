// The computer as the Windows calls of this layer see it. A program's start fills it in (the command `korvex`, a test); the library
// itself knows nothing of it. Changes are made before the calls that they concern, on one thread.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "platform/linux/core/input.h"
#include "platform/linux/core/input_line.h"

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

    // Is told of each INI or state file that could not be written, with errno's value; any thread.
    std::function<void(const std::string& path, int error)> fileNotWritten;

    // Is told of each value that is written to the registry: its key's path, "\\", and its line of the file; any thread.
    std::function<void(std::string_view line)> registryWritten;

    // Is shown the bytes that come and go on serial lines, each call of the system's on the thread that makes it.
    std::function<void(LineDirection direction, const uint8_t* bytes, size_t count)> lineWatcher;

    // Receives each debugger text (UTF-8), one call at a time. Default: standard error.
    std::function<void(std::string_view text)> traceOutput;

    // Receives each input record, one call at a time; false when it could not be sent. Default: none can be sent.
    std::function<bool(const INPUT& input)> pointerOutput;

    // Are told of a line that a thread begins to wait on for input, once, and of one that is closed. On the thread that does it.
    std::function<void(const InputLine* line)> lineWaits;
    std::function<void(const InputLine* line)> lineClosed;

    // Asks where the pointer is; false when that is not known. On the windows' thread, beside outputs.
    std::function<bool(POINT* position)> pointerPosition;

    // The monitor that windows and absolute input mean, in pixels, and where it is on the screen: that of the display, once one is in use.
    std::atomic<int> screenX = 0;
    std::atomic<int> screenY = 0;
    std::atomic<int> screenWidth = 1024;
    std::atomic<int> screenHeight = 768;

    // The output whose monitor that is; empty: the primary one. The output for the input of one line, by the line's path; null, or empty:
    // that monitor's. Who is told when the monitor of an output is not there, and when it is back; on the thread of an input.
    std::string monitor;
    std::function<std::string(const std::string& path)> monitorOfLine;
    std::function<void(const std::string& output, bool present)> monitorChanged;

    // Is asked last before the process ends, with the exit code, and gives the one that counts.
    std::function<int(int exitCode)> onExit;
};

// The one machine of this process.
Machine* ThisMachine();

// Makes it what it was at the start, for the next test.
void ResetMachine();

} // namespace korvex::platform
