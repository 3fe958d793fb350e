#include "testing/installation.h"

#include <cstdlib>

#include "testing/process.h"

namespace korvex::testing {

Installation::Installation()
{
    WriteTextFile("Korvex.ini", "[Calibration]\nSTD_MAX_X=1024\nSTD_MAX_Y=1024\n");
    unsetenv("DISPLAY");
    setenv("XDG_RUNTIME_DIR", folder.path.c_str(), 1);
}

std::vector<std::string> Installation::Command(const std::vector<std::string>& words) const
{
    return Joined(Joined({KORVEX_COMMAND}, words),
        {"--state", (folder.path / "state").string(), "--port", "COM3=" + TerminalPath(first.get()),
            "--port", "COM4=" + TerminalPath(second.get())});
}

std::vector<std::string> Installation::Unseen(const std::vector<std::string>& words) const
{
    return Joined(
        Command(words), {"--windows", "none", "--pointer", "log", "--trace", "trace.txt"});
}

} // namespace korvex::testing
