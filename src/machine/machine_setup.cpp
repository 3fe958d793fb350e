#include "machine/machine_setup.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "drivers/enumerator_filter.h"
#include "machine/port_names.h"
#include "machine/port_state.h"
#include "platform/linux/core/descriptors.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/port_nodes.h"
#include "platform/linux/devices/registry.h"
#include "platform/linux/files/whole_files.h"
#include "platform/linux/machine.h"
#include "platform/linux/pointer/pointer_backends.h"
#include "platform/linux/pointer/pointer_log.h"
#include "platform/linux/pointer/smoothing.h"
#include "platform/linux/serial/port_scan.h"
#include "platform/linux/windows/window_headless.h"
#include "platform/linux/windows/window_x11.h"
#include "process/exit_codes.h"
#include "process/message.h"
#include "process/service_manager.h"
#include "process/shutdown.h"

namespace korvex::command {

namespace {

namespace fs = std::filesystem;

struct RefusedFiles {
    std::mutex mutex;
    std::set<std::string> paths;
} refusedFiles;

std::string WriteFaultText(int error)
{
    if (error == EBUSY)
        return "another program holds the folder's lock";
    return error == 0 ? "the system refuses it" : strerror(error);
}

// The user's mouse settings, a key that Windows always has.
bool CreateMouseSettings()
{
    HKEY key = nullptr;
    return RegCreateKeyExW(HKEY_CURRENT_USER, u"Control Panel\\Mouse", 0, nullptr,
               REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &key, nullptr)
        == ERROR_SUCCESS
        && RegCloseKey(key) == ERROR_SUCCESS;
}

// Whether changes can be kept in a folder now: its lock can be had and its disk takes a file.
bool CanKeepChanges(const std::string& folder)
{
    const std::string path = folder + "/.writable." + std::to_string(getpid());
    const auto change
        = [](std::string_view /*content*/) { return std::optional<std::string>("writable\n"); };
    const bool kept = platform::ChangeWholeFile(path, change, platform::Durability::DEFERRED);
    const int error = errno;
    unlink(path.c_str());
    errno = error;
    return kept;
}

// Gives /dev/uinput to the group "korvex-input".
constexpr const char* UINPUT_RULE = KORVEX_UDEV_RULES "/72-korvex.rules";

// A port of the machine, its path that is opened.
using Port = platform::ScannedPort;

// A port selected by a path or another of its names.
Port GivenPortOf(const Options* options, const GivenPort& given, const std::vector<Port>& scanned)
{
    const std::string path = PathOfPort(options->givenPorts, given.path);
    const auto known = std::find_if(scanned.begin(), scanned.end(),
        [&path](const Port& port) { return IsSamePort(port.path, path); });
    std::error_code error;
    return {given.name, path,
        known == scanned.end() ? fs::absolute(path, error).string() : known->stablePath};
}

// The ports of the machine: those given with names, else the system's, without consoles.
std::vector<Port> AllPortsOf(const Options* options, const std::vector<Port>& scanned)
{
    std::vector<Port> ports;
    if (options->givenPorts.empty()) {
        for (const Port& port : scanned) {
            const std::string panel = platform::GivenPanelNameOf(port.path);
            ports.push_back({port.name,
                panel.empty() ? port.stablePath : PathOfPort(options->givenPorts, panel),
                port.stablePath});
        }
    }
    for (const GivenPort& given : options->givenPorts) {
        const Port port = GivenPortOf(options, given, scanned);
        if (platform::IsKernelConsole(port.path))
            Warning(port.name + " is skipped: '" + port.path + "' is a system console");
        else
            ports.push_back(port);
    }
    return ports;
}

// A tty that is none of the system's serial ports, for example a pseudo-terminal: under the name by
// which it was selected if that is a port's, else under the first free one.
Port UnknownPortOf(const std::string& name, const std::string& path, const std::vector<Port>& ports)
{
    int number = platform::FIRST_OTHER_PORT;
    const auto isTaken
        = [&number](const Port& port) { return port.name == "COM" + std::to_string(number); };
    while (std::any_of(ports.begin(), ports.end(), isTaken))
        ++number;
    std::error_code error;
    return {name.starts_with("COM") ? name : "COM" + std::to_string(number), path,
        fs::absolute(path, error).string()};
}

// Whether a path leads to a tty.
bool IsTty(const std::string& path)
{
    const std::string tty = TtyOf(path);
    return tty.starts_with("/dev/tty") || tty.starts_with("/dev/pts/");
}

// The ports that --port selects, each once; all where it selects none. Nothing, with a message,
// if one is missing.
std::optional<std::vector<Port>> PortsOf(const Options* options)
{
    std::vector<Port> ports = AllPortsOf(options, platform::ScanSerialPorts());
    if (options->selectedPorts.empty())
        return ports;
    std::vector<Port> selected;
    for (const std::string& name : options->selectedPorts) {
        const std::string path = PathOfPort(options->givenPorts, name);
        const auto isNamed
            = [&](const Port& port) { return name == port.name || IsSamePort(path, port.path); };
        if (std::any_of(selected.begin(), selected.end(), isNamed))
            continue;
        const auto found = std::find_if(ports.begin(), ports.end(), isNamed);
        const bool isUnknown = found == ports.end() && options->givenPorts.empty() && IsTty(path);
        const bool isConsole = isUnknown && platform::IsKernelConsole(path);
        if (isUnknown && !isConsole) {
            ports.push_back(UnknownPortOf(name, path, ports));
            selected.push_back(ports.back());
        } else if (found != ports.end()) {
            selected.push_back(*found);
        } else {
            Error(isConsole ? "'" + path + "' is a system console"
                            : "there is no port '" + name
                        + (options->givenPorts.empty() ? "'; see 'korvex ports'"
                                                       : "' among those of '--port NAME=PATH'"));
            return std::nullopt;
        }
    }
    return selected;
}

void AddPort(const Port& port)
{
    platform::AddSerialPort(platform::FromUtf8(port.name), port.path, port.stablePath);
}

void UseStateFolder(const Options* options)
{
    platform::Machine* machine = platform::ThisMachine();
    std::error_code error;
    machine->folders.state = fs::absolute(options->stateFolder, error).string();
    machine->folders.windows = machine->folders.state + "/windows";
    machine->folders.system = machine->folders.windows + "/system32";
}

// Diagnostic texts are lines, or parts of one, for developers: the journal gets them with the
// priority of debugging (sd-daemon(3)).
void TraceToJournal(std::string_view text)
{
    static bool isLineStart = true;
    std::string marked;
    for (const char letter : text) {
        if (isLineStart && letter != '\n')
            marked += "<7>";
        marked += letter;
        isLineStart = letter == '\n';
    }
    platform::WriteWhole(STDERR_FILENO, marked);
}

} // namespace

int SetUpMachine(const Options* options, const std::vector<int (*)(const Options*)>& parts)
{
    for (const auto& setUp : parts) {
        if (const int exitCode = setUp(options); exitCode != EXIT_DONE)
            return exitCode;
    }
    return EXIT_DONE;
}

int SetUpTrace(const Options* options)
{
    if (!options->traceFile.empty()) {
        const int trace = open(options->traceFile.c_str(),
            O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0666);
        if (trace < 0) {
            Error("cannot write '" + options->traceFile + "': " + strerror(errno));
            return EXIT_FAULT;
        }
        platform::ThisMachine()->trace
            = [trace](std::string_view text) { platform::WriteWhole(trace, text); };
    } else if (!platform::ThisMachine()->trace && IsStandardErrorJournal()) {
        platform::ThisMachine()->trace = TraceToJournal;
    }
    return EXIT_DONE;
}

int SetUpQuietTrace(const Options* options)
{
    platform::ThisMachine()->trace = [](std::string_view /*text*/) { };
    return SetUpTrace(options);
}

bool WasInputLost(const Options* options)
{
    const bool lost = options->pointer == "log" && platform::IsPointerLogBroken();
    if (lost)
        Error("cannot write to standard output; touches were lost");
    return lost;
}

int SetUpPointer(const Options* options)
{
    platform::Machine* machine = platform::ThisMachine();
    machine->screen.output = options->monitor;
    machine->touches = {.smoothing = platform::FindSmoothingLevel(options->smooth),
        .rightHold = std::chrono::milliseconds(options->holdRightMs)};
    for (const PortMonitor& given : options->portMonitors) {
        std::error_code error;
        const std::string path = PathOfPort(options->givenPorts, given.port);
        if (path.find('/') == std::string::npos && !fs::exists(path, error)) // it may come
            Warning("'--monitor': there is no port '" + given.port + "' now");
    }
    if (!options->portMonitors.empty())
        machine->screen.outputOfLine = [given = *options](const std::string& path) {
            for (const PortMonitor& one : given.portMonitors) {
                if (IsSamePort(PathOfPort(given.givenPorts, one.port), path))
                    return one.output;
            }
            return std::string();
        };
    machine->handlers.monitorChanged = [](const std::string& output, bool present) {
        Warning("the monitor of output '" + (output.empty() ? std::string("(primary)") : output)
            + "' is " + (present ? "back" : "gone; touches for it are dropped until it is back"));
    };
    machine->handlers.deviceRefused = [](const std::string& path, int error) {
        Warning("no touch screen for '" + path + "': " + strerror(error) + "; retrying");
    };
    std::string reason;
    if (options->pointer == "log"
        && (fcntl(STDOUT_FILENO, F_GETFL) & O_ACCMODE) == O_RDONLY) { // it was closed
        return OutputFailed();
    }
    const platform::NamedPointerBackend* kind = platform::FindPointerKind(options->pointer);
    if (!kind->use({.nameOfPanel = PanelNameOf, .endDescriptor = ShutdownDescriptor()}, &reason)) {
        const bool isRefused = options->pointer == "uinput";
        Error("no pointer input: " + reason
            + (isRefused ? "; members of the group \"korvex-input\" may open it, by the udev rule "
                         : "")
            + (isRefused ? UINPUT_RULE : ""));
        return EXIT_NO_DISPLAY;
    }
    if (options->pointer == "x11" && IsWaylandSession())
        Warning(
            "this is a Wayland session: only X programs will see the touches; '--pointer uinput' "
            "is for all (the udev rule "
            + std::string(UINPUT_RULE) + ")");
    return EXIT_DONE;
}

int SetUpWindows(const Options* options)
{
    platform::Machine* machine = platform::ThisMachine();
    std::string reason;
    machine->windows.backend = options->windows == "none" ? platform::HeadlessBackend()
                                                          : platform::X11Backend(nullptr, &reason);
    if (machine->windows.backend == nullptr) {
        Error("no windows: " + reason);
        return EXIT_NO_DISPLAY;
    }
    if (!reason.empty())
        Warning("windows: " + reason);
    machine->windows.closeSignals = ShutdownDescriptor();
    return EXIT_DONE;
}

int SetUpSystem(const Options* options)
{
    platform::Machine* machine = platform::ThisMachine();
    if (options->osMajor != 0) {
        machine->os.majorVersion = options->osMajor;
        machine->os.minorVersion = options->osMinor;
    }
    machine->os.isServer = options->server;
    machine->os.isTabletPc = options->tabletPc;
    return EXIT_DONE;
}

std::string PrepareState(const Options* options)
{
    platform::Machine* machine = platform::ThisMachine();
    std::error_code error;
    fs::create_directories(options->stateFolder, error);
    if (error)
        return error.message();
    UseStateFolder(options);
    errno = 0;
    if (CanKeepChanges(machine->folders.state) && drivers::InstallEnumeratorService()
        && CreateMouseSettings())
        return "";
    const int reason = errno;
    machine->folders.state.clear();
    return WriteFaultText(reason);
}

int SetUpState(const Options* options)
{
    const std::string fault = PrepareState(options);
    if (fault.empty()) {
        platform::ThisMachine()->handlers.fileNotWritten = [](const std::string& path, int error) {
            const std::lock_guard guard(refusedFiles.mutex);
            if (refusedFiles.paths.insert(path).second)
                Error("cannot write '" + path + "': " + WriteFaultText(error));
        };
        return EXIT_DONE;
    }
    Error("cannot write the state folder '" + options->stateFolder + "': " + fault);
    return EXIT_FAULT;
}

bool WasWriteRefused()
{
    const std::lock_guard guard(refusedFiles.mutex);
    return !refusedFiles.paths.empty();
}

int SetUpPorts(const Options* options)
{
    const std::optional<std::vector<Port>> ports = PortsOf(options);
    if (!ports)
        return EXIT_NO_PORT;
    drivers::RegisterEnumeratorFilter();
    for (const Port& port : *ports)
        AddPort(port);
    return EXIT_DONE;
}

int SetUpDevicesToAsk(const Options* options)
{
    const std::optional<std::vector<Port>> ports = PortsOf(options);
    if (!ports)
        return EXIT_NO_PORT;
    if (const int exitCode = SetUpState(options); exitCode != EXIT_DONE)
        return exitCode;
    drivers::RegisterEnumeratorFilter();
    for (const Port& port : *ports) {
        if (!platform::IsPortIgnored(port.path))
            AddPort(port);
        else if (!options->selectedPorts.empty())
            Warning("'--port': '" + port.path
                + "' is skipped: its udev property ID_KORVEX_IGNORE is set");
    }
    return EXIT_DONE;
}

void AddNewDevicesToAsk(const Options* options)
{
    const std::vector<PortState> known = AllPorts();
    for (const Port& port : PortsOf(options).value_or(std::vector<Port>())) {
        const bool isKnown = std::any_of(known.begin(), known.end(),
            [&port](const PortState& other) { return other.path == port.path; });
        if (!isKnown && !platform::IsPortIgnored(port.path))
            AddPort(port);
    }
}

int SetUpKnownDevices(const Options* options)
{
    std::error_code error;
    if (fs::is_directory(options->stateFolder, error))
        UseStateFolder(options);
    return SetUpPorts(options);
}

} // namespace korvex::command
