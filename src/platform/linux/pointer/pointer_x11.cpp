#include "platform/linux/pointer/pointer_x11.h"

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "platform/linux/core/input_line.h"
#include "platform/linux/machine.h"
#include "platform/linux/pointer/pixels.h"
#include "platform/linux/x11/display.h"
#include "platform/linux/x11/monitors.h"

namespace korvex::platform {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds RECONNECT_INTERVAL{1};
constexpr std::chrono::seconds MEASURE_INTERVAL{1};

// The place of a monitor at the last check.
struct MeasuredMonitor {
    bool present = true;
    MonitorArea area{};
    Clock::time_point measured;
};

// A connection of its own.
struct PointerDisplay {
    std::mutex mutex; // guards the rest
    std::string name; // empty: the one in DISPLAY
    Display* display = nullptr;
    bool broken = false;  // the server went away
    bool pressed = false; // the button is held down by this connection
    // by their outputs; the machine's may have an empty name
    std::map<std::string, MeasuredMonitor> monitors;
    Clock::time_point lastAttempt;
};

// The monitor of an output, checked once a second: it may go, and it changes when the screen is
// turned or set to another mode.
const MeasuredMonitor* MonitorOf(PointerDisplay* pointer, const std::string& output)
{
    MeasuredMonitor* monitor = &pointer->monitors[output];
    if (Clock::now() - monitor->measured < MEASURE_INTERVAL)
        return monitor;
    const bool present = FindMonitor(pointer->display, output, &monitor->area);
    if (pointer->broken)
        return monitor;
    monitor->measured = Clock::now();
    const bool before = std::exchange(monitor->present, present);
    if (output == ThisMachine()->screen.output)
        UpdateScreen(present, monitor->area);
    else if (before != present)
        NotifyMonitorChange(output, present);
    return monitor;
}

// The output of the line that the calling thread reads.
const std::string& OutputOfThread()
{
    thread_local std::shared_ptr<const InputLine> line; // whose output is known
    thread_local std::string output;
    const Machine* machine = ThisMachine();
    if (machine->screen.outputOfLine && LineOfThread() != line) {
        line = LineOfThread();
        output = line == nullptr ? "" : machine->screen.outputOfLine(line->path);
    }
    return output.empty() ? machine->screen.output : output;
}

bool Connect(PointerDisplay* pointer, std::string* reason)
{
    pointer->lastAttempt = Clock::now();
    const char* name = pointer->name.empty() ? nullptr : pointer->name.c_str();
    Display* display = OpenDisplay(name, &pointer->broken, reason);
    if (display == nullptr)
        return false;
    int event = 0;
    int error = 0;
    int major = 0;
    int minor = 0;
    if (XTestQueryExtension(display, &event, &error, &major, &minor) == False) {
        *reason = DisplayText(name) + " has no XTEST extension";
        XCloseDisplay(display);
        return false;
    }
    MonitorArea area{};
    if (!FindMonitor(display, ThisMachine()->screen.output, &area)) {
        *reason = DisplayText(name) + " " + NoMonitorText(display, ThisMachine()->screen.output);
        XCloseDisplay(display);
        return false;
    }
    pointer->display = display;
    pointer->pressed = false;
    pointer->monitors.clear();
    MonitorOf(pointer, ThisMachine()->screen.output);
    return true;
}

// True when the display can be used; tries a lost one again once a second.
bool IsConnected(PointerDisplay* pointer)
{
    if (pointer->display != nullptr && pointer->broken) {
        XCloseDisplay(pointer->display);
        pointer->display = nullptr;
    }
    std::string reason;
    return pointer->display != nullptr
        || (Clock::now() - pointer->lastAttempt >= RECONNECT_INTERVAL && Connect(pointer, &reason));
}

bool SendToServer(PointerDisplay* pointer, const INPUT* input)
{
    if (!IsConnected(pointer))
        return false;
    const MeasuredMonitor* monitor = MonitorOf(pointer, OutputOfThread());
    // A release goes out in any case: the button must not stay pressed.
    if (!monitor->present && (input->mi.dwFlags & MOUSEEVENTF_MOVE) != 0)
        return false;
    Display* display = pointer->display;
    const MonitorArea* area = &monitor->area;
    const DWORD flags = input->mi.dwFlags;
    if ((flags & MOUSEEVENTF_MOVE) != 0)
        XTestFakeMotionEvent(display, DefaultScreen(display),
            area->x + PixelOf(input->mi.dx, area->width),
            area->y + PixelOf(input->mi.dy, area->height), CurrentTime);
    if ((flags & MOUSEEVENTF_LEFTDOWN) != 0)
        XTestFakeButtonEvent(display, Button1, True, CurrentTime);
    if ((flags & MOUSEEVENTF_LEFTUP) != 0)
        XTestFakeButtonEvent(display, Button1, False, CurrentTime);
    if ((flags & (MOUSEEVENTF_LEFTDOWN | MOUSEEVENTF_LEFTUP)) != 0)
        pointer->pressed = (flags & MOUSEEVENTF_LEFTDOWN) != 0;
    if ((flags & (MOUSEEVENTF_RIGHTDOWN | MOUSEEVENTF_RIGHTUP)) != 0)
        XTestFakeButtonEvent(
            display, Button3, (flags & MOUSEEVENTF_RIGHTDOWN) != 0 ? True : False, CurrentTime);
    XFlush(display);
    return !pointer->broken;
}

bool AskServer(PointerDisplay* pointer, POINT* position)
{
    if (!IsConnected(pointer))
        return false;
    Window root = 0;
    Window child = 0;
    int rootX = 0;
    int rootY = 0;
    int windowX = 0;
    int windowY = 0;
    unsigned buttons = 0;
    const Bool answered = XQueryPointer(pointer->display, DefaultRootWindow(pointer->display),
        &root, &child, &rootX, &rootY, &windowX, &windowY, &buttons);
    if (answered == False || pointer->broken)
        return false;
    const MonitorArea* area = &MonitorOf(pointer, ThisMachine()->screen.output)->area;
    *position = {rootX - area->x, rootY - area->y};
    return true;
}

void CloseDisplay(PointerDisplay* pointer)
{
    if (pointer->display != nullptr) {
        if (pointer->pressed && !pointer->broken)
            // nothing else would release it
            XTestFakeButtonEvent(pointer->display, Button1, False, CurrentTime);
        XCloseDisplay(pointer->display);
    }
    delete pointer;
}

} // namespace

bool UseX11Pointer(const PointerSettings& settings, std::string* reason)
{
    const std::shared_ptr<PointerDisplay> pointer(new PointerDisplay, CloseDisplay);
    pointer->name = settings.display == nullptr ? "" : settings.display;
    if (!Connect(pointer.get(), reason))
        return false;
    ThisMachine()->pointer = {
        .send =
            [pointer](const INPUT* input) {
                const std::lock_guard guard(pointer->mutex);
                return SendToServer(pointer.get(), input);
            },
        .position =
            [pointer](POINT* position) {
                const std::lock_guard guard(pointer->mutex);
                return AskServer(pointer.get(), position);
            },
    };
    return true;
}

} // namespace korvex::platform
