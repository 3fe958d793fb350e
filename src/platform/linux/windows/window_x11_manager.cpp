#include "platform/linux/windows/window_x11_manager.h"

#include <X11/Xatom.h>
#include <X11/Xutil.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "platform/linux/core/text.h"
#include "platform/linux/machine.h"

namespace korvex::platform {

namespace {

// Tells window managers and task bars whose window it is, as the Extended Window Manager Hints of
// freedesktop.org have it.
void SetOwner(const WindowDisplay* connection, Window window)
{
    std::string instance = "korvex";
    std::string group = "Korvex";
    XClassHint hint{instance.data(), group.data()};
    XSetClassHint(connection->display, window, &hint);
    const long process = getpid();
    XChangeProperty(connection->display, window,
        XInternAtom(connection->display, "_NET_WM_PID", False), XA_CARDINAL, 32, PropModeReplace,
        reinterpret_cast<const unsigned char*>(&process), 1);
}

// Asks a window manager, if there is one, for the whole screen.
void AskForFullScreen(const WindowDisplay* connection, Window window)
{
    Atom fullScreen = XInternAtom(connection->display, "_NET_WM_STATE_FULLSCREEN", False);
    XChangeProperty(connection->display, window,
        XInternAtom(connection->display, "_NET_WM_STATE", False), XA_ATOM, 32, PropModeReplace,
        reinterpret_cast<const unsigned char*>(&fullScreen), 1);
}

// Asks a window manager for a frame of fixed size, with a minimise button where the style has one,
// by the hints that Motif introduced.
void AskForFrame(const WindowDisplay* connection, Window window, DWORD style)
{
    struct Hints {
        unsigned long flags;
        unsigned long functions;
        unsigned long decorations;
        long inputMode;
        unsigned long status;
    };
    constexpr unsigned long HAS_FUNCTIONS = 1;
    constexpr unsigned long MOVE = 4;
    constexpr unsigned long MINIMIZE = 8;
    constexpr unsigned long CLOSE = 32;
    const Hints hints{
        HAS_FUNCTIONS, MOVE | CLOSE | ((style & WS_MINIMIZEBOX) != 0 ? MINIMIZE : 0), 0, 0, 0};
    const Atom property = XInternAtom(connection->display, "_MOTIF_WM_HINTS", False);
    XChangeProperty(connection->display, window, property, property, 32, PropModeReplace,
        reinterpret_cast<const unsigned char*>(&hints), 5);
}

// Whether the window is where it was asked for: over the whole of the machine's monitor.
bool CoversMonitor(const WindowDisplay* connection, Window window)
{
    XWindowAttributes attributes{};
    Window child = 0;
    int x = 0;
    int y = 0;
    const Machine* machine = ThisMachine();
    return XGetWindowAttributes(connection->display, window, &attributes) != 0
        && attributes.map_state == IsViewable
        && XTranslateCoordinates(connection->display, window, attributes.root, 0, 0, &x, &y, &child)
        != 0
        && x == machine->screen.x && y == machine->screen.y
        && attributes.width == machine->screen.width && attributes.height == machine->screen.height;
}

} // namespace

void SetTitle(const WindowDisplay* connection, Window window, const std::u16string& title)
{
    const std::string text = ToUtf8(title);
    Xutf8SetWMProperties(connection->display, window, text.c_str(), text.c_str(), nullptr, 0,
        nullptr, nullptr, nullptr);
    XChangeProperty(connection->display, window, connection->windowName, connection->utf8, 8,
        PropModeReplace, reinterpret_cast<const unsigned char*>(text.data()),
        static_cast<int>(text.size()));
}

void SetSizeHints(const WindowDisplay* connection, Window window, const WindowView* view)
{
    XSizeHints hints{};
    hints.flags = PMinSize | PMaxSize | USPosition;
    hints.min_width = hints.max_width = view->width;
    hints.min_height = hints.max_height = view->height;
    hints.x = view->x + ThisMachine()->screen.x;
    hints.y = view->y + ThisMachine()->screen.y;
    XSetWMNormalHints(connection->display, window, &hints);
}

void IntroduceWindow(WindowDisplay* connection, Window window, const WindowView* view)
{
    Display* display = connection->display;
    SetSizeHints(connection, window, view);
    XSetWMProtocols(display, window, &connection->deleteWindow, 1);
    SetTitle(connection, window, view->text);
    SetOwner(connection, window);
    if ((view->style & WS_POPUP) != 0)
        AskForFullScreen(connection, window);
    else
        AskForFrame(connection, window, view->style);
    // A box is above the window that shows it, full screen or not.
    for (const auto& [handle, shown] : connection->windows) {
        if (shown.view.parent == nullptr && shown.window != window)
            XSetTransientForHint(display, window, shown.window);
    }
}

void ShowOverMonitor(WindowDisplay* connection, ShownWindow* shown)
{
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds LIMIT{500};
    constexpr std::chrono::milliseconds INTERVAL{5};
    for (const auto deadline = Clock::now() + LIMIT; Clock::now() < deadline;
        std::this_thread::sleep_for(INTERVAL)) {
        XSync(connection->display, False);
        if (connection->broken || CoversMonitor(connection, shown->window))
            return;
    }
    const Machine* machine = ThisMachine();
    XSetWindowAttributes attributes{};
    attributes.override_redirect = True;
    XUnmapWindow(connection->display, shown->window);
    XChangeWindowAttributes(connection->display, shown->window, CWOverrideRedirect, &attributes);
    XMoveResizeWindow(connection->display, shown->window, machine->screen.x, machine->screen.y,
        static_cast<unsigned>(shown->view.width), static_cast<unsigned>(shown->view.height));
    shown->unmanaged = true;
    XMapRaised(connection->display, shown->window);
    XFlush(connection->display);
}

void FocusUnmanaged(const WindowDisplay* connection, const ShownWindow* shown)
{
    Window window = shown->window;
    Atom type = 0;
    int format = 0;
    unsigned long count = 0;
    unsigned long left = 0;
    unsigned char* manager = nullptr;
    XGetWindowProperty(connection->display, DefaultRootWindow(connection->display),
        XInternAtom(connection->display, "_NET_SUPPORTING_WM_CHECK", False), 0, 1, False, XA_WINDOW,
        &type, &format, &count, &left, &manager);
    if (manager == nullptr || shown->unmanaged)
        XSetInputFocus(connection->display, window, RevertToPointerRoot, CurrentTime);
    if (manager != nullptr)
        XFree(manager);
}

} // namespace korvex::platform
