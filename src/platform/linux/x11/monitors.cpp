#include "platform/linux/x11/monitors.h"

#include <X11/Xlib.h>
#include <X11/extensions/Xrandr.h>

#include <algorithm>
#include <memory>
#include <string>

#include "platform/linux/machine.h"

namespace korvex::platform {

namespace {

std::string NameOf(Display* display, const XRRMonitorInfo* monitor)
{
    const std::unique_ptr<char, int (*)(void*)> name(XGetAtomName(display, monitor->name), XFree);
    return name == nullptr ? "" : name.get();
}

struct Monitors {
    std::unique_ptr<XRRMonitorInfo, void (*)(XRRMonitorInfo*)> first;
    int count;
};

bool HasMonitors(Display* display)
{
    int major = 0;
    int minor = 0;
    return XRRQueryVersion(display, &major, &minor) != 0
        && (major > 1 || (major == 1 && minor >= 5));
}

bool MeasureScreen(Display* display, MonitorArea* area)
{
    XWindowAttributes root{};
    if (XGetWindowAttributes(display, DefaultRootWindow(display), &root) == 0)
        return false;
    *area = {0, 0, root.width, root.height};
    return true;
}

Monitors MonitorsOf(Display* display)
{
    int count = 0;
    XRRMonitorInfo* first = HasMonitors(display)
        ? XRRGetMonitors(display, DefaultRootWindow(display), True, &count)
        : nullptr;
    return {{first, XRRFreeMonitors}, first == nullptr ? 0 : count};
}

} // namespace

bool FindMonitor(_XDisplay* display, const std::string& output, MonitorArea* area)
{
    const Monitors monitors = MonitorsOf(display);
    const XRRMonitorInfo* first = monitors.first.get();
    if (monitors.count <= 0)
        return output.empty() && MeasureScreen(display, area);
    const XRRMonitorInfo* end = first + monitors.count;
    const XRRMonitorInfo* found = std::find_if(first, end, [&](const XRRMonitorInfo& monitor) {
        return output.empty() ? monitor.primary != False : NameOf(display, &monitor) == output;
    });
    if (found == end && !output.empty())
        return false;
    const XRRMonitorInfo* monitor = found == end ? first : found;
    *area = {monitor->x, monitor->y, monitor->width, monitor->height};
    return true;
}

std::string NoMonitorText(_XDisplay* display, const std::string& output)
{
    const Monitors monitors = MonitorsOf(display);
    std::string text = "has no monitor \"" + output + "\"";
    for (int i = 0; i < monitors.count; ++i)
        text += (i == 0 ? "; its outputs: " : ", ") + NameOf(display, monitors.first.get() + i);
    return text;
}

void UpdateScreen(bool present, const MonitorArea& area)
{
    Screen* screen = &ThisMachine()->screen;
    if (screen->present.exchange(present) != present) // the pointer or the windows come first
        NotifyMonitorChange(screen->output, present);
    if (!present)
        return;
    screen->x = area.x;
    screen->y = area.y;
    screen->width = area.width;
    screen->height = area.height;
}

void NotifyMonitorChange(const std::string& output, bool present)
{
    if (const auto& notify = ThisMachine()->handlers.monitorChanged; notify)
        notify(output, present);
}

bool MeasureMonitor(const char* display, const std::string& output, MonitorArea* area)
{
    Display* connection = XOpenDisplay(display);
    if (connection == nullptr)
        return false;
    const bool found = FindMonitor(connection, output, area);
    XCloseDisplay(connection);
    return found;
}

} // namespace korvex::platform
