#include "platform/linux/windows/window_x11.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/cursorfont.h>
#include <X11/extensions/Xrandr.h>
#include <X11/keysym.h>

#include <string>

#include "platform/linux/machine.h"
#include "platform/linux/windows/messages.h"
#include "platform/linux/windows/painting.h"
#include "platform/linux/windows/window_x11_display.h"
#include "platform/linux/windows/window_x11_drawing.h"
#include "platform/linux/windows/window_x11_manager.h"
#include "platform/linux/x11/display.h"
#include "platform/linux/x11/monitors.h"

namespace korvex::platform {

namespace {

bool Create(const WindowView* view)
{
    WindowDisplay* connection = Connection();
    Display* display = connection->display;
    const auto parent = connection->windows.find(view->parent);
    const Window root = DefaultRootWindow(display);
    const bool topLevel = parent == connection->windows.end();
    const Machine* machine = ThisMachine();
    const int x = view->x + (topLevel ? machine->screen.x.load() : 0);
    const int y = view->y + (topLevel ? machine->screen.y.load() : 0);
    const Window window = XCreateSimpleWindow(display, topLevel ? root : parent->second.window, x,
        y, static_cast<unsigned>(view->width), static_cast<unsigned>(view->height), 0, 0,
        XColorOf(view->background));
    connection->windows[view->handle] = {window, *view, false};
    if (view->parent != nullptr) {
        XSelectInput(display, window, ExposureMask);
        XMapWindow(display, window);
    } else {
        XSelectInput(display, window,
            ExposureMask | KeyPressMask | KeyReleaseMask | ButtonPressMask | ButtonReleaseMask
                | StructureNotifyMask);
        XDefineCursor(display, window, connection->arrow);
        IntroduceWindow(connection, window, view);
    }
    XFlush(display);
    return !connection->broken;
}

void Show(HWND handle)
{
    WindowDisplay* connection = Connection();
    const auto shown = connection->windows.find(handle);
    if (shown == connection->windows.end())
        return;
    XMapRaised(connection->display, shown->second.window);
    XFlush(connection->display);
    if (shown->second.view.parent == nullptr && (shown->second.view.style & WS_POPUP) != 0)
        ShowOverMonitor(connection, &shown->second);
}

void ChangeText(const WindowView* view)
{
    WindowDisplay* connection = Connection();
    const auto shown = connection->windows.find(view->handle);
    if (shown == connection->windows.end() || connection->broken)
        return;
    shown->second.view.text = view->text;
    if (view->isStatic)
        DrawStatic(connection, &shown->second);
    else
        SetTitle(connection, shown->second.window, view->text);
    XFlush(connection->display);
}

void Destroy(HWND handle)
{
    WindowDisplay* connection = Connection();
    const auto shown = connection->windows.find(handle);
    if (shown == connection->windows.end())
        return;
    if (!connection->broken) {
        XDestroyWindow(connection->display, shown->second.window);
        XFlush(connection->display);
    }
    connection->windows.erase(shown);
}

// The virtual key of an X key, 0 for one that no window asks for.
WPARAM VirtualKey(KeySym key)
{
    switch (key) {
    case XK_Escape:
        return VK_ESCAPE;
    case XK_Return:
    case XK_KP_Enter:
        return VK_RETURN;
    case XK_space:
        return VK_SPACE;
    default:
        return key >= XK_a && key <= XK_z ? key - XK_a + 'A' : 0;
    }
}

void HandleEvent(const WindowDisplay* connection, XEvent* event)
{
    for (const auto& [handle, shown] : connection->windows) {
        if (shown.window != event->xany.window)
            continue;
        switch (event->type) {
        case Expose:
            if (event->xexpose.count == 0 && shown.view.isStatic)
                DrawStatic(connection, &shown);
            else if (event->xexpose.count == 0)
                InvalidateRect(handle, nullptr, TRUE);
            return;
        case MapNotify:
            FocusUnmanaged(connection, &shown);
            return;
        case KeyPress:
        case KeyRelease:
            if (const WPARAM key = VirtualKey(XLookupKeysym(&event->xkey, 0)); key != 0)
                PostMessageW(handle, event->type == KeyPress ? WM_KEYDOWN : WM_KEYUP, key, 0);
            return;
        case ButtonPress:
        case ButtonRelease:
            if (event->xbutton.button == Button1)
                PostMessageW(handle, event->type == ButtonPress ? WM_LBUTTONDOWN : WM_LBUTTONUP, 0,
                    event->xbutton.y << 16 | (event->xbutton.x & 0xFFFF));
            return;
        case ClientMessage:
            if (static_cast<Atom>(event->xclient.data.l[0]) == connection->deleteWindow)
                PostMessageW(handle, WM_CLOSE, 0, 0);
            return;
        default:
            return;
        }
    }
}

// Makes the windows that cover a monitor follow it.
void FollowMonitor(WindowDisplay* connection)
{
    Machine* machine = ThisMachine();
    MonitorArea area{};
    const bool present = FindMonitor(connection->display, machine->screen.output, &area);
    UpdateScreen(present, area);
    if (!present)
        return;
    for (auto& [handle, shown] : connection->windows) {
        if (shown.view.parent != nullptr || (shown.view.style & WS_POPUP) == 0)
            continue;
        shown.view.width = machine->screen.width;
        shown.view.height = machine->screen.height;
        SetSizeHints(connection, shown.window, &shown.view);
        XMoveResizeWindow(connection->display, shown.window, machine->screen.x, machine->screen.y,
            static_cast<unsigned>(shown.view.width), static_cast<unsigned>(shown.view.height));
        InvalidateRect(handle, nullptr, TRUE);
    }
}

bool Pump()
{
    WindowDisplay* connection = Connection();
    while (!connection->broken && XPending(connection->display) > 0) {
        XEvent event{};
        XNextEvent(connection->display, &event);
        if (event.type == connection->monitorEvent) {
            XRRUpdateConfiguration(&event);
            FollowMonitor(connection);
        } else {
            HandleEvent(connection, &event);
        }
        XFlush(connection->display);
    }
    return !connection->broken;
}

} // namespace

bool HasX11()
{
    return true;
}

const WindowBackend* X11Backend(const char* name, std::string* reason)
{
    static constexpr WindowBackend BACKEND{true, Create, Show, ChangeText, Destroy, Erase,
        DrawRectangle, DrawPie, DrawLine, DrawWords, Beep,
        [] { return ConnectionNumber(Connection()->display); }, Pump};
    WindowDisplay* connection = Connection();
    connection->display = OpenDisplay(name, &connection->broken, reason);
    if (connection->display == nullptr)
        return nullptr;
    const std::string& output = ThisMachine()->screen.output;
    MonitorArea area{};
    if (!FindMonitor(connection->display, output, &area)) {
        *reason = DisplayText(name) + " " + NoMonitorText(connection->display, output);
        return nullptr;
    }
    UpdateScreen(true, area);
    int firstEvent = 0;
    int firstError = 0;
    if (XRRQueryExtension(connection->display, &firstEvent, &firstError) != 0) {
        connection->monitorEvent = firstEvent + RRScreenChangeNotify;
        XRRSelectInput(
            connection->display, DefaultRootWindow(connection->display), RRScreenChangeNotifyMask);
    }
    // a key that is held down is released once
    XkbSetDetectableAutoRepeat(connection->display, True, nullptr);
    connection->arrow = XCreateFontCursor(connection->display, XC_left_ptr);
    connection->deleteWindow = XInternAtom(connection->display, "WM_DELETE_WINDOW", False);
    connection->windowName = XInternAtom(connection->display, "_NET_WM_NAME", False);
    connection->utf8 = XInternAtom(connection->display, "UTF8_STRING", False);
    connection->hasFonts = CanDrawText();
    if (!connection->hasFonts)
        *reason = "no font can be opened, so they are without text; install fonts-dejavu-core";
    return &BACKEND;
}

} // namespace korvex::platform
