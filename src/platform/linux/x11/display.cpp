#include "platform/linux/x11/display.h"

#include <X11/Xlib.h>

namespace korvex::platform {

_XDisplay* OpenDisplay(const char* name, bool* broken, std::string* reason)
{
    Display* display = XOpenDisplay(name);
    if (display == nullptr) {
        *reason = "cannot open " + DisplayText(name);
        return nullptr;
    }
    *broken = false;
    // A request that the server refuses must not end the process, maybe with the button down: a
    // window can have been closed in the meantime.
    XSetErrorHandler([](Display* /*display*/, XErrorEvent* /*event*/) { return 0; });
    // Without these two handlers Xlib ends the process when the server goes away.
    XSetIOErrorHandler([](Display* /*display*/) { return 0; });
    XSetIOErrorExitHandler(
        display, [](Display* /*display*/, void* data) { *static_cast<bool*>(data) = true; },
        broken);
    return display;
}

std::string DisplayText(const char* name)
{
    return std::string("the X display \"") + XDisplayName(name) + "\"";
}

} // namespace korvex::platform
