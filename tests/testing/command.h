// Shared by the tests of the commands and of the runtime.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "testing/installation.h"
#include "testing/process.h"
#include "testing/screen.h"
#include "testing/temporary_folder.h"
#include "testing/test_line.h"
#include "testing/testing.h"

namespace korvex::testing {

using emulator::EmulatorOptions;
using emulator::EmulatorPointer;
using emulator::StartEmulator;
using Pairs = std::vector<std::pair<std::string, std::string>>;

inline const std::string KORVEX = KORVEX_COMMAND;

inline RunResult RunKorvex(const std::vector<std::string>& words)
{
    return RunProgram(Joined({KORVEX}, words));
}

// The set-up of a user with one panel: a folder, which is current, with a calibration that maps
// plainly, and an emulated controller on its link "panel". No display is set, and the session is
// the test's own.
struct PanelFolder {
    TemporaryFolder folder;
    EmulatorPointer panel;

    explicit PanelFolder(EmulatorPointer first = StartEmulator({}))
    {
        WriteTextFile("Korvex.ini", "[Calibration]\nSTD_MAX_X=1024\nSTD_MAX_Y=1024\n");
        unsetenv("DISPLAY");
        setenv("XDG_RUNTIME_DIR", folder.path.c_str(), 1);
        Put(std::move(first));
    }

    // Puts another controller in the panel's place.
    void Put(EmulatorPointer next)
    {
        panel = std::move(next);
        PlaceLink("panel", panel.get());
    }
    std::string Tty() const { return TerminalPath(panel.get()); }
};

} // namespace korvex::testing
