// The command `korvex-emulator`.
#pragma once

namespace korvex::emulator {

// Runs the command; the result is its exit code. SIGINT and SIGTERM end it. Called once, from main,
// before any thread is started.
int RunEmulatorCommand(int argc, char** argv);

} // namespace korvex::emulator
