// The set-up of a user of `korvex`: two controllers on COM3 and COM4, and a folder, which is
// current, with a calibration that maps plainly. No display is set, and the session is the test's
// own.
#pragma once

#include <cstdlib>
#include <string>
#include <vector>

#include "emulator/emulator.h"
#include "testing/process.h"
#include "testing/temporary_folder.h"

namespace korvex::testing {

struct Installation {
    TemporaryFolder folder;
    emulator::EmulatorPointer first = emulator::StartEmulator({});
    emulator::EmulatorPointer second = emulator::StartEmulator({0x7700});

    Installation()
    {
        WriteTextFile("Korvex.ini", "[Calibration]\nSTD_MAX_X=1024\nSTD_MAX_Y=1024\n");
        unsetenv("DISPLAY");
        setenv("XDG_RUNTIME_DIR", folder.path.c_str(), 1);
    }

    // `korvex` with these words, the ports and a state folder.
    std::vector<std::string> Command(const std::vector<std::string>& words) const
    {
        return Joined(Joined({KORVEX_COMMAND}, words),
            {"--state", (folder.path / "state").string(), "--port",
                "COM3=" + TerminalPath(first.get()), "--port",
                "COM4=" + TerminalPath(second.get())});
    }

    // The same for a subcommand with windows, without a screen: input on standard output, texts on
    // standard error, diagnostic lines in "trace.txt".
    std::vector<std::string> Unseen(const std::vector<std::string>& words) const
    {
        return Joined(
            Command(words), {"--windows", "none", "--pointer", "log", "--trace", "trace.txt"});
    }
};

} // namespace korvex::testing
