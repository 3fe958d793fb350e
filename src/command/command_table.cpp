#include "command/command_table.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>

#include "command/subcommands.h"
#include "machine/machine_setup.h"
#include "platform/linux/pointer/pointer_backends.h"

namespace korvex::command {

namespace {

bool IsPortName(std::string_view name)
{
    return name.starts_with("COM") && name.size() > 3 && name.size() < 8
        && name.find_first_not_of("0123456789", 3) == std::string_view::npos;
}

bool TakePort(const std::string& value, Options* options)
{
    const size_t equals = value.find('=');
    if (equals == std::string::npos || equals + 1 == value.size()
        || !IsPortName(std::string_view(value).substr(0, equals)))
        return false;
    const GivenPort given{value.substr(0, equals), value.substr(equals + 1)};
    const bool taken = std::any_of(
        options->ports.begin(), options->ports.end(), [&given](const GivenPort& other) {
            return other.name == given.name || other.path == given.path;
        });
    options->ports.push_back(given);
    return !taken;
}

bool TakeOnly(const std::string& value, Options* options)
{
    options->only.push_back(value);
    return !value.empty();
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

template <std::string Options::* FIELD>
bool TakeText(const std::string& value, Options* options)
{
    options->*FIELD = value;
    return !value.empty();
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

constexpr const char* POINTER = "--pointer";

} // namespace

const std::vector<OptionDeclaration>& AllOptions()
{
    static const std::vector<OptionDeclaration> OPTIONS{
        {"--single", nullptr, "only when no other one runs in this session", &Options::single,
            nullptr, nullptr},
        {"--port", "NAME=PATH",
            "use these ports, COM3=/dev/ttyUSB0, not the system's; may be given several times. Of "
            "the system's ports ttyS0 is COM1, ttyS1"
            " COM2 and so on; USB adapters follow from COM33",
            nullptr, TakePort, "NAME=PATH, such as COM3=/dev/ttyS2, each once", Completion::NOTHING,
            {}, true},
        {"--only", "PORT", "ask this port and no other; may be given several times", nullptr,
            TakeOnly, "a port: a panel's name, COM3, ttyUSB0 or a path", Completion::PORTS, {},
            true},
        {"--wait", nullptr,
            "where the port or its controller is missing, ask again every 2 to 30 seconds, until "
            "it is there",
            &Options::wait, nullptr, nullptr},
        {"--probe", nullptr, "ask every port, also those that may have other devices on them",
            &Options::probe, nullptr, nullptr},
        {"--state", "DIR",
            "where bindings and registry are kept (default $XDG_STATE_HOME/korvex, or "
            "~/.local/state/korvex)",
            nullptr, TakeText<&Options::stateFolder>, "a path", Completion::FOLDERS},
        {POINTER, "x11|uinput|log|none",
            "send the touches to the X display (default in an X session), to a touch screen device "
            "of the kernel for each panel, for"
            " Wayland, consoles and login screens too (default elsewhere, where /dev/uinput may be "
            "opened), print them as one JSON object"
            " a line on standard output, or drop them",
            nullptr, TakeText<&Options::pointer>, nullptr, Completion::NOTHING,
            platform::PointerNames()},
        {"--monitor", "[PORT=]OUTPUT",
            "windows and touches on the X display mean the monitor of that output, HDMI-1, not the "
            "primary one; with PORT the touches"
            " from that port; may be given several times",
            nullptr, TakeMonitor, "an output, such as HDMI-1, or PORT=OUTPUT, each port once",
            Completion::OUTPUTS, {}, true},
        {"--windows", "x11|none",
            "show windows on the X display (default where DISPLAY is set), or print what they "
            "would show on standard error",
            nullptr, TakeText<&Options::windows>, nullptr, Completion::NOTHING, {"x11", "none"}},
        {"--trace", "FILE", "write the diagnostic lines to FILE (default: standard error)", nullptr,
            TakeText<&Options::traceFile>, "a path", Completion::FILES},
        {"--json", nullptr, "print JSON", &Options::json, nullptr, nullptr},
        {"--seconds", "N", "end by itself after so long", nullptr, TakeSeconds,
            "a number from 0 to 86400"},
        {"--points", "9|4",
            "how many crosses are touched: 9 (default) put panels right that are uneven too, 4 are "
            "enough for one that is only askew,"
            " turned or off the middle",
            nullptr, TakePoints, nullptr, Completion::NOTHING, {"9", "4"}},
        {"--accept", nullptr,
            "without a window save also where a cross does not fit the others, and in place of "
            "another panel's calibration",
            &Options::accept, nullptr, nullptr},
        {"--undo", nullptr,
            "bring the calibration back that the last save replaced; the last ten are kept",
            &Options::undo, nullptr, nullptr},
        {"--speed", "recorded|full",
            "with the pauses of the recording (default), or as fast as the line takes it", nullptr,
            TakeSpeed, nullptr, Completion::NOTHING, {"recorded", "full"}},
        {"--instance", "ID", "the device, USB\\KVX5200\\1; one that is not there is plugged in",
            nullptr, TakeInstance, "a device instance ID, such as USB\\KVX5200\\1"},
        {"--os", "VERSION", "the version of Windows that is asked, 5.1 unless given", nullptr,
            TakeVersion, "MAJOR.MINOR, such as 6.1"},
        {"--server", nullptr, "it is a server edition", &Options::server, nullptr, nullptr},
        {"--tablet-pc", nullptr, "it is a Tablet PC", &Options::tabletPc, nullptr, nullptr},
    };
    return OPTIONS;
}

const std::vector<CommandDeclaration>& AllCommands()
{
    const OptionUse quietTrace{"--trace", "write the diagnostic lines to FILE (default: nowhere)"};
    const ArgumentDeclaration port{
        "PORT", "the serial port: a panel's name, COM1, ttyS0, or a path", Completion::PORTS};
    static const std::vector<CommandDeclaration> COMMANDS{
        {.name = "calibrate",
            .group = CommandGroup::EVERY_DAY,
            .help = "calibrate a panel: the crosses that are shown over the whole screen are "
                    "touched, the result is tried, and saved in"
                    " Korvex.ini or left. Of a panel that enum or drive drives now through them, "
                    "else on its port; without PANEL: whichever"
                    " of all panels is touched",
            .arguments = {{"PANEL", "the panel's name, or its port: COM1, ttyS0, or a path",
                Completion::PORTS, {}, false, true}},
            .options = {{"--points"}, {"--accept"}, {"--undo"},
                {"--monitor",
                    "show the crosses on the monitor of that output, HDMI-1, not on the primary "
                    "one",
                    {}, false, "OUTPUT"},
                {"--windows",
                    "show the crosses on the X display (default where DISPLAY is set), or say "
                    "where each is on standard error;"
                    " when all are taken and fit each other, that saves by itself"},
                {"--json",
                    "print one JSON object a line: each cross that waits and what comes of it, and "
                    "the result"},
                {"--port"}, {"--only"}, {"--state"}, quietTrace},
            .machine = {RefusePortMonitors, SetUpQuietTrace, SetUpPointer, SetUpWindows},
            .run = RunCalibrate,
            .pointer = "none", // the touches are the calibration's
            .endsCleanly = true},
        {.name = "check",
            .group = CommandGroup::EVERY_DAY,
            .help = "look at display, named panels, their units and calibrations, ports and "
                    "controllers for what commonly goes wrong, one line each: \"ok\", \"note\", or"
                    " \"FAULT\" with what to do; with a fault it ends with 1",
            .options = {{"--probe"}, {"--port"}, {"--state"}, quietTrace,
                {"--json", "print all that is found as one JSON array"},
                {"--seconds", "how long to listen for touches (default 3)"}},
            .machine = {SetUpQuietTrace},
            .run = RunCheck,
            .pointer = "none", // the touches are looked at, not sent
            .endsCleanly = true},
        {.name = "status",
            .group = CommandGroup::EVERY_DAY,
            .help = "list the panels that enum and drive drive now: port, controller, since when, "
                    "calibration, counters, last touch",
            .options = {{"--json"}},
            .run = RunStatus},
        {.name = "enum",
            .group = CommandGroup::EVERY_DAY,
            .help
            = "find the controllers on all ports, which sends bytes to whatever is on them, and "
              "let their touches move the pointer, "
              "behind a status window, until it is closed"
              " or SIGINT, SIGTERM or SIGHUP comes. It looks once: drive --wait waits for a "
              "controller that comes later. What was found on a port is kept for the next start",
            .options = {{"--single"}, {"--port"}, {"--only"}, {"--state"}, {POINTER}, {"--monitor"},
                {"--windows"}, {"--trace"}},
            .machine = {SetUpTrace, SetUpPointer, SetUpWindows, SetUpDevicesToAsk},
            .run = RunEnumerate,
            .endsCleanly = true},
        {.name = "drive",
            .group = CommandGroup::EVERY_DAY,
            .help
            = "like enum for the one controller on a serial port, without window and bindings",
            .arguments = {port},
            .options = {{"--wait"}, {POINTER}, {"--monitor"}, {"--trace"}},
            .machine = {SetUpTrace, SetUpPointer},
            .run = RunDrive,
            .endsCleanly = true},
        {.name = "monitor",
            .group = CommandGroup::DIAGNOSIS,
            .help = "drive the controllers on these ports, or ask the runtime that does, and show, "
                    "live, what each reports: its raw position,"
                    " where that is mapped to, in percent of the screen and in pixels of the X "
                    "display, contact, reports a second, all"
                    " reports, rejected packets (BAD), searches for the next report (RESYNC) and "
                    "bytes dropped in them; as many of these as"
                    " the terminal is wide. q ends it",
            .arguments = {{port.name, port.help, port.completion, {}, true}},
            .options = {{POINTER,
                            "send the touches to the X display or to touch screen devices of the "
                            "kernel, or drop them (default)",
                            {"x11", "uinput", "none"}},
                {"--monitor"}, quietTrace, {"--seconds"},
                {"--json", "print one JSON object a line when something has changed"}},
            .machine = {SetUpQuietTrace, SetUpPointer},
            .run = RunMonitor,
            .pointer = "none", // the touches are looked at, not sent
            .endsCleanly = true},
        {.name = "ports",
            .group = CommandGroup::DIAGNOSIS,
            .help = "list the serial ports, what is on them, how they are bound and which commands "
                    "would ask them, opening none",
            .options = {{"--port"}, {"--state"}, {"--json"}},
            .machine = {SetUpKnownDevices},
            .run = RunPorts},
        {.name = "record",
            .group = CommandGroup::DIAGNOSIS,
            .help = "drive the controller on a port and keep what comes over the line in a new "
                    "file, a text that replay reads",
            .arguments = {{"FILE", "the new file", Completion::FILES}, port},
            .options = {{POINTER,
                            "send the touches to the X display or to a touch screen device of the "
                            "kernel, print them as one JSON object a "
                            "line on standard output, or drop them"
                            " (default)"},
                quietTrace, {"--seconds"}},
            .machine = {SetUpQuietTrace, SetUpPointer},
            .run = RunRecord,
            .pointer = "none",
            .endsCleanly = true},
        {.name = "replay",
            .group = CommandGroup::DIAGNOSIS,
            .help = "play a recording to a session, through a pseudo-terminal",
            .arguments = {{"FILE", "the recording", Completion::FILES}},
            .options = {{POINTER}, {"--monitor"}, quietTrace, {"--speed"}},
            .machine = {SetUpQuietTrace, SetUpPointer},
            .run = RunReplay,
            .endsCleanly = true},
        {.name = "paneltest",
            .group = CommandGroup::DIAGNOSIS,
            .help = "test the panel that is touched, by nine targets over the whole screen of 5 "
                    "seconds each, store what they give as its"
                    " calibration in Korvex.ini, and rate it; Escape ends it",
            .options = {{"--single"}, {"--port"}, {"--only"}, {"--state"}, {POINTER},
                {"--monitor",
                    "windows and touches on the X display mean the monitor of that output, HDMI-1, "
                    "not the primary one",
                    {}, false, "OUTPUT"},
                {"--windows"}, {"--trace"}},
            .machine
            = {RefusePortMonitors, SetUpTrace, SetUpPointer, SetUpWindows, SetUpDevicesToAsk},
            .run = RunPanelTest,
            .endsCleanly = true},
        {.name = "unbind",
            .group = CommandGroup::DIAGNOSIS,
            .help = "take the binding and its parameters off a port",
            .arguments = {port},
            .options = {{"--port"}, {"--state"}},
            .machine = {SetUpDevices},
            .run = RunUnbind},
        {.name = "coinstall",
            .group = CommandGroup::WINDOWS,
            .help = "call the co-installer for the device named with --instance, as the installer "
                    "of Windows does, and print what it"
                    " writes",
            .arguments = {{"install|remove", "the device's installation or its removal",
                Completion::NOTHING, {"install", "remove"}}},
            .options = {{"--instance", nullptr, {}, true}, {"--os"}, {"--server"}, {"--tablet-pc"},
                {"--port"}, {"--state"}, {"--trace"}},
            .machine = {SetUpTrace, SetUpSystem, SetUpDevices},
            .run = RunCoinstall},
        {.name = "calib",
            .group = CommandGroup::WINDOWS,
            .help = R"(start the calibration program with a number or a text )"
                    R"((behind "--" when it begins with "-" and no digit))",
            .arguments = {{"N|TEXT", "the number or text that it is started with"}},
            .options = {{"--state"}},
            .machine = {SetUpState},
            .run = RunCalib},
        {.name = "set-path",
            .group = CommandGroup::WINDOWS,
            .help = "store where the calibration program KxConsole.exe is",
            .arguments = {{"DIR", "the folder that holds it", Completion::FOLDERS}},
            .options = {{"--state"}},
            .machine = {SetUpState},
            .run = RunSetPath},
    };
    return COMMANDS;
}

const OptionDeclaration* FindOption(const OptionUse* use)
{
    const auto found = std::find_if(
        AllOptions().begin(), AllOptions().end(), [use](const OptionDeclaration& option) {
            return std::string_view(option.name) == use->name;
        });
    return &*found; // the tables agree
}

const std::vector<const char*>& ChoicesOf(const OptionUse* use)
{
    return use->choices.empty() ? FindOption(use)->choices : use->choices;
}

std::string ListOf(const std::vector<const char*>& words)
{
    std::string list;
    for (size_t i = 0; i < words.size(); ++i)
        list += std::string(i == 0 ? "" : i + 1 == words.size() ? " or " : ", ") + words[i];
    return list;
}

} // namespace korvex::command
