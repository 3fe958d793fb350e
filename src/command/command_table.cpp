#include "command/command_table.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>

#include "command/subcommands.h"
#include "machine/machine_setup.h"
#include "platform/linux/pointer/pointer_backends.h"
#include "platform/linux/pointer/smoothing.h"
#include "process/exit_codes.h"

namespace korvex::command {

namespace {

constexpr const char* EVERY_DAY = "Every day";
constexpr const char* DIAGNOSIS = "Diagnosis";

constexpr unsigned MIN_HOLD_RIGHT_MS = 200;
constexpr unsigned MAX_HOLD_RIGHT_MS = 10000;

bool IsPortName(std::string_view name)
{
    return name.starts_with("COM") && name.size() > 3 && name.size() < 8
        && name.find_first_not_of("0123456789", 3) == std::string_view::npos;
}

// PORT, or NAME=PATH; a path may have an equals sign too.
bool ParsePort(const std::string& value, Options* options)
{
    const size_t equals = value.find('=');
    if (equals == std::string::npos || value.find('/') < equals) {
        options->selectedPorts.push_back(value);
        return !value.empty();
    }
    const GivenPort given{value.substr(0, equals), value.substr(equals + 1)};
    const bool taken = std::any_of(
        options->givenPorts.begin(), options->givenPorts.end(), [&given](const GivenPort& other) {
            return other.name == given.name || other.path == given.path;
        });
    options->givenPorts.push_back(given);
    return IsPortName(given.name) && !given.path.empty() && !taken;
}

bool ParseVersion(const std::string& value, Options* options)
{
    const char* end = value.data() + value.size();
    const auto [dot, majorError] = std::from_chars(value.data(), end, options->osMajor);
    if (majorError != std::errc{} || dot == end || *dot != '.' || options->osMajor == 0)
        return false;
    const auto [rest, minorError] = std::from_chars(dot + 1, end, options->osMinor);
    return minorError == std::errc{} && rest == end;
}

bool ParseSeconds(const std::string& value, Options* options)
{
    double number = 0;
    const char* end = value.data() + value.size();
    const auto [rest, error] = std::from_chars(value.data(), end, number);
    options->seconds = number;
    return error == std::errc{} && rest == end && number >= 0 && number <= MAX_SECONDS;
}

bool ParseInstance(const std::string& value, Options* options)
{
    options->instance = value;
    const size_t last = value.rfind('\\');
    return last != std::string::npos && last > 0 && last + 1 < value.size();
}

bool ParseMonitor(const std::string& value, Options* options)
{
    const size_t equals = value.rfind('=');
    if (equals == std::string::npos) {
        if (!options->monitor.empty())
            return false;
        options->monitor = value;
        return !value.empty();
    }
    const PortMonitor given{value.substr(0, equals), value.substr(equals + 1)};
    const bool taken = std::any_of(options->portMonitors.begin(), options->portMonitors.end(),
        [&given](const PortMonitor& other) { return other.port == given.port; });
    if (taken || given.port.empty() || given.output.empty())
        return false;
    options->portMonitors.push_back(given);
    return true;
}

bool ParseHoldRight(const std::string& value, Options* options)
{
    const char* end = value.data() + value.size();
    unsigned ms = 0;
    const auto [rest, error] = std::from_chars(value.data(), end, ms);
    if (error != std::errc{} || rest != end || ms < MIN_HOLD_RIGHT_MS || ms > MAX_HOLD_RIGHT_MS)
        return false;
    options->holdRightMs = ms;
    return true;
}

// For commands that show one window, or calibrate one panel.
bool ParseOneMonitor(const std::string& value, Options* options)
{
    return ParseMonitor(value, options) && options->portMonitors.empty();
}

bool ParsePoints(const std::string& value, Options* options)
{
    options->points = value == "4" ? 4 : 9;
    return true;
}

bool ParseSpeed(const std::string& value, Options* options)
{
    options->fullSpeed = value == "full";
    return true;
}

bool StoreArgument(const std::string& value, Options* options)
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
    const StoreValue argument = take(StoreArgument);

    const Option single{.name = "--single",
        .help = "do nothing if another one runs in this session",
        .store = StoreFlag(&options->single)};
    const Option port{.name = "--port",
        .value = "PORT",
        .help
        = "use only this port, by any of its names: the panel's, COM3, ttyUSB0, or a path. "
          "COM3=/dev/ttyUSB0 names a port and replaces the system's list of ports. May be given "
          "several times. ttyS0 is COM1, ttyS1 COM2 and so on; USB adapters start at COM33",
        .store = take(ParsePort),
        .expected = "a port, such as COM3, or NAME=PATH, such as COM3=/dev/ttyS2, each once",
        .completion = Completion::PORTS,
        .repeatable = true};
    const Option wait{.name = "--wait",
        .help = "if the port or its controller is missing, try again every 2 to 30 seconds until "
                "it is there",
        .store = StoreFlag(&options->wait)};
    const Option probe{.name = "--probe",
        .help = "ask every port, even those that may have other devices on them",
        .store = StoreFlag(&options->probe)};
    const Option state{.name = "--state",
        .value = "DIR",
        .help = "folder of bindings and registry (default $XDG_STATE_HOME/korvex, or "
                "~/.local/state/korvex)",
        .store = StoreText(&options->stateFolder),
        .expected = "a path",
        .completion = Completion::FOLDERS};
    const Option pointer{.name = "--pointer",
        .help = "where touches go: the X display (default in an X session); a touch screen device "
                "of the kernel for each panel, which also works with Wayland, consoles and login "
                "screens (default elsewhere if /dev/uinput can be opened); standard output, as one "
                "JSON object per line; or nowhere",
        .store = StoreText(&options->pointer),
        .choices = platform::PointerNames()};
    const Option monitor{.name = "--monitor",
        .value = "[PORT=]OUTPUT",
        .help = "the monitor for windows and touches on the X display, by its output (HDMI-1), "
                "instead of the primary one; with PORT, for the touches from that port. May be "
                "given several times",
        .store = take(ParseMonitor),
        .expected = "an output, such as HDMI-1, or PORT=OUTPUT, each port once",
        .completion = Completion::OUTPUTS,
        .repeatable = true};
    const Option smooth{.name = "--smooth",
        .help = "smooth the touches of a noisy panel: a finger at rest holds still, single reports "
                "far off are dropped (default off; korvex check names the setting that a panel "
                "needs)",
        .store = StoreText(&options->smooth),
        .choices = platform::SmoothingNames()};
    const Option holdRight{.name = "--hold-right",
        .value = "MS",
        .help = "make a right click of a finger that is held still for MS milliseconds; every "
                "other press is then sent only when the finger moves on or is lifted",
        .store = take(ParseHoldRight),
        .expected = "a number from 200 to 10000"};
    const Option windows{.name = "--windows",
        .help = "show windows on the X display (default if DISPLAY is set), or print their text on "
                "standard error",
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
        .help = "stop after N seconds",
        .store = take(ParseSeconds),
        .expected = "a number from 0 to 86400"};
    const Option panelPort{.name = "PORT",
        .help = "the serial port, by any of its names: the panel's, COM3, ttyUSB0, or a path",
        .store = argument,
        .completion = Completion::PORTS,
        .required = true};
    Option panelPorts = panelPort;
    panelPorts.repeatable = true;
    Option quietPointer = WithHelp(pointer,
        "where touches go: the X display, touch screen devices of the kernel, or nowhere "
        "(default)");
    quietPointer.choices = {"x11", "uinput", "none"};
    Option oneMonitor = WithHelp(monitor,
        "the monitor for windows and touches on the X display, by its output (HDMI-1), instead of "
        "the primary one");
    oneMonitor.value = "OUTPUT";
    oneMonitor.store = take(ParseOneMonitor);
    oneMonitor.expected = "an output, such as HDMI-1: its window is on one monitor";
    const Option file{
        .name = "FILE", .store = argument, .completion = Completion::FILES, .required = true};

    return {
        {.syntax = {.name = "calibrate",
             .group = EVERY_DAY,
             .help
             = "calibrate a panel: touch the crosses on the screen, try the result, then save it "
               "in Korvex.ini or discard it. A panel that enum or drive is driving is calibrated "
               "through that process. Without PANEL, the first panel touched is calibrated",
             .arguments = {{.name = "PANEL",
                 .help = "the panel's name, or another name of its port: COM3, ttyUSB0, or a path",
                 .store = argument,
                 .completion = Completion::PORTS}},
             .options
             = {{.name = "--points",
                    .help
                    = "number of crosses: 9 (default), which also corrects an uneven panel; 4 "
                      "is enough for one that is only askew, turned or off-centre",
                    .store = take(ParsePoints),
                    .choices = {"9", "4"}},
                 {.name = "--accept",
                     .help = "without a window, save even if a cross does not fit the others, and "
                             "even over another panel's calibration",
                     .store = StoreFlag(&options->accept)},
                 {.name = "--undo",
                     .help
                     = "restore the calibration that the last save replaced; the last ten are kept",
                     .store = StoreFlag(&options->undo)},
                 WithHelp(oneMonitor,
                     "the monitor for the crosses, by its output (HDMI-1), instead of the primary "
                     "one"),
                 WithHelp(windows,
                     "show the crosses on the X display (default if DISPLAY is set), or print the "
                     "place of each on standard error; without a window, a result whose crosses "
                     "fit each other is saved"),
                 WithHelp(json,
                     "print one JSON object per line: each cross, what became of it, and the "
                     "result"),
                 port, state, quietTrace}},
            .machine = {SetUpQuietTrace, SetUpPointer, SetUpWindows},
            .run = RunCalibrate,
            .pointer = "none", // the touches are the calibration's
            .endsCleanly = true},
        {.syntax = {.name = "calibration",
             .group = EVERY_DAY,
             .help
             = "show a panel's calibration, export it as JSON to FILE (default: standard output), "
               "import it from FILE (default: standard input) on this machine or another, verify "
               "that it still is that of FILE, list the earlier ones, or undo the last save. A "
               "calibration that maps touches to nonsense is not imported. What a running panel "
               "gets applies at once",
             .arguments = {{.name = "show|export|import|verify|history|undo",
                               .help = "what to do",
                               .store = argument,
                               .choices = {"show", "export", "import", "verify", "history", "undo"},
                               .required = true},
                 {.name = "PANEL",
                     .help = "the panel's name, or another name of its port while it is driven",
                     .store = argument,
                     .completion = Completion::PORTS,
                     .required = true},
                 {.name = "FILE",
                     .help = "of the calibration; - for standard input or output",
                     .store = argument,
                     .completion = Completion::FILES}},
             .options = {json}},
            .run = RunCalibrationFiles},
        {.syntax = {.name = "name",
             .group = EVERY_DAY,
             .help
             = "give a panel a name: ask the ports (those of running panels receive nothing), "
               "wait for its touch, and write the rule by which udev and systemd know it. "
               "Renames a panel that has one. As root",
             .arguments = {{.name = "NAME",
                 .help = "at most 64 letters, digits, - and _",
                 .store = argument,
                 .required = true}},
             .options = {{.name = "--yes",
                             .help = "ask the ports without a question",
                             .store = StoreFlag(&options->yes)},
                 WithHelp(
                     port, "ask only this port, by any of its names; may be given several times"),
                 quietTrace}},
            .machine = {SetUpQuietTrace, SetUpPointer},
            .run = RunName,
            .pointer = "none", // the touch tells the panel
            .endsCleanly = true},
        {.syntax = {.name = "try",
             .group = EVERY_DAY,
             .help
             = "touch and draw on a panel, and see its positions, rate, rest noise, edges and "
               "untouched areas; changes nothing. Without PANEL, whichever panel is touched",
             .arguments = {{.name = "PANEL",
                 .help = "the panel's name, or another name of its port: COM3, ttyUSB0, or a path",
                 .store = argument,
                 .completion = Completion::PORTS}},
             .options = {WithHelp(oneMonitor,
                             "the monitor of the panel, by its output (HDMI-1), instead of the "
                             "primary one"),
                 port, state, quietTrace}},
            .machine = {SetUpQuietTrace, SetUpPointer, SetUpWindows},
            .run = RunTryPage,
            .pointer = "none", // the touches are the page's
            .endsCleanly = true},
        {.syntax = {.name = "check",
             .group = EVERY_DAY,
             .help = "check display, named panels, their units and calibrations, ports and "
                     "controllers for common problems, one line each: \"ok\", \"note\", or "
                     "\"FAULT\" with what to do. Exits with 1 if there is a fault",
             .options = {probe, port, state, quietTrace,
                 WithHelp(json, "print the findings as one JSON array"),
                 WithHelp(seconds, "listen for touches for N seconds (default 3)")}},
            .machine = {SetUpQuietTrace},
            .run = RunCheck,
            .pointer = "none", // the touches are checked, not sent
            .endsCleanly = true},
        {.syntax = {.name = "status",
             .group = EVERY_DAY,
             .help = "list the panels that are being driven: port, controller, since when, "
                     "calibration, counters, last touch",
             .options = {json,
                 {.name = "--metrics",
                     .help = "print what Prometheus scrapes, in its text format",
                     .store = StoreFlag(&options->metrics)}}},
            .run = RunStatus},
        {.syntax = {.name = "enum",
             .group = EVERY_DAY,
             .help = "find the controllers on all ports (this sends bytes to every device there) "
                     "and move the pointer with their touches, until the status window is closed "
                     "or SIGINT, SIGTERM or SIGHUP arrives. Ports are searched once: drive --wait "
                     "waits for a controller that comes later. What was found on a port is "
                     "remembered for the next start",
             .options = {single, port, state, pointer, monitor, smooth, holdRight, windows, trace}},
            .machine = {SetUpTrace, SetUpPointer, SetUpWindows, SetUpDevicesToAsk},
            .run = RunEnumerate,
            .endsCleanly = true},
        {.syntax = {.name = "drive",
             .group = EVERY_DAY,
             .help = "like enum, for the one controller on a serial port, without a window and "
                     "without bindings. Options that are not given are read from "
                     "/etc/korvex/NAME.conf, NAME being the panel's, then from /etc/korvex.conf: "
                     "\"smooth = medium\"",
             .arguments = {panelPort},
             .options = {wait, pointer, monitor, smooth, holdRight, trace,
                 {.name = "--show-config",
                     .help = "print these options and where each comes from, and drive nothing",
                     .store = StoreFlag(&options->showConfig)}}},
            .machine = {SetUpTrace, SetUpPointer},
            .run = RunDrive,
            .endsCleanly = true,
            .hasPanelSettings = true},
        {.syntax = {.name = "monitor",
             .group = DIAGNOSIS,
             .help
             = "show live what the controllers on these ports report, driving them or asking the "
               "runtime that does: raw position, mapped position in percent of the screen and in "
               "pixels of the X display, contact, reports per second, all reports, rejected "
               "packets (BAD), searches for the next report (RESYNC) and bytes dropped by them, as "
               "far as the terminal is wide enough. Press q to quit",
             .arguments = {panelPorts},
             .options = {quietPointer, monitor, quietTrace, seconds,
                 WithHelp(json, "print one JSON object per line when something has changed")}},
            .machine = {SetUpQuietTrace, SetUpPointer},
            .run = RunMonitor,
            .pointer = "none", // the touches are shown, not sent
            .endsCleanly = true},
        {.syntax = {.name = "ports",
             .group = DIAGNOSIS,
             .help = "list the serial ports with their controllers and bindings, and which "
                     "commands would ask them; opens none",
             .options = {port, state, json}},
            .machine = {SetUpKnownDevices},
            .run = RunPorts},
        {.syntax = {.name = "record",
             .group = DIAGNOSIS,
             .help = "drive the controller on a port and record the bytes of its line in a new "
                     "file, a text that replay reads",
             .arguments = {WithHelp(file, "the new file"), panelPort},
             .options
             = {WithHelp(pointer,
                    "where touches go: the X display; a touch screen device of the kernel; "
                    "standard output, as one JSON object per line; or nowhere (default)"),
                 quietTrace, seconds}},
            .machine = {SetUpQuietTrace, SetUpPointer},
            .run = RunRecord,
            .pointer = "none",
            .endsCleanly = true},
        {.syntax = {.name = "replay",
             .group = DIAGNOSIS,
             .help = "play a recording to a session, through a pseudo-terminal",
             .arguments = {WithHelp(file, "the recording")},
             .options = {pointer, monitor, smooth, holdRight, quietTrace,
                 {.name = "--speed",
                     .help = "with the pauses of the recording (default), or as fast as possible",
                     .store = take(ParseSpeed),
                     .choices = {"recorded", "full"}}}},
            .machine = {SetUpQuietTrace, SetUpPointer},
            .run = RunReplay,
            .endsCleanly = true},
        {.syntax = {.name = "paneltest",
             .group = DIAGNOSIS,
             .help = "test a panel: show nine targets for 5 seconds each, save the touched panel's "
                     "reports as its calibration in Korvex.ini, and rate it; press Escape to quit",
             .options = {single, port, state, pointer, oneMonitor, windows, trace}},
            .machine = {SetUpTrace, SetUpPointer, SetUpWindows, SetUpDevicesToAsk},
            .run = RunPanelTest,
            .endsCleanly = true},
        {.syntax = {.name = "unbind",
             .group = DIAGNOSIS,
             .help = "remove the binding of a port and its parameters",
             .arguments = {panelPort},
             .options = {port, state}},
            .machine = {SetUpState, SetUpPorts},
            .run = RunUnbind},
        {.syntax = {.name = "coinstall",
             .help = "call the co-installer for the device of --instance, as the installer of "
                     "Windows does, and print what it writes",
             .arguments = {{.name = "install|remove",
                 .help = "the device's installation or its removal",
                 .store = argument,
                 .choices = {"install", "remove"},
                 .required = true}},
             .options = {{.name = "--instance",
                             .value = "ID",
                             .help = "the device, for example USB\\KVX5200\\1; it is plugged in if "
                                     "it is not there",
                             .store = take(ParseInstance),
                             .expected = "a device instance ID, such as USB\\KVX5200\\1",
                             .required = true},
                 {.name = "--os",
                     .value = "VERSION",
                     .help = "the version of Windows (default 5.1)",
                     .store = take(ParseVersion),
                     .expected = "MAJOR.MINOR, such as 6.1"},
                 {.name = "--server",
                     .help = "a server edition of Windows",
                     .store = StoreFlag(&options->server)},
                 {.name = "--tablet-pc",
                     .help = "a Tablet PC",
                     .store = StoreFlag(&options->tabletPc)},
                 port, state, trace}},
            .machine = {SetUpTrace, SetUpSystem, SetUpState, SetUpPorts},
            .run = RunCoinstall},
        {.syntax = {.name = "calib",
             .help = "start the calibration program with a number or a text (after \"--\" if it "
                     "begins with \"-\" and no digit follows)",
             .arguments = {{.name = "N|TEXT",
                 .help = "the number or text for it",
                 .store = argument,
                 .required = true}},
             .options = {state}},
            .machine = {SetUpState},
            .run = RunCalib},
        {.syntax = {.name = "set-path",
             .help = "store the folder of the calibration program KxConsole.exe",
             .arguments = {{.name = "DIR",
                 .help = "its folder",
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
        .footer = "The calibration is read from \"Korvex.ini\" in the current directory.\n",
        .hiddenGroup = "What Windows would do",
        .exitCodes = {EXIT_CODES.begin(), EXIT_CODES.end()}};
    for (const KorvexCommand& command : commands)
        program.commands.push_back(command.syntax);
    return program;
}

} // namespace korvex::command
