#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <system_error>
#include <thread>

#include "cli/command_line.h"
#include "cli/text_layout.h"
#include "emulator/command_options.h"
#include "emulator/emulator.h"
#include "emulator/gestures.h"

namespace korvex::emulator {

namespace {

std::string HexText(const Bytes& bytes)
{
    std::string text;
    for (const uint8_t byte : bytes)
        text += command::Formatted("%s%02X", text.empty() ? "" : " ", byte);
    return text;
}

void PrintCommand(const ReceivedCommand& command)
{
    printf("%5u baud: %-17s -> %s\n", command.baudRate, HexText(command.bytes).c_str(),
        command.answer.empty() ? "(no answer)" : HexText(command.answer).c_str());
    fflush(stdout);
}

// Carries out a line; false when it ends the emulator.
bool RunLine(Emulator* emulator, const std::string& line)
{
    std::string error;
    const GestureResult result = RunGesture(emulator, line, &error);
    if (result == GestureResult::FAILED)
        fprintf(stderr, "korvex-emulator: %s\n", error.c_str());
    if (result == GestureResult::QUIT)
        kill(getpid(), SIGTERM);
    return result != GestureResult::QUIT;
}

// Carries out what the settings ask for; its end leaves the emulator running, "quit" ends the
// process.
void RunScript(Emulator* emulator, const Settings* settings)
{
    if (settings->followsPanelTest)
        RunLine(emulator, "panel-test");
    if (settings->script.empty())
        return;
    std::ifstream file;
    if (settings->script != "-")
        file.open(settings->script);
    std::istream& lines = settings->script == "-" ? std::cin : file;
    if (!lines)
        fprintf(stderr, "korvex-emulator: cannot read '%s'\n", settings->script.c_str());
    for (std::string line; std::getline(lines, line) && RunLine(emulator, line);) { }
}

int RunEmulatorCommand(int argc, char** argv)
{
    Settings settings;
    const command::CommandLine line
        = command::ReadCommandLine(EmulatorProgram(&settings), argc, argv);
    if (!line.output.empty() || !line.fault.empty()) {
        fputs(line.output.c_str(), stdout);
        if (!line.fault.empty())
            fprintf(stderr, "korvex-emulator: %s\n", line.fault.c_str());
        return line.exitCode;
    }

    sigset_t endSignals;
    sigemptyset(&endSignals);
    sigaddset(&endSignals, SIGINT);
    sigaddset(&endSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &endSignals, nullptr);

    const EmulatorPointer emulator = StartEmulator(settings.options, PrintCommand);
    if (!emulator) {
        perror("korvex-emulator: cannot open a pseudo-terminal");
        return EXIT_FAILURE;
    }

    namespace fs = std::filesystem;
    std::error_code error;
    if (!settings.link.empty()) {
        if (fs::is_symlink(settings.link, error))
            fs::remove(settings.link, error);
        fs::create_symlink(TerminalPath(emulator.get()), settings.link, error);
        if (error) {
            fprintf(stderr, "korvex-emulator: cannot create the link '%s': %s\n",
                settings.link.c_str(), error.message().c_str());
            return EXIT_FAILURE;
        }
    }
    printf(
        "emulating model %X on %s\n", settings.options.model, TerminalPath(emulator.get()).c_str());
    fflush(stdout);

    std::thread script;
    if (settings.followsPanelTest || !settings.script.empty())
        script = std::thread(RunScript, emulator.get(), &settings);
    int signal = 0;
    sigwait(&endSignals, &signal);
    if (!settings.link.empty())
        fs::remove(settings.link, error);
    fflush(stdout);
    // The script may be waiting for a line of its input, which nothing ends.
    if (script.joinable()) {
        script.detach();
        _exit(EXIT_SUCCESS);
    }
    return EXIT_SUCCESS;
}

} // namespace
} // namespace korvex::emulator

int main(int argc, char** argv)
{
    return korvex::emulator::RunEmulatorCommand(argc, argv);
}
