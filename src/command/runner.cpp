#include "command/runner.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <string_view>

#include "command/calibration_program.h"
#include "command/check.h"
#include "command/coinstall.h"
#include "command/detection.h"
#include "command/drive.h"
#include "command/monitor.h"
#include "command/ports.h"
#include "command/record.h"

namespace korvex::command {

namespace {

constexpr const char* HELP = R"(Usage: korvex COMMAND [OPTION]...
The runtime of Korvex touch-screen controllers.

Commands:
  enum               find the controllers on all ports and let their touches move the pointer, behind a
                     status window, until it is closed or SIGINT or SIGTERM comes
  paneltest          calibrate the panel that is touched, by nine targets over the whole screen, then
                     rate it; Escape ends it
  drive PORT         like enum for the one controller on the serial port PORT, a path such as
                     /dev/ttyS0, without window and bindings
  check              look at display, settings, ports and controllers for what commonly goes wrong, and say
                     what to do about it
  monitor PORT...    drive the controllers on these ports and show, live, what each reports
  record FILE PORT   drive the controller on a port and keep what comes over the line in a new file
  replay FILE        play a recording to a session, through a pseudo-terminal
  ports              list the serial ports, what stands on them and how they are bound, opening none
  unbind NAME        take the binding and its parameters off a port
  calib N|TEXT       start the calibration program with a number or a text (behind "--" when
                     it begins with "-")
  coinstall install|remove
                     call the co-installer for the device named with --instance, as the installer of Windows
                     does, and print what it changes
  set-path DIR       store where the calibration program KxConsole.exe is

Options:
  --single           (enum, paneltest) only when no other one runs in this session
  --port NAME=PATH   (enum, paneltest, check, ports, unbind, coinstall; repeatable) use these ports,
                     COM3=/dev/ttyUSB0, not the system's
  --state DIR        (those, calib, set-path) where bindings and registry are kept (default
                     $XDG_STATE_HOME/korvex, or ~/.local/state/korvex)
  --pointer x11|log|none
                     (enum, paneltest, drive, monitor, record, replay) send the pointer input to the X
                     display (default where DISPLAY is set, but not of record), print it as one JSON object
                     a line on standard output (not of monitor), or drop it
  --windows x11|none (enum, paneltest) show windows on the X display (default where DISPLAY is set), or
                     print what they would show on standard error
  --trace FILE       (enum, paneltest, check, drive, monitor, record, replay, coinstall) write the diagnostic
                     lines to FILE (default: standard error for enum, paneltest, drive and coinstall, else
                     nowhere)
  --json             (ports, monitor) as JSON; of monitor one object a line when something has changed
  --seconds N        (monitor, record) end by itself after so long; (check) how long to listen for touches
                     (default 3)
  --speed recorded|full
                     (replay) with the pauses of the recording (default), or as fast as the line takes it
  --instance ID      (coinstall) the device, USB\KVX5200\1; one that is not there is plugged in
  --os VERSION, --server, --tablet-pc
                     (coinstall) the Windows that is asked, 5.1 unless given, a server edition, a Tablet PC
  --help, --version

The calibration is read from "Korvex.ini" in the current directory.

Exit codes: 0 done, or ended by its window or a signal, 1 other failure, 2 wrong option or argument, 3 no
such port or it cannot be opened, 4 no controller answers, 5 the display cannot be used, 6 another one runs.
)";

struct Command {
    std::string_view name;
    int (*run)(int argc, char** argv);
};

constexpr std::array COMMANDS{Command{"enum", RunEnumerate}, Command{"paneltest", RunPanelTest}, Command{"drive", RunDrive},
    Command{"monitor", RunMonitor}, Command{"record", RunRecord}, Command{"replay", RunReplay}, Command{"check", RunCheck},
    Command{"ports", RunPorts}, Command{"unbind", RunUnbind}, Command{"calib", RunCalib}, Command{"coinstall", RunCoinstall},
    Command{"set-path", RunSetPath}};

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

// The exit code of a command whose output must have gone out.
int WithOutput(int exitCode)
{
    if ((fflush(stdout) == 0 && ferror(stdout) == 0) || exitCode != EXIT_DONE)
        return exitCode;
    fputs("korvex: cannot write to standard output\n", stderr);
    return EXIT_FAULT;
}

} // namespace

int RunCommand(int argc, char** argv)
{
    BlockEndSignals();
    const std::string_view command = argc > 1 ? argv[1] : "";
    const bool asksForHelp
        = std::any_of(argv + std::min(argc, 1), argv + argc, [](const char* word) { return std::string_view(word) == "--help"; });
    for (const Command& known : COMMANDS) {
        if (known.name == command && !asksForHelp)
            return WithOutput(known.run(argc - 1, argv + 1));
    }
    if (asksForHelp) {
        fputs(HELP, stdout);
        return WithOutput(EXIT_DONE);
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

} // namespace korvex::command
