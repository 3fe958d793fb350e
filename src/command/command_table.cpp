#include "command/command_table.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>

#include "command/subcommands.h"
#include "machine/machine_setup.h"
#include "platform/linux/pointer/pointer_backends.h"
#include "process/exit_codes.h"

namespace korvex::command {

namespace {

constexpr const char* EVERY_DAY = "Every day";
constexpr const char* DIAGNOSIS = "Diagnosis";

bool IsPortName(std::string_view name)
{
    return name.starts_with("COM") && name.size() > 3 && name.size() < 8
        && name.find_first_not_of("0123456789", 3) == std::string_view::npos;
}

// PORT, or NAME=PATH; a path may have an equals sign too.
bool TakePort(const std::string& value, Options* options)
{
    const size_t equals = value.find('=');
    if (equals == std::string::npos || value.find('/') < equals) {
        options->only.push_back(value);
        return !value.empty();
    }
    const GivenPort given{value.substr(0, equals), value.substr(equals + 1)};
    const bool taken = std::any_of(
        options->ports.begin(), options->ports.end(), [&given](const GivenPort& other) {
            return other.name == given.name || other.path == given.path;
        });
    options->ports.push_back(given);
    return IsPortName(given.name) && !given.path.empty() && !taken;
}

bool TakeVersion(const std::string& value, Options* options)
{
    const char* end = value.data() + value.size();
    const auto [dot, majorError] = std::from_chars(value.data(), end, options->osMajor);
    if (majorError != std::errc{} || dot == end || *dot != '.' || options->osMajor == 0)
        return false;
    const auto [rest, minorError] = std::from_chars(dot + 1, end, options->osMinor);
    return minorError == std::errc{} && rest == end;
}

bool TakeSeconds(const std::string& value, Options* options)
{
    double number = 0;
    const char* end = value.data() + value.size();
    const auto [rest, error] = std::from_chars(value.data(), end, number);
    options->seconds = number;
    return error == std::errc{} && rest == end && number >= 0 && number <= MAX_SECONDS;
}

bool TakeInstance(const std::string& value, Options* options)
{
    options->instance = value;
    const size_t last = value.rfind('\\');
    return last != std::string::npos && last > 0 && last + 1 < value.size();
}

bool TakeMonitor(const std::string& value, Options* options)
{
    const size_t equals = value.rfind('=');
    if (equals == std::string::npos) {
        const bool first = options->monitor.empty();
        options->monitor = value;
        return first && !value.empty();
    }
    const PortMonitor given{value.substr(0, equals), value.substr(equals + 1)};
    const bool taken = std::any_of(options->portMonitors.begin(), options->portMonitors.end(),
        [&given](const PortMonitor& other) { return other.port == given.port; });
    options->portMonitors.push_back(given);
    return !taken && !given.port.empty() && !given.output.empty();
}

// Where a command shows one window, and calibrates one panel.
bool TakeOneMonitor(const std::string& value, Options* options)
{
    return TakeMonitor(value, options) && options->portMonitors.empty();
}

bool TakePoints(const std::string& value, Options* options)
{
    options->points = value == "4" ? 4 : 9;
    return true;
}

bool TakeSpeed(const std::string& value, Options* options)
{
    options->fullSpeed = value == "full";
    return true;
}

bool TakeArgument(const std::string& value, Options* options)
{
    options->arguments.push_back(value);
    return true;
}

// The option with another text.
Option WithHelp(Option option, const char* help)
{
    option.help = help;
    return option;
}

} // namespace

std::vector<KorvexCommand> KorvexCommands(Options* options)
{
    const auto take = [options](bool (*routine)(const std::string&, Options*)) -> StoreValue {
        return [routine, options](const std::string& value) { return routine(value, options); };
    };
    const StoreValue argument = take(TakeArgument);

    const Option single{.name = "--single",
        .help = "only when no other one runs in this session",
        .store = StoreFlag(&options->single)};
    const Option port{.name = "--port",
        .value = "PORT",
        .help = "this port and no other, by any of its names: the panel's, COM3, ttyUSB0, or a "
                "path; or, as COM3=/dev/ttyUSB0, a port and its name in place of the system's. May "
                "be given several times. Of the system's ports ttyS0 is COM1, ttyS1 COM2 and so "
                "on; USB adapters follow from COM33",
        .store = take(TakePort),
        .expected = "a port, such as COM3, or NAME=PATH, such as COM3=/dev/ttyS2, each once",
        .completion = Completion::PORTS,
        .repeatable = true};
    const Option wait{.name = "--wait",
        .help = "where the port or its controller is missing, ask again every 2 to 30 seconds, "
                "until it is there",
        .store = StoreFlag(&options->wait)};
    const Option probe{.name = "--probe",
        .help = "ask every port, also those that may have other devices on them",
        .store = StoreFlag(&options->probe)};
    const Option state{.name = "--state",
        .value = "DIR",
        .help = "where bindings and registry are kept (default $XDG_STATE_HOME/korvex, or "
                "~/.local/state/korvex)",
        .store = StoreText(&options->stateFolder),
        .expected = "a path",
        .completion = Completion::FOLDERS};
    const Option pointer{.name = "--pointer",
        .help = "send the touches to the X display (default in an X session), to a touch screen "
                "device of the kernel for each panel, for Wayland, consoles and login screens too "
                "(default elsewhere, where /dev/uinput may be opened), print them as one JSON "
                "object a line on standard output, or drop them",
        .store = StoreText(&options->pointer),
        .choices = platform::PointerNames()};
    const Option monitor{.name = "--monitor",
        .value = "[PORT=]OUTPUT",
        .help = "windows and touches on the X display mean the monitor of that output, HDMI-1, not "
                "the primary one; with PORT the touches from that port; may be given several times",
        .store = take(TakeMonitor),
        .expected = "an output, such as HDMI-1, or PORT=OUTPUT, each port once",
        .completion = Completion::OUTPUTS,
        .repeatable = true};
    const Option windows{.name = "--windows",
        .help = "show windows on the X display (default where DISPLAY is set), or print what they "
                "would show on standard error",
        .store = StoreText(&options->windows),
        .choices = {"x11", "none"}};
    const Option trace{.name = "--trace",
        .value = "FILE",
        .help = "write the diagnostic lines to FILE (default: standard error)",
        .store = StoreText(&options->traceFile),
        .expected = "a path",
        .completion = Completion::FILES};
    const Option quietTrace
        = WithHelp(trace, "write the diagnostic lines to FILE (default: nowhere)");
    const Option json{.name = "--json", .help = "print JSON", .store = StoreFlag(&options->json)};
    const Option seconds{.name = "--seconds",
        .value = "N",
        .help = "end by itself after so long",
        .store = take(TakeSeconds),
        .expected = "a number from 0 to 86400"};
    const Option panelPort{.name = "PORT",
        .help = "the serial port, by any of its names: the panel's, COM3, ttyUSB0, or a path",
        .store = argument,
        .completion = Completion::PORTS,
        .required = true};
    Option panelPorts = panelPort;
    panelPorts.repeatable = true;
    Option quietPointer = WithHelp(pointer,
        "send the touches to the X display or to touch screen devices of the kernel, or drop them "
        "(default)");
    quietPointer.choices = {"x11", "uinput", "none"};
    Option oneMonitor = WithHelp(monitor,
        "windows and touches on the X display mean the monitor of that output, HDMI-1, not the "
        "primary one");
    oneMonitor.value = "OUTPUT";
    oneMonitor.store = take(TakeOneMonitor);
    oneMonitor.expected = "an output, such as HDMI-1: its window is on one monitor";
    const Option file{
        .name = "FILE", .store = argument, .completion = Completion::FILES, .required = true};

    return {
        {.syntax = {.name = "calibrate",
             .group = EVERY_DAY,
             .help = "calibrate a panel: the crosses that are shown over the whole screen are "
                     "touched, the result is tried, and saved in Korvex.ini or left. Of a panel "
                     "that enum or drive drives now through them, else on its port; without PANEL: "
                     "whichever of all panels is touched",
             .arguments = {{.name = "PANEL",
                 .help = "the panel's name, or another name of its port: COM3, ttyUSB0, or a path",
                 .store = argument,
                 .completion = Completion::PORTS}},
             .options
             = {{.name = "--points",
                    .help = "how many crosses are touched: 9 (default) put panels right that are "
                            "uneven too, 4 are enough for one that is only askew, turned or off "
                            "the middle",
                    .store = take(TakePoints),
                    .choices = {"9", "4"}},
                 {.name = "--accept",
                     .help = "without a window save also where a cross does not fit the others, "
                             "and in place of another panel's calibration",
                     .store = StoreFlag(&options->accept)},
                 {.name = "--undo",
                     .help = "bring the calibration back that the last save replaced; the last ten "
                             "are kept",
                     .store = StoreFlag(&options->undo)},
                 WithHelp(oneMonitor,
                     "show the crosses on the monitor of that output, HDMI-1, not on the primary "
                     "one"),
                 WithHelp(windows,
                     "show the crosses on the X display (default where DISPLAY is set), or say "
                     "where each is on standard error; when all are taken and fit each other, that "
                     "saves by itself"),
                 WithHelp(json,
                     "print one JSON object a line: each cross that waits and what comes of it, "
                     "and the result"),
                 port, state, quietTrace}},
            .machine = {SetUpQuietTrace, SetUpPointer, SetUpWindows},
            .run = RunCalibrate,
            .pointer = "none", // the touches are the calibration's
            .endsCleanly = true},
        {.syntax = {.name = "check",
             .group = EVERY_DAY,
             .help = "look at display, named panels, their units and calibrations, ports and "
                     "controllers for what commonly goes wrong, one line each: \"ok\", \"note\", or"
                     " \"FAULT\" with what to do; with a fault it ends with 1",
             .options = {probe, port, state, quietTrace,
                 WithHelp(json, "print all that is found as one JSON array"),
                 WithHelp(seconds, "how long to listen for touches (default 3)")}},
            .machine = {SetUpQuietTrace},
            .run = RunCheck,
            .pointer = "none", // the touches are looked at, not sent
            .endsCleanly = true},
        {.syntax = {.name = "status",
             .group = EVERY_DAY,
             .help = "list the panels that enum and drive drive now: port, controller, since when, "
                     "calibration, counters, last touch",
             .options = {json}},
            .run = RunStatus},
        {.syntax = {.name = "enum",
             .group = EVERY_DAY,
             .help = "find the controllers on all ports, which sends bytes to whatever is on them, "
                     "and let their touches move the pointer, behind a status window, until it is "
                     "closed or SIGINT, SIGTERM or SIGHUP comes. It looks once: drive --wait waits "
                     "for a controller that comes later. What was found on a port is kept for the "
                     "next start",
             .options = {single, port, state, pointer, monitor, windows, trace}},
            .machine = {SetUpTrace, SetUpPointer, SetUpWindows, SetUpDevicesToAsk},
            .run = RunEnumerate,
            .endsCleanly = true},
        {.syntax = {.name = "drive",
             .group = EVERY_DAY,
             .help
             = "like enum for the one controller on a serial port, without window and bindings",
             .arguments = {panelPort},
             .options = {wait, pointer, monitor, trace}},
            .machine = {SetUpTrace, SetUpPointer},
            .run = RunDrive,
            .endsCleanly = true},
        {.syntax = {.name = "monitor",
             .group = DIAGNOSIS,
             .help
             = "drive the controllers on these ports, or ask the runtime that does, and show, "
               "live, what each reports: its raw position, where that is mapped to, in "
               "percent of the screen and in pixels of the X display, contact, reports a "
               "second, all reports, rejected packets (BAD), searches for the next report "
               "(RESYNC) and bytes dropped in them; as many of these as the terminal is "
               "wide. q ends it",
             .arguments = {panelPorts},
             .options = {quietPointer, monitor, quietTrace, seconds,
                 WithHelp(json, "print one JSON object a line when something has changed")}},
            .machine = {SetUpQuietTrace, SetUpPointer},
            .run = RunMonitor,
            .pointer = "none", // the touches are looked at, not sent
            .endsCleanly = true},
        {.syntax = {.name = "ports",
             .group = DIAGNOSIS,
             .help = "list the serial ports, what is on them, how they are bound and which "
                     "commands would ask them, opening none",
             .options = {port, state, json}},
            .machine = {SetUpKnownDevices},
            .run = RunPorts},
        {.syntax = {.name = "record",
             .group = DIAGNOSIS,
             .help = "drive the controller on a port and keep what comes over the line in a new "
                     "file, a text that replay reads",
             .arguments = {WithHelp(file, "the new file"), panelPort},
             .options = {WithHelp(pointer,
                             "send the touches to the X display or to a touch screen device of the "
                             "kernel, print them as one JSON object a line on standard output, or "
                             "drop them (default)"),
                 quietTrace, seconds}},
            .machine = {SetUpQuietTrace, SetUpPointer},
            .run = RunRecord,
            .pointer = "none",
            .endsCleanly = true},
        {.syntax = {.name = "replay",
             .group = DIAGNOSIS,
             .help = "play a recording to a session, through a pseudo-terminal",
             .arguments = {WithHelp(file, "the recording")},
             .options = {pointer, monitor, quietTrace,
                 {.name = "--speed",
                     .help = "with the pauses of the recording (default), or as fast as the line "
                             "takes it",
                     .store = take(TakeSpeed),
                     .choices = {"recorded", "full"}}}},
            .machine = {SetUpQuietTrace, SetUpPointer},
            .run = RunReplay,
            .endsCleanly = true},
        {.syntax = {.name = "paneltest",
             .group = DIAGNOSIS,
             .help = "test the panel that is touched, by nine targets over the whole screen of 5 "
                     "seconds each, store what they give as its calibration in Korvex.ini, and "
                     "rate it; Escape ends it",
             .options = {single, port, state, pointer, oneMonitor, windows, trace}},
            .machine = {SetUpTrace, SetUpPointer, SetUpWindows, SetUpDevicesToAsk},
            .run = RunPanelTest,
            .endsCleanly = true},
        {.syntax = {.name = "unbind",
             .group = DIAGNOSIS,
             .help = "take the binding and its parameters off a port",
             .arguments = {panelPort},
             .options = {port, state}},
            .machine = {SetUpState, SetUpPorts},
            .run = RunUnbind},
        {.syntax = {.name = "coinstall",
             .help = "call the co-installer for the device named with --instance, as the installer "
                     "of Windows does, and print what it writes",
             .arguments = {{.name = "install|remove",
                 .help = "the device's installation or its removal",
                 .store = argument,
                 .choices = {"install", "remove"},
                 .required = true}},
             .options
             = {{.name = "--instance",
                    .value = "ID",
                    .help = "the device, USB\\KVX5200\\1; one that is not there is plugged "
                            "in",
                    .store = take(TakeInstance),
                    .expected = "a device instance ID, such as USB\\KVX5200\\1",
                    .required = true},
                 {.name = "--os",
                     .value = "VERSION",
                     .help = "the version of Windows that is asked, 5.1 unless given",
                     .store = take(TakeVersion),
                     .expected = "MAJOR.MINOR, such as 6.1"},
                 {.name = "--server",
                     .help = "it is a server edition",
                     .store = StoreFlag(&options->server)},
                 {.name = "--tablet-pc",
                     .help = "it is a Tablet PC",
                     .store = StoreFlag(&options->tabletPc)},
                 port, state, trace}},
            .machine = {SetUpTrace, SetUpSystem, SetUpState, SetUpPorts},
            .run = RunCoinstall},
        {.syntax = {.name = "calib",
             .help = "start the calibration program with a number or a text (after \"--\" when it "
                     "begins with \"-\" and no digit)",
             .arguments = {{.name = "N|TEXT",
                 .help = "the number or text that it is started with",
                 .store = argument,
                 .required = true}},
             .options = {state}},
            .machine = {SetUpState},
            .run = RunCalib},
        {.syntax = {.name = "set-path",
             .help = "store where the calibration program KxConsole.exe is",
             .arguments = {{.name = "DIR",
                 .help = "the folder that holds it",
                 .store = argument,
                 .completion = Completion::FOLDERS,
                 .required = true}},
             .options = {state}},
            .machine = {SetUpState},
            .run = RunSetPath},
    };
}

Program KorvexProgram(const std::vector<KorvexCommand>& commands)
{
    Program program{.name = "korvex",
        .help = "The runtime of Korvex touch-screen controllers.",
        .footer = "'korvex COMMAND --help' lists the options of a command.\n\n"
                  "The calibration is read from \"Korvex.ini\" in the current directory.\n",
        .hiddenGroup = "What Windows would do",
        .exitCodes = {EXIT_CODES.begin(), EXIT_CODES.end()}};
    for (const KorvexCommand& command : commands)
        program.commands.push_back(command.syntax);
    return program;
}

} // namespace korvex::command
