#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <new>

#include "command/command_line.h"
#include "machine/machine_setup.h"
#include "process/end_request.h"
#include "process/exit_codes.h"
#include "process/message.h"

namespace korvex::command {

namespace {

// Opens what is missing of the standard descriptors: the first file or port that is opened would
// else take its number, and what is printed would go there. What is written to the stand-in of
// standard output fails, which is told.
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

int Run(const CommandLine* line)
{
    if (line->command->endsCleanly) {
        if (!WatchForEnd()) {
            Error("the system refuses a thread or a descriptor for its end");
            return EXIT_FAULT;
        }
    } else {
        AllowEndSignals();
    }
    int exitCode = EXIT_DONE;
    try {
        exitCode = SetUpMachine(&line->options, line->command->machine);
        if (exitCode == EXIT_DONE)
            exitCode = line->command->run(&line->options);
    } catch (const std::bad_alloc&) {
        Error("memory is short");
        fflush(nullptr);
        _exit(EXIT_FAULT); // threads may be using what would be torn down
    }
    return exitCode == EXIT_DONE && (WasWriteRefused() || WasInputLost(&line->options)) ? EXIT_FAULT
                                                                                        : exitCode;
}

// Before any thread is started.
int RunCommand(int argc, char** argv)
{
    OpenMissingDescriptors();
    BlockEndSignals();
    signal(SIGPIPE, SIG_IGN); // a reader of the output that has gone away shows as a failed write
    const CommandLine line = ReadCommandLine(argc, argv);
    if (line.command != nullptr)
        return FlushOutput(Run(&line));
    AllowEndSignals();
    fputs(line.output.c_str(), stdout);
    return FlushOutput(line.exitCode);
}

} // namespace
} // namespace korvex::command

int main(int argc, char** argv)
{
    return korvex::command::RunCommand(argc, argv);
}
