#include "process/options.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

#include "platform/linux/pointer/pointer_uinput.h"
#include "platform/linux/windows/window_x11.h"

namespace korvex::command {

std::string EnvironmentText(const char* name)
{
    const char* value = getenv(name);
    return value == nullptr ? "" : value;
}

bool HasDisplay()
{
    return platform::HasX11() && !EnvironmentText("DISPLAY").empty();
}

bool IsWaylandSession()
{
    return !EnvironmentText("WAYLAND_DISPLAY").empty()
        || EnvironmentText("XDG_SESSION_TYPE") == "wayland";
}

std::string DefaultStateFolder()
{
    const std::string folder = EnvironmentText("XDG_STATE_HOME");
    if (!folder.empty())
        return folder + "/korvex";
    std::string home = EnvironmentText("HOME");
    if (const passwd* user = getpwuid(getuid()); home.empty() && user != nullptr)
        home = user->pw_dir;
    return home + "/.local/state/korvex";
}

void SetDefaults(Options* options)
{
    std::string refused;
    const bool isX = HasDisplay() && !IsWaylandSession();
    // The standard output of a unit (NOTIFY_SOCKET in systemd.exec(5)) is no place for touches.
    const bool isUnit = !HasDisplay() && !EnvironmentText("NOTIFY_SOCKET").empty();
    if (options->pointer.empty() && !isX && (isUnit || platform::CanMakeInputDevices(&refused)))
        options->pointer = "uinput";
    else if (options->pointer.empty())
        options->pointer = HasDisplay() ? "x11" : "log";
    if (options->windows.empty())
        options->windows = HasDisplay() ? "x11" : "none";
    if (options->stateFolder.empty())
        options->stateFolder = DefaultStateFolder();
}

} // namespace korvex::command
