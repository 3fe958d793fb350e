#include "testing/installation.h"

#include <cstdlib>

namespace korvex::testing {

Installation::Installation()
{
    WriteTextFile("Korvex.ini", "[Calibration]\nSTD_MAX_X=1024\nSTD_MAX_Y=1024\n");
    unsetenv("DISPLAY");
    setenv("XDG_RUNTIME_DIR", folder.path.c_str(), 1);
}

std::vector<std::string> Installation::Command(const std::vector<std::string>& words) const
{
    std::vector<std::string> command{KORVEX_COMMAND};
    command.insert(command.end(), words.begin(), words.end());
    command.insert(command.end(),
        {"--state", (folder.path / "state").string(), "--port", "COM3=" + TerminalPath(first.get()), "--port",
            "COM4=" + TerminalPath(second.get())});
    return command;
}

std::vector<std::string> Installation::Unseen(const std::vector<std::string>& words) const
{
    std::vector<std::string> command = Command(words);
    command.insert(command.end(), {"--windows", "none", "--pointer", "log", "--trace", "trace.txt"});
    return command;
}

} // namespace korvex::testing
