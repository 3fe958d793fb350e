// In place of the X11 sources in a build without X11 (the option KORVEX_X11).
#include "platform/linux/pointer/pointer_x11.h"
#include "platform/linux/windows/window_x11.h"
#include "platform/linux/x11/monitors.h"

namespace korvex::platform {

namespace {

constexpr const char* REASON = "cannot use an X display: this program was built without X11";

} // namespace

bool HasX11()
{
    return false;
}

bool UseX11Pointer(const PointerSettings& /*settings*/, std::string* reason)
{
    *reason = REASON;
    return false;
}

const WindowBackend* X11Backend(const char* /*name*/, std::string* reason)
{
    *reason = REASON;
    return nullptr;
}

bool MeasureMonitor(const char* /*display*/, const std::string& /*output*/, MonitorArea* /*area*/)
{
    return false;
}

} // namespace korvex::platform
