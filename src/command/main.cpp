#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <new>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "command/command_table.h"
#include "command/panel_settings.h"
#include "machine/machine_setup.h"
#include "machine/port_names.h"
#include "process/exit_codes.h"
#include "process/message.h"
#include "process/options.h"
#include "process/shutdown.h"

namespace korvex::command {

namespace {

// Opens the missing standard descriptors: the first file or port that is opened would otherwise get
// their number, and receive the output. Writing to the stand-in of standard output fails, which is
// reported.
void OpenMissingDescriptors()
{
    for (const auto& [descriptor, mode] : std::array<std::array<int, 2>, 3>{
             {{STDIN_FILENO, O_RDONLY}, {STDOUT_FILENO, O_RDONLY}, {STDERR_FILENO, O_WRONLY}}}) {
        if (fcntl(descriptor, F_GETFD) < 0 && open("/dev/null", mode) < 0)
            open("/", O_PATH); // it keeps the number as well
    }
}

// The exit code of a command whose output must have gone out.
int FlushOutput(int exitCode)
{
    if ((fflush(stdout) == 0 && ferror(stdout) == 0) || exitCode != EXIT_DONE)
        return exitCode;
    return OutputFailed();
}

int Run(const KorvexCommand& command, const Options* options)
{
    if (command.endsCleanly) {
        if (!WatchForShutdown()) {
            Error("cannot start a thread or open a descriptor for the shutdown");
            return EXIT_FAULT;
        }
    } else {
        AllowShutdownSignals();
    }
    int exitCode = EXIT_DONE;
    try {
        exitCode = SetUpMachine(options, command.machine);
        if (exitCode == EXIT_DONE)
            exitCode = command.run(options);
    } catch (const std::bad_alloc&) {
        Error("out of memory");
        fflush(nullptr);
        _exit(EXIT_FAULT); // threads may be using what would be torn down
    }
    return exitCode == EXIT_DONE && (WasWriteRefused() || WasInputLost(options)) ? EXIT_FAULT
                                                                                 : exitCode;
}

// Before any thread is started.
int RunCommand(int argc, char** argv)
{
    OpenMissingDescriptors();
    BlockShutdownSignals();
    signal(SIGPIPE, SIG_IGN); // a reader of the output that has gone away shows as a failed write
    Options options;
    const std::vector<KorvexCommand> commands = KorvexCommands(&options);
    const CommandLine line = ReadCommandLine(KorvexProgram(commands), argc, argv);
    SetMessagePrefix(line.command.empty() ? "korvex" : "korvex " + line.command);
    if (!line.output.empty() || !line.fault.empty()) {
        AllowShutdownSignals();
        fputs(line.output.c_str(), stdout);
        if (!line.fault.empty())
            Error(line.fault);
        return FlushOutput(line.exitCode);
    }
    const auto command = std::find_if(commands.begin(), commands.end(),
        [&line](const KorvexCommand& one) { return one.syntax.name == line.command; });
    std::vector<GivenOption> given = line.given;
    std::vector<std::string> faults;
    std::string panel;
    if (command->hasPanelSettings) {
        panel = PanelNameOf(PathOfPort(options.givenPorts, options.arguments[0]));
        faults = ReadPanelSettings(*command, panel, &given);
    }
    if (options.pointer.empty() && command->pointer != nullptr)
        options.pointer = command->pointer;
    SetDefaults(&options);
    for (const std::string& fault : faults)
        Error({Happening::SETTINGS, panel, panel}, fault);
    if (options.showConfig) {
        AllowShutdownSignals();
        fputs(SettingsText(*command, &options, &given).c_str(), stdout);
        return FlushOutput(faults.empty() ? EXIT_DONE : EXIT_FAULT);
    }
    return FlushOutput(Run(*command, &options));
}

} // namespace
} // namespace korvex::command

int main(int argc, char** argv)
{
    return korvex::command::RunCommand(argc, argv);
}
