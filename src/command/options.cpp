#include "command/options.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace korvex::command {

namespace {

std::string EnvironmentText(const char* name)
{
    const char* value = getenv(name);
    return value == nullptr ? "" : value;
}

} // namespace

bool HasDisplay()
{
    return !EnvironmentText("DISPLAY").empty();
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
    options->pointer = HasDisplay() ? "x11" : "log";
    options->windows = HasDisplay() ? "x11" : "none";
    options->stateFolder = DefaultStateFolder();
}

} // namespace korvex::command
