// A Windows of the test's own: a Wine prefix with KORVEX.dll and its test programs in a folder,
// which is current while the guard lives.
#pragma once

#include <string>
#include <vector>

#include "emulator/emulator.h"
#include "testing/process.h"
#include "testing/temporary_folder.h"

namespace korvex::testing {

// True when 32-bit Wine is there (scripts/make-wine-root).
bool HasWine();

struct Wine {
    TemporaryFolder folder;

    Wine();
    ~Wine(); // ends everything that still runs in it
};

// Makes the emulator's terminal COM3, as a device that SetupAPI lists.
void PlugIn(const Wine* wine, const emulator::Emulator* emulator);

// The command that runs these words, a program's name first; and that of "host.exe" with them.
std::vector<std::string> Windows(const std::vector<std::string>& words);
std::vector<std::string> Host(const std::vector<std::string>& words);

// Has programs that are started from now on block in a wait for a character, as on a real port.
void BlockInWaits(const Wine* wine);

} // namespace korvex::testing
