#include <X11/Xatom.h>
#include <X11/Xft/Xft.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <map>
#include <string>

#include "platform/posix/text.h"
#include "platform/posix/window_backend.h"

namespace korvex::platform {

namespace {

constexpr const char* FONT = "DejaVu Sans:pixelsize=14";
constexpr const char* FALLBACK_FONT = "sans:pixelsize=14";

struct ShownWindow {
    Window window;
    WindowView view;
};

// The connection of the windows' thread.
struct WindowDisplay {
    Display* display = nullptr;
    bool broken = false; // the server went away
    Atom deleteWindow = 0;
    Atom windowName = 0;
    Atom utf8 = 0;
    XftFont* font = nullptr;
    std::map<HWND, ShownWindow> windows;
};

WindowDisplay* Connection()
{
    static WindowDisplay connection;
    return &connection;
}

unsigned long PixelOf(COLORREF color)
{
    const unsigned long red = color & 0xFF;
    const unsigned long green = (color >> 8) & 0xFF;
    const unsigned long blue = (color >> 16) & 0xFF;
    return red << 16 | green << 8 | blue; // every visual in use today is true colour
}

void SetTitle(const WindowDisplay* connection, Window window, const std::u16string& title)
{
    const std::string text = ToUtf8(title);
    Xutf8SetWMProperties(connection->display, window, text.c_str(), text.c_str(), nullptr, 0, nullptr, nullptr, nullptr);
    XChangeProperty(connection->display, window, connection->windowName, connection->utf8, 8, PropModeReplace,
        reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
}

// A line of text, centred on both axes.
void DrawStatic(const WindowDisplay* connection, const ShownWindow* shown)
{
    Display* display = connection->display;
    const int screen = DefaultScreen(display);
    XClearWindow(display, shown->window);
    const std::string text = ToUtf8(shown->view.text);
    if (connection->font == nullptr || text.empty())
        return;
    const auto* bytes = reinterpret_cast<const FcChar8*>(text.data());
    const int length = static_cast<int>(text.size());
    XGlyphInfo extents{};
    XftTextExtentsUtf8(display, connection->font, bytes, length, &extents);
    const int x = (shown->view.width - extents.xOff) / 2;
    const int y = (shown->view.height + connection->font->ascent - connection->font->descent) / 2;
    XftDraw* draw = XftDrawCreate(display, shown->window, DefaultVisual(display, screen), DefaultColormap(display, screen));
    XftColor color{};
    const XRenderColor black{0, 0, 0, 0xFFFF};
    if (XftColorAllocValue(display, DefaultVisual(display, screen), DefaultColormap(display, screen), &black, &color) != 0) {
        XftDrawStringUtf8(draw, &color, connection->font, x, y, bytes, length);
        XftColorFree(display, DefaultVisual(display, screen), DefaultColormap(display, screen), &color);
    }
    XftDrawDestroy(draw);
}

bool Create(const WindowView* view)
{
    WindowDisplay* connection = Connection();
    Display* display = connection->display;
    const auto parent = connection->windows.find(view->parent);
    const Window root = DefaultRootWindow(display);
    const Window window = XCreateSimpleWindow(display, parent == connection->windows.end() ? root : parent->second.window, view->x, view->y,
        static_cast<unsigned>(view->width), static_cast<unsigned>(view->height), 0, 0, PixelOf(view->background));
    XSelectInput(display, window, ExposureMask);
    connection->windows[view->handle] = {window, *view};
    if (view->parent != nullptr) {
        XMapWindow(display, window);
    } else {
        XSizeHints hints{};
        hints.flags = PMinSize | PMaxSize | USPosition;
        hints.min_width = hints.max_width = view->width;
        hints.min_height = hints.max_height = view->height;
        hints.x = view->x;
        hints.y = view->y;
        XSetWMNormalHints(display, window, &hints);
        XSetWMProtocols(display, window, &connection->deleteWindow, 1);
        SetTitle(connection, window, view->text);
    }
    XFlush(display);
    return !connection->broken;
}

void Show(HWND handle)
{
    WindowDisplay* connection = Connection();
    if (const auto shown = connection->windows.find(handle); shown != connection->windows.end())
        XMapRaised(connection->display, shown->second.window);
    XFlush(connection->display);
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

void Handle(WindowDisplay* connection, const XEvent* event)
{
    for (const auto& [handle, shown] : connection->windows) {
        if (shown.window != event->xany.window)
            continue;
        if (event->type == Expose && event->xexpose.count == 0 && shown.view.isStatic)
            DrawStatic(connection, &shown);
        if (event->type == ClientMessage && static_cast<Atom>(event->xclient.data.l[0]) == connection->deleteWindow)
            PostMessageW(handle, WM_CLOSE, 0, 0);
    }
}

bool Pump()
{
    WindowDisplay* connection = Connection();
    while (!connection->broken && XPending(connection->display) > 0) {
        XEvent event{};
        XNextEvent(connection->display, &event);
        Handle(connection, &event);
        XFlush(connection->display);
    }
    return !connection->broken;
}

} // namespace

const WindowBackend* X11Windows(const char* name, std::string* reason)
{
    static constexpr WindowBackend BACKEND{Create, Show, ChangeText, Destroy, [] { return ConnectionNumber(Connection()->display); }, Pump};
    WindowDisplay* connection = Connection();
    connection->display = XOpenDisplay(name);
    if (connection->display == nullptr) {
        *reason = std::string("cannot open the X display \"") + XDisplayName(name) + "\"";
        return nullptr;
    }
    // Without these two handlers Xlib ends the process when the server goes away.
    XSetIOErrorHandler([](Display* /*display*/) { return 0; });
    XSetIOErrorExitHandler(
        connection->display, [](Display* /*display*/, void* data) { static_cast<WindowDisplay*>(data)->broken = true; }, connection);
    connection->deleteWindow = XInternAtom(connection->display, "WM_DELETE_WINDOW", False);
    connection->windowName = XInternAtom(connection->display, "_NET_WM_NAME", False);
    connection->utf8 = XInternAtom(connection->display, "UTF8_STRING", False);
    for (const char* font : {FONT, FALLBACK_FONT}) {
        if (connection->font == nullptr)
            connection->font = XftFontOpenName(connection->display, DefaultScreen(connection->display), font);
    }
    return &BACKEND;
}

} // namespace korvex::platform
