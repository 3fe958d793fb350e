// The commands of `korvex`, with their options.
#pragma once

#include <vector>

#include "cli/program.h"
#include "process/options.h"

namespace korvex::command {

using SetUpPart = int (*)(const Options*);

struct KorvexCommand {
    Command syntax;
    std::vector<SetUpPart> machine = {}; // what is set up before it runs (machine_setup.h)
    int (*run)(const Options*) = nullptr;
    // what a missing --pointer means; null: as the session has it, and if it has none "log"
    const char* pointer = nullptr;
    // SIGINT and SIGTERM are what it waits for (shutdown.h); else they have their default action
    bool endsCleanly = false;
    bool hasPanelSettings = false; // its options can be in files too (panel_settings.h)
};

// The longest value of --seconds.
inline constexpr double MAX_SECONDS = 86400;

// All commands, in the order of the help. What is given to them is stored in `options`.
std::vector<KorvexCommand> KorvexCommands(Options* options);

// The program that has them.
Program KorvexProgram(const std::vector<KorvexCommand>& commands);

} // namespace korvex::command
