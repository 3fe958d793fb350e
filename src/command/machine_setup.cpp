#include "command/machine_setup.h"

#include <fcntl.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>

#include "command/runner.h"
#include "discovery/model_table.h"
#include "drivers/enumerator_filter.h"
#include "platform/linux/core/debug_output.h"
#include "platform/linux/core/text.h"
#include "platform/linux/devices/port_nodes.h"
#include "platform/linux/devices/registry.h"
#include "platform/linux/machine.h"
#include "platform/linux/pointer/pointer_log.h"
#include "platform/linux/pointer/pointer_x11.h"
#include "platform/linux/serial/port_scan.h"
#include "platform/linux/windows/window_headless.h"
#include "platform/linux/windows/window_x11.h"

namespace korvex::command {

namespace {

namespace fs = std::filesystem;

// Registers the enumerator's service, and puts its binary in place, unless an earlier run has.
void InstallEnumeratorService(const std::string& windowsFolder)
{
    constexpr std::u16string_view BINARY = u"system32\\drivers\\KXSERENUM.sys";
    HKEY key = platform::OpenRegistryPath(platform::ServiceKeyPath(ENUMERATOR_SERVICE));
    if (RegQueryValueExW(key, u"ImagePath", nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS) {
        RegCloseKey(key);
        return;
    }
    RegSetValueExW(key, u"ImagePath", 0, REG_SZ, reinterpret_cast<const BYTE*>(BINARY.data()),
        static_cast<DWORD>((BINARY.size() + 1) * sizeof(WCHAR)));
    RegCloseKey(key);
    std::error_code error;
    fs::create_directories(windowsFolder + "/system32/drivers", error);
    std::ofstream(windowsFolder + "/system32/drivers/KXSERENUM.sys") << "stands for the serial enumerator filter, which is built in here\n";
}

// The user's mouse settings, a key that Windows always has.
void CreateMouseSettings()
{
    HKEY key = nullptr;
    if (RegCreateKeyExW(
            HKEY_CURRENT_USER, u"Control Panel\\Mouse", 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &key, nullptr)
        == ERROR_SUCCESS)
        RegCloseKey(key);
}

// The adapter's path across runs of a port that was given by its tty.
std::string StablePathOf(const std::string& path, const std::vector<platform::ScannedPort>& scanned)
{
    std::error_code error;
    const fs::path resolved = fs::weakly_canonical(path, error);
    for (const platform::ScannedPort& port : scanned) {
        if (resolved == port.path)
            return port.stablePath;
    }
    return fs::absolute(path, error).string();
}

} // namespace

int SetUpMachine(const Options* options, std::initializer_list<int (*)(const Options*)> parts)
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
        const int trace = open(options->traceFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
        if (trace < 0) {
            fprintf(stderr, "%s: cannot write '%s': %s\n", options->command.c_str(), options->traceFile.c_str(), strerror(errno));
            return EXIT_FAULT;
        }
        platform::UseTraceDescriptor(trace);
    }
    return EXIT_DONE;
}

int SetUpQuietTrace(const Options* options)
{
    platform::ThisMachine()->traceOutput = [](std::string_view /*text*/) {};
    return SetUpTrace(options);
}

int SetUpPointer(const Options* options)
{
    platform::Machine* machine = platform::ThisMachine();
    std::string reason;
    if (options->pointer == "none") {
        machine->pointerOutput = [](const INPUT& /*input*/) { return true; };
    } else if (options->pointer == "log") {
        platform::UseLoggedPointer(STDOUT_FILENO);
    } else if (!platform::UseX11Pointer(nullptr, &reason)) {
        fprintf(stderr, "%s: no pointer input: %s\n", options->command.c_str(), reason.c_str());
        return EXIT_NO_DISPLAY;
    }
    return EXIT_DONE;
}

int SetUpWindows(const Options* options)
{
    platform::Machine* machine = platform::ThisMachine();
    std::string reason;
    machine->windowBackend = options->windows == "none" ? platform::HeadlessBackend() : platform::X11Backend(nullptr, &reason);
    if (machine->windowBackend == nullptr) {
        fprintf(stderr, "%s: no windows: %s\n", options->command.c_str(), reason.c_str());
        return EXIT_NO_DISPLAY;
    }
    sigset_t endSignals;
    sigemptyset(&endSignals);
    sigaddset(&endSignals, SIGINT);
    sigaddset(&endSignals, SIGTERM);
    machine->closeSignals = signalfd(-1, &endSignals, SFD_CLOEXEC | SFD_NONBLOCK);
    return EXIT_DONE;
}

int SetUpSystem(const Options* options)
{
    platform::Machine* machine = platform::ThisMachine();
    if (options->osMajor != 0) {
        machine->osMajor = options->osMajor;
        machine->osMinor = options->osMinor;
    }
    machine->isServer = options->server;
    machine->isTabletPc = options->tabletPc;
    return EXIT_DONE;
}

int SetUpDevices(const Options* options)
{
    return SetUpMachine(options, {SetUpState, SetUpPorts});
}

bool PrepareState(const Options* options)
{
    platform::Machine* machine = platform::ThisMachine();
    std::error_code error;
    fs::create_directories(options->stateFolder, error);
    if (error || access(options->stateFolder.c_str(), W_OK) != 0)
        return false;
    machine->stateFolder = fs::absolute(options->stateFolder, error).string();
    machine->windowsFolder = machine->stateFolder + "/windows";
    machine->systemFolder = machine->windowsFolder + "/system32";
    InstallEnumeratorService(machine->windowsFolder);
    CreateMouseSettings();
    return true;
}

int SetUpState(const Options* options)
{
    if (PrepareState(options))
        return EXIT_DONE;
    fprintf(stderr, "%s: cannot write the state folder '%s'\n", options->command.c_str(), options->stateFolder.c_str());
    return EXIT_FAULT;
}

int SetUpPorts(const Options* options)
{
    drivers::RegisterEnumeratorFilter();

    const std::vector<platform::ScannedPort> scanned = platform::ScanSerialPorts("/sys", "/dev", "/proc");
    if (options->ports.empty()) {
        for (const platform::ScannedPort& port : scanned)
            platform::AddSerialPort(platform::FromUtf8(port.name), port.path, port.stablePath);
    }
    for (const GivenPort& port : options->ports) {
        if (platform::IsKernelConsole(port.path, "/proc"))
            fprintf(
                stderr, "%s: %s is left out: '%s' is a system console\n", options->command.c_str(), port.name.c_str(), port.path.c_str());
        else
            platform::AddSerialPort(platform::FromUtf8(port.name), port.path, StablePathOf(port.path, scanned));
    }
    return EXIT_DONE;
}

} // namespace korvex::command
