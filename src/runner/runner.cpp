#include "runner/runner.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <string_view>

#include "runner/drive.h"

namespace korvex::runner {

namespace {

constexpr const char* HELP = R"(Usage: korvex COMMAND [OPTION]...
The runtime of Korvex touch-screen controllers.

Commands:
  drive PORT   identify the controller on the serial port PORT (a path such as /dev/ttyS0) and let its
               touches move the pointer, until SIGINT or SIGTERM

Options of drive:
  --pointer x11|log   send the pointer input to the X display (default where DISPLAY is set), or print it
                      as one JSON object a line on standard output
  --trace FILE        write the diagnostic lines to FILE (default: standard error)

  --help              show this
  --version           show the version

The calibration is read from "Korvex.ini" in the current directory.

Exit codes: 0 ended by a signal, 1 other failure, 2 wrong option or argument, 3 the port cannot be opened,
4 no controller answers, 5 pointer input cannot be sent.
)";

// Signals that end a command are waited for, never handled; threads started later inherit the mask.
void BlockEndSignals()
{
    sigset_t endSignals;
    sigemptyset(&endSignals);
    sigaddset(&endSignals, SIGINT);
    sigaddset(&endSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &endSignals, nullptr);
    // A reader of the log that has gone away shows as a failed write.
    signal(SIGPIPE, SIG_IGN);
}

} // namespace

int RunCommand(int argc, char** argv)
{
    BlockEndSignals();
    const std::string_view command = argc > 1 ? argv[1] : "";
    const bool asksForHelp
        = std::any_of(argv + std::min(argc, 1), argv + argc, [](const char* word) { return std::string_view(word) == "--help"; });
    if (command == "drive" && !asksForHelp)
        return RunDrive(argc - 1, argv + 1);
    if (asksForHelp) {
        fputs(HELP, stdout);
        return EXIT_DONE;
    }
    if (command == "--version") {
        puts("korvex " KORVEX_VERSION);
        return EXIT_DONE;
    }
    if (command.empty())
        fputs("korvex: a command is missing; see 'korvex --help'\n", stderr);
    else
        fprintf(stderr, "korvex: unknown %s '%s'; see 'korvex --help'\n", command.starts_with('-') ? "option" : "command", argv[1]);
    return EXIT_USAGE_ERROR;
}

} // namespace korvex::runner
