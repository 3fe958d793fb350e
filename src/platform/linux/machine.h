// The computer as the Windows calls of this layer see it. A program's start fills it in (the
// command `korvex`, a test); the library itself knows nothing of it. Changes are made before the
// calls that they concern, on one thread.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "platform/linux/core/input.h"
#include "platform/linux/core/input_line.h"

namespace korvex::platform {

struct SmoothingLevel;
struct WindowBackend;

enum class LineDirection { SENT, RECEIVED };

// Folders, as native paths; empty: there is none.
struct Folders {
    std::string state;   // where the registry and the devices' settings are kept
    std::string system;  // CSIDL_SYSTEM
    std::string windows; // the Windows folder
};

// The version of Windows that the machine reports.
struct OperatingSystem {
    unsigned majorVersion = 5;
    unsigned minorVersion = 1;
    bool isServer = false;
    bool isTabletPc = false;
};

// The monitor that windows and absolute input mean.
struct Screen {
    // In pixels, and where it is on the whole screen: that of the display, once one is in use.
    std::atomic<int> x = 0;
    std::atomic<int> y = 0;
    std::atomic<int> width = 1024;
    std::atomic<int> height = 768;

    std::atomic<bool> present = true; // whether that monitor was there at the last check

    std::string output; // whose monitor that is, "HDMI-1"; empty: the primary one

    // The output for the input of one line, by the line's path; null, or empty: the one above.
    std::function<std::string(const std::string& path)> outputOfLine;
};

struct WindowSettings {
    // how windows are shown (window_backend.h); null: not at all
    const WindowBackend* backend = nullptr;
    // a descriptor that becomes and stays readable when the windows must close; -1: none
    int closeSignals = -1;
};

// Changes to touches before they reach the pointer back end.
struct TouchSettings {
    const SmoothingLevel* smoothing = nullptr; // null: they are not smoothed
    std::chrono::milliseconds rightHold{0};    // for a right click (right_hold.h); 0: there is none
};

// How pointer input leaves the machine. A pointer back end (pointer/pointer_backends.h) fills in
// all members.
struct PointerBackend {
    // Sends an input record, one call at a time; false when it could not be sent. Empty: none can.
    std::function<bool(const INPUT* input)> send = {};

    // The position of the pointer; false when that is not known. On the windows' thread, beside
    // inputs.
    std::function<bool(POINT* position)> position = {};

    // A thread begins to wait for a line's input, once for each line; a line is closed.
    std::function<void(const InputLine* line)> lineWaits = {};
    std::function<void(const InputLine* line)> lineClosed = {};
};

// Handlers of events; called on the thread on which the event happens.
struct EventHandlers {
    // A serial port could not be opened by its interface, with the error of CreateFileW.
    std::function<void(const std::string& path, DWORD error)> portRefused;

    // An INI or state file could not be written, with errno's value.
    std::function<void(const std::string& path, int error)> fileNotWritten;

    // A named mutex cannot be had, in that folder or, where it is empty, in any, with errno's
    // value.
    std::function<void(const std::string& folder, int error)> mutexRefused;

    // A value is written to the registry: its key's path, "\\", and its line of the file.
    std::function<void(std::string_view line)> registryWritten;

    // Bytes come and go on serial lines, at each call of the system's.
    std::function<void(LineDirection direction, const uint8_t* bytes, size_t count)> lineBytes;

    // The input device of a line cannot be made, with errno's value; once for each line.
    std::function<void(const std::string& path, int error)> deviceRefused;

    // The monitor of an output is not there, or is back.
    std::function<void(const std::string& output, bool present)> monitorChanged;
};

// Faults for tests.
struct TestSwitches {
    bool serviceManagerLocked = false; // true: the service manager cannot be opened
    // Windows has it since Vista; false: GetProcAddress does not find it
    bool hasCancelSynchronousIo = true;
};

struct Machine {
    Folders folders;
    OperatingSystem os;
    Screen screen;
    WindowSettings windows;
    TouchSettings touches;
    PointerBackend pointer;

    // Receives each debugger text (UTF-8), one call at a time. Empty: standard error.
    std::function<void(std::string_view text)> trace;

    EventHandlers handlers;
    TestSwitches tests;

    // Called last before the process ends, with the exit code; its result replaces the code.
    std::function<int(int exitCode)> onExit;
};

// The one machine of this process.
Machine* ThisMachine();

// Makes it what it was at the start, for the next test.
void ResetMachine();

} // namespace korvex::platform
