#include "machine/machine_setup.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
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
#include "platform/linux/core/debug_output.h"
#include "platform/linux/core/descriptors.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/port_nodes.h"
#include "platform/linux/devices/registry.h"
#include "platform/linux/files/whole_files.h"
#include "platform/linux/machine.h"
#include "platform/linux/pointer/pointer_backends.h"
#include "platform/linux/pointer/pointer_log.h"
#include "platform/linux/serial/port_scan.h"
#include "platform/linux/windows/window_headless.h"
#include "platform/linux/windows/window_x11.h"
#include "process/end_request.h"
#include "process/exit_codes.h"
#include "process/service_manager.h"

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
constexpr const char* UINPUT_RULE = "/usr/lib/udev/rules.d/72-korvex.rules";

// The output that is named for the touches of a line; empty when none is.
std::string MonitorOf(const Options* options, const std::string& path)
{
    for (const PortMonitor& given : options->portMonitors) {
        if (IsSamePort(PathOfPort(options, given.port), path))
            return given.output;
    }
    return "";
}

// A port of the machine.
struct Port {
    std::string name;       // COM3
    std::string path;       // that is opened
    std::string stablePath; // its adapter's across runs
};

// What is given for a port, which may be under any of its names.
Port GivenPortOf(const Options* options, const GivenPort* given,
    const std::vector<platform::ScannedPort>* scanned)
{
    const std::string path = PathOfPort(options, given->path);
    const auto known = std::find_if(scanned->begin(), scanned->end(),
        [&path](const platform::ScannedPort& port) { return IsSamePort(port.path, path); });
    std::error_code error;
    return {given->name, path,
        known == scanned->end() ? fs::absolute(path, error).string() : known->stablePath};
}

// The ports given, else the system's, without consoles.
std::vector<Port> PortsOf(const Options* options)
{
    const std::vector<platform::ScannedPort> scanned
        = platform::ScanSerialPorts("/sys", "/dev", "/proc");
    std::vector<Port> ports;
    if (options->ports.empty()) {
        for (const platform::ScannedPort& port : scanned) {
            const std::string panel = platform::GivenPanelNameOf(port.path, "/dev");
            ports.push_back({port.name,
                panel.empty() ? port.stablePath : PathOfPort(options, panel), port.stablePath});
        }
    }
    for (const GivenPort& given : options->ports) {
        const Port port = GivenPortOf(options, &given, &scanned);
        if (platform::IsKernelConsole(port.path, "/proc"))
            fprintf(stderr, "%s: %s is left out: '%s' is a system console\n",
                options->command.c_str(), port.name.c_str(), port.path.c_str());
        else
            ports.push_back(port);
    }
    return ports;
}

void AddPort(const Port* port)
{
    platform::AddSerialPort(platform::FromUtf8(port->name), port->path, port->stablePath);
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
            fprintf(stderr, "%s: cannot write '%s': %s\n", options->command.c_str(),
                options->traceFile.c_str(), strerror(errno));
            return EXIT_FAULT;
        }
        platform::UseTraceDescriptor(trace);
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
        fprintf(stderr, "%s: cannot write to standard output; touches were lost\n",
            options->command.c_str());
    return lost;
}

int RefusePortMonitors(const Options* options)
{
    if (options->portMonitors.empty())
        return EXIT_DONE;
    const PortMonitor& given = options->portMonitors.front();
    fprintf(stderr,
        "%s: invalid value '%s=%s' for '--monitor': its window is on one monitor; name the output "
        "alone\n",
        options->command.c_str(), given.port.c_str(), given.output.c_str());
    return EXIT_USAGE_ERROR;
}

int SetUpPointer(const Options* options)
{
    platform::Machine* machine = platform::ThisMachine();
    machine->screen.output = options->monitor;
    for (const PortMonitor& given : options->portMonitors) {
        std::error_code error;
        const std::string path = PathOfPort(options, given.port);
        if (path.find('/') == std::string::npos && !fs::exists(path, error)) // it may come
            fprintf(stderr, "%s: '--monitor': there is no port '%s' now\n",
                options->command.c_str(), given.port.c_str());
    }
    if (!options->portMonitors.empty())
        machine->screen.outputOfLine
            = [given = *options](const std::string& path) { return MonitorOf(&given, path); };
    machine->observers.monitorChanged
        = [command = options->command](const std::string& output, bool present) {
              fprintf(stderr, "%s: the monitor of output '%s' is %s\n", command.c_str(),
                  output.empty() ? "(primary)" : output.c_str(),
                  present ? "back" : "gone; touches for it are dropped until it is back");
          };
    machine->observers.deviceRefused
        = [command = options->command](const std::string& path, int error) {
              fprintf(stderr, "%s: no touch screen for '%s': %s; it is tried again\n",
                  command.c_str(), path.c_str(), strerror(error));
          };
    std::string reason;
    if (options->pointer == "log"
        && (fcntl(STDOUT_FILENO, F_GETFL) & O_ACCMODE) == O_RDONLY) { // it was closed
        fprintf(stderr, "%s: cannot write to standard output\n", options->command.c_str());
        return EXIT_FAULT;
    }
    const platform::PointerKind* kind = platform::FindPointerKind(options->pointer);
    if (!kind->use({.nameOfPanel = PanelNameOf, .endDescriptor = EndDescriptor()}, &reason)) {
        const bool isRefused = options->pointer == "uinput";
        fprintf(stderr, "%s: no pointer input: %s%s%s\n", options->command.c_str(), reason.c_str(),
            isRefused ? "; members of the group \"korvex-input\" may open it, by the udev rule "
                      : "",
            isRefused ? UINPUT_RULE : "");
        return EXIT_NO_DISPLAY;
    }
    if (options->pointer == "x11" && IsWaylandSession())
        fprintf(stderr,
            "%s: this is a Wayland session: only X programs will see the touches; '--pointer "
            "uinput' is for all (the udev rule %s)\n",
            options->command.c_str(), UINPUT_RULE);
    return EXIT_DONE;
}

int SetUpWindows(const Options* options)
{
    platform::Machine* machine = platform::ThisMachine();
    std::string reason;
    machine->windows.backend = options->windows == "none" ? platform::HeadlessBackend()
                                                          : platform::X11Backend(nullptr, &reason);
    if (machine->windows.backend == nullptr) {
        fprintf(stderr, "%s: no windows: %s\n", options->command.c_str(), reason.c_str());
        return EXIT_NO_DISPLAY;
    }
    if (!reason.empty())
        fprintf(stderr, "%s: windows: %s\n", options->command.c_str(), reason.c_str());
    machine->windows.closeSignals = EndDescriptor();
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
        platform::ThisMachine()->observers.fileNotWritten
            = [command = options->command](const std::string& path, int error) {
                  const std::lock_guard guard(refusedFiles.mutex);
                  if (refusedFiles.paths.insert(path).second)
                      fprintf(stderr, "%s: cannot write '%s': %s\n", command.c_str(), path.c_str(),
                          WriteFaultText(error).c_str());
              };
        return EXIT_DONE;
    }
    fprintf(stderr, "%s: cannot write the state folder '%s': %s\n", options->command.c_str(),
        options->stateFolder.c_str(), fault.c_str());
    return EXIT_FAULT;
}

bool WasWriteRefused()
{
    const std::lock_guard guard(refusedFiles.mutex);
    return !refusedFiles.paths.empty();
}

int SetUpPorts(const Options* options)
{
    drivers::RegisterEnumeratorFilter();
    for (const Port& port : PortsOf(options))
        AddPort(&port);
    return EXIT_DONE;
}

int SetUpDevices(const Options* options)
{
    return SetUpMachine(options, {SetUpState, SetUpPorts});
}

int SetUpDevicesToAsk(const Options* options)
{
    const std::vector<Port> ports = PortsOf(options);
    const auto isNamed = [options](const std::string& name, const Port& port) {
        return name == port.name || IsSamePort(PathOfPort(options, name), port.path);
    };
    for (const std::string& name : options->only) {
        if (std::none_of(ports.begin(), ports.end(),
                [&](const Port& port) { return isNamed(name, port); })) {
            fprintf(stderr, "%s: '--only': there is no port '%s'; see 'korvex ports'\n",
                options->command.c_str(), name.c_str());
            return EXIT_USAGE_ERROR;
        }
    }
    if (const int exitCode = SetUpState(options); exitCode != EXIT_DONE)
        return exitCode;
    drivers::RegisterEnumeratorFilter();
    for (const Port& port : ports) {
        const bool wanted = options->only.empty()
            || std::any_of(options->only.begin(), options->only.end(),
                [&](const std::string& name) { return isNamed(name, port); });
        const bool ignored = platform::IsPortIgnored(port.path);
        if (wanted && ignored && !options->only.empty())
            fprintf(stderr, "%s: '--only': '%s' is not asked: udev has ID_KORVEX_IGNORE for it\n",
                options->command.c_str(), port.path.c_str());
        if (wanted && !ignored)
            AddPort(&port);
    }
    return EXIT_DONE;
}

int SetUpKnownDevices(const Options* options)
{
    std::error_code error;
    if (fs::is_directory(options->stateFolder, error))
        UseStateFolder(options);
    return SetUpPorts(options);
}

} // namespace korvex::command
