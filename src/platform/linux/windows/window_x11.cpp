#include "platform/linux/windows/window_x11.h"

#include <X11/XKBlib.h>
#include <X11/Xatom.h>
#include <X11/Xft/Xft.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/cursorfont.h>
#include <X11/extensions/Xrandr.h>
#include <X11/keysym.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <string>
#include <thread>
#include <utility>

#include "platform/linux/core/text.h"
#include "platform/linux/core/x11_monitors.h"
#include "platform/linux/machine.h"
#include "platform/linux/windows/messages.h"
#include "platform/linux/windows/painting.h"

namespace korvex::platform {

namespace {

constexpr FontView STATIC_FONT{14, false};

struct ShownWindow {
    Window window;
    WindowView view;
    bool unmanaged = false; // the window manager is passed over
};

// The connection of the windows' thread.
struct WindowDisplay {
    Display* display = nullptr;
    bool broken = false;   // the server went away
    int monitorEvent = -1; // the type of the event that tells of changed monitors
    Atom deleteWindow = 0;
    Atom windowName = 0;
    Atom utf8 = 0;
    Cursor arrow = 0;
    // those that have been used, by height and boldness; null: there is none
    std::map<std::pair<int, bool>, XftFont*> fonts;
    std::map<COLORREF, unsigned long> pixels; // of the colours that have been used
    std::map<HWND, ShownWindow> windows;
};

WindowDisplay* Connection()
{
    static WindowDisplay connection;
    return &connection;
}

XRenderColor RenderColorOf(COLORREF color)
{
    constexpr unsigned FULL = 0x101; // from 8 bits to 16
    const auto component = [color](unsigned shift) {
        return static_cast<unsigned short>((color >> shift & 0xFF) * FULL);
    };
    return {component(0), component(8), component(16), 0xFFFF};
}

// The pixel value of a colour, whatever the depth of the screen.
unsigned long XColorOf(COLORREF color)
{
    WindowDisplay* connection = Connection();
    if (const auto known = connection->pixels.find(color); known != connection->pixels.end())
        return known->second;
    Display* display = connection->display;
    const XRenderColor components = RenderColorOf(color);
    XColor wanted{};
    wanted.red = components.red;
    wanted.green = components.green;
    wanted.blue = components.blue;
    if (XAllocColor(display, DefaultColormap(display, DefaultScreen(display)), &wanted) == 0)
        return WhitePixel(display, DefaultScreen(display));
    connection->pixels[color] = wanted.pixel;
    return wanted.pixel;
}

void SetTitle(const WindowDisplay* connection, Window window, const std::u16string& title)
{
    const std::string text = ToUtf8(title);
    Xutf8SetWMProperties(connection->display, window, text.c_str(), text.c_str(), nullptr, 0,
        nullptr, nullptr, nullptr);
    XChangeProperty(connection->display, window, connection->windowName, connection->utf8, 8,
        PropModeReplace, reinterpret_cast<const unsigned char*>(text.data()),
        static_cast<int>(text.size()));
}

XftFont* FontOf(FontView font)
{
    WindowDisplay* connection = Connection();
    const std::pair key{font.height, font.bold};
    if (const auto known = connection->fonts.find(key); known != connection->fonts.end())
        return known->second;
    XftFont* opened = nullptr;
    for (const char* family : {"DejaVu Sans", "sans"}) {
        const std::string name = std::string(family) + ":pixelsize=" + std::to_string(font.height)
            + (font.bold ? ":bold" : "");
        if (opened == nullptr && !connection->broken)
            opened = XftFontOpenName(
                connection->display, DefaultScreen(connection->display), name.c_str());
    }
    connection->fonts[key] = opened;
    return opened;
}

int TextWidth(FontView font, const std::u16string& text)
{
    XftFont* opened = FontOf(font);
    if (opened == nullptr || Connection()->broken)
        return 0;
    const std::string bytes = ToUtf8(text);
    XGlyphInfo extents{};
    XftTextExtentsUtf8(Connection()->display, opened,
        reinterpret_cast<const FcChar8*>(bytes.data()), static_cast<int>(bytes.size()), &extents);
    return extents.xOff;
}

int LineHeight(FontView font)
{
    const XftFont* opened = FontOf(font);
    return opened == nullptr ? font.height : opened->ascent + opened->descent;
}

void DrawTextAt(
    Window window, int x, int y, FontView font, COLORREF wanted, const std::u16string& text)
{
    Display* display = Connection()->display;
    XftFont* opened = FontOf(font);
    if (opened == nullptr || Connection()->broken || text.empty())
        return;
    const int screen = DefaultScreen(display);
    const std::string bytes = ToUtf8(text);
    XftDraw* draw = XftDrawCreate(
        display, window, DefaultVisual(display, screen), DefaultColormap(display, screen));
    XftColor color{};
    const XRenderColor components = RenderColorOf(wanted);
    if (XftColorAllocValue(display, DefaultVisual(display, screen),
            DefaultColormap(display, screen), &components, &color)
        != 0) {
        XftDrawStringUtf8(draw, &color, opened, x, y + opened->ascent,
            reinterpret_cast<const FcChar8*>(bytes.data()), static_cast<int>(bytes.size()));
        XftColorFree(
            display, DefaultVisual(display, screen), DefaultColormap(display, screen), &color);
    }
    XftDrawDestroy(draw);
}

// A line of text, centred on both axes.
void DrawStatic(const WindowDisplay* connection, const ShownWindow* shown)
{
    XClearWindow(connection->display, shown->window);
    const int x = (shown->view.width - TextWidth(STATIC_FONT, shown->view.text)) / 2;
    const int y = (shown->view.height - LineHeight(STATIC_FONT)) / 2;
    DrawTextAt(shown->window, x, y, STATIC_FONT, 0, shown->view.text);
}

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

// Asks a window manager, where there is one, for the whole screen.
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

// Tells the window manager of a window's fixed size, and where it is.
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

// Tells the window manager, where there is one, of a top-level window.
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

// Shows a window that takes a whole monitor. Window managers may put it on another one (the one
// that is in use, say); what does not come to cover its own is shown without theirs: targets on
// another monitor than the panel's would be touched for nothing.
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

void Erase(const WindowView* view)
{
    WindowDisplay* connection = Connection();
    if (const auto shown = connection->windows.find(view->handle);
        shown != connection->windows.end())
        XClearWindow(connection->display, shown->second.window);
}

// Calls `draw` with a context of the window: to fill in the colour, and where that is wanted once
// more, to outline in black.
template <typename Draw>
void DrawFigure(HWND handle, COLORREF fill, bool outlined, Draw draw)
{
    WindowDisplay* connection = Connection();
    const auto shown = connection->windows.find(handle);
    if (shown == connection->windows.end() || connection->broken)
        return;
    Display* display = connection->display;
    // its line width 0 gives the pixels that Windows gives
    GC context = XCreateGC(display, shown->second.window, 0, nullptr);
    XSetForeground(display, context, XColorOf(fill));
    draw(display, shown->second.window, context, true);
    XSetForeground(display, context, BlackPixel(display, DefaultScreen(display)));
    if (outlined)
        draw(display, shown->second.window, context, false);
    XFreeGC(display, context);
    XFlush(display);
}

void DrawRectangle(HWND handle, RECT bounds, COLORREF fill, bool outlined)
{
    const auto width = static_cast<unsigned>(bounds.right - bounds.left - (outlined ? 1 : 0));
    const auto height = static_cast<unsigned>(bounds.bottom - bounds.top - (outlined ? 1 : 0));
    DrawFigure(
        handle, fill, outlined, [&](Display* display, Window window, GC context, bool filled) {
            (filled ? XFillRectangle : XDrawRectangle)(
                display, window, context, bounds.left, bounds.top, width, height);
        });
}

void DrawPie(HWND handle, RECT bounds, double start, double extent, COLORREF fill, bool outlined)
{
    constexpr double UNITS_PER_DEGREE = 64;
    const auto width = static_cast<unsigned>(bounds.right - bounds.left - 1);
    const auto height = static_cast<unsigned>(bounds.bottom - bounds.top - 1);
    DrawFigure(
        handle, fill, outlined, [&](Display* display, Window window, GC context, bool filled) {
            (filled ? XFillArc : XDrawArc)(display, window, context, bounds.left, bounds.top, width,
                height, static_cast<int>(start * UNITS_PER_DEGREE),
                static_cast<int>(extent * UNITS_PER_DEGREE));
        });
}

void DrawEllipse(HWND handle, RECT bounds, COLORREF fill, bool outlined)
{
    constexpr double FULL_TURN = 360;
    DrawPie(handle, bounds, 0, FULL_TURN, fill, outlined);
}

void DrawWords(HWND handle, int x, int y, FontView font, COLORREF color, const std::u16string& text)
{
    const auto shown = Connection()->windows.find(handle);
    if (shown == Connection()->windows.end())
        return;
    DrawTextAt(shown->second.window, x, y, font, color, text);
    XFlush(Connection()->display);
}

void Beep()
{
    constexpr int BASE_VOLUME = 0;
    if (Connection()->broken)
        return;
    XBell(Connection()->display, BASE_VOLUME);
    XFlush(Connection()->display);
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

// Without a window manager nobody else gives a new window the keyboard.
void TakeFocusAlone(const WindowDisplay* connection, const ShownWindow* shown)
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
            TakeFocusAlone(connection, &shown);
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

// Takes where the machine's monitor is. False, with the machine as it was, when it is not there.
bool MeasureMonitor(const WindowDisplay* connection)
{
    Machine* machine = ThisMachine();
    MonitorArea area{};
    if (!FindMonitor(connection->display, machine->screen.output, &area))
        return false;
    machine->screen.x = area.x;
    machine->screen.y = area.y;
    machine->screen.width = area.width;
    machine->screen.height = area.height;
    return true;
}

// Has the windows that take a whole monitor follow it.
void FollowMonitor(WindowDisplay* connection)
{
    Machine* machine = ThisMachine();
    const bool present = MeasureMonitor(connection);
    if (machine->screen.present.exchange(present) != present && machine->observers.monitorChanged)
        machine->observers.monitorChanged(machine->screen.output, present);
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

const WindowBackend* X11Backend(const char* name, std::string* reason)
{
    static constexpr WindowBackend BACKEND{true, Create, Show, ChangeText, Destroy, Erase,
        DrawRectangle, DrawEllipse, DrawPie, TextWidth, LineHeight, DrawWords, Beep,
        [] { return ConnectionNumber(Connection()->display); }, Pump};
    WindowDisplay* connection = Connection();
    connection->display = XOpenDisplay(name);
    if (connection->display == nullptr) {
        *reason = std::string("cannot open the X display \"") + XDisplayName(name) + "\"";
        return nullptr;
    }
    // Without these two handlers Xlib ends the process when the server goes away.
    XSetIOErrorHandler([](Display* /*display*/) { return 0; });
    XSetIOErrorExitHandler(
        connection->display,
        [](Display* /*display*/, void* data) { static_cast<WindowDisplay*>(data)->broken = true; },
        connection);
    // A request for a window that was closed in the meantime fails without harm.
    XSetErrorHandler([](Display* /*display*/, XErrorEvent* /*event*/) { return 0; });
    if (!MeasureMonitor(connection)) {
        *reason = "the X display \"" + std::string(XDisplayName(name)) + "\" has no monitor \""
            + ThisMachine()->screen.output + "\"";
        return nullptr;
    }
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
    return &BACKEND;
}

} // namespace korvex::platform
