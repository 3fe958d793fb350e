#include "testing/screen.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <cstdlib>
#include <stdexcept>

namespace korvex::testing {

Screen::Screen(const std::string& size) : server(size), display(XOpenDisplay(server.name.c_str()))
{
    if (display == nullptr)
        throw std::runtime_error("the X server cannot be reached");
    setenv("DISPLAY", server.name.c_str(), 1);
}

Screen::~Screen()
{
    unsetenv("DISPLAY");
    XCloseDisplay(display);
}

PointerState PointerOf(const Screen* screen)
{
    Window root = 0, child = 0;
    int x = 0, y = 0, windowX = 0, windowY = 0;
    unsigned mask = 0;
    XQueryPointer(screen->display, DefaultRootWindow(screen->display), &root, &child, &x, &y,
        &windowX, &windowY, &mask);
    return {x, y, (mask & Button1Mask) != 0};
}

unsigned long PixelAt(const Screen* screen, int x, int y)
{
    XImage* image = XGetImage(
        screen->display, DefaultRootWindow(screen->display), x, y, 1, 1, AllPlanes, ZPixmap);
    const unsigned long pixel = XGetPixel(image, 0, 0);
    XDestroyImage(image);
    return pixel & 0xFFFFFF;
}

unsigned long WaitForWindow(const std::string& title)
{
    // The search fails if another window is closed during it.
    RunResult search{};
    WaitUntil([&] {
        search = RunProgram(
            {"xdotool", "search", "--sync", "--onlyvisible", "--name", "^" + title + "$"});
        return search.exitCode == 0;
    });
    return search.exitCode == 0 ? std::stoul(search.output) : 0;
}

bool HasWindow(const std::string& title)
{
    const RunResult search
        = RunProgram({"xdotool", "search", "--onlyvisible", "--name", "^" + title + "$"});
    return search.exitCode == 0 || !search.error.empty();
}

void PressCloseButton(const Screen* screen, unsigned long window)
{
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = XInternAtom(screen->display, "WM_PROTOCOLS", False);
    event.xclient.format = 32;
    event.xclient.data.l[0]
        = static_cast<long>(XInternAtom(screen->display, "WM_DELETE_WINDOW", False));
    XSendEvent(screen->display, window, False, NoEventMask, &event);
    XFlush(screen->display);
}

} // namespace korvex::testing
