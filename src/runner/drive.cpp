#include "runner/drive.h"

#include <fcntl.h>
#include <getopt.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>

#include "input/session.h"
#include "link/command_protocol.h"
#include "link/port_link.h"
#include "link/touch_controller.h"
#include "platform/posix/machine.h"
#include "platform/posix/text.h"
#include "platform/win32.h"
#include "runner/runner.h"

namespace korvex::runner {

namespace {

struct DriveOptions {
    std::string port;
    std::string pointer; // "x11" or "log"
    std::string traceFile;
};

bool ParseOptions(int argc, char** argv, DriveOptions* options)
{
    constexpr std::array<option, 3> KNOWN{option{"pointer", required_argument, nullptr, 'p'},
        option{"trace", required_argument, nullptr, 't'}, option{nullptr, 0, nullptr, 0}};
    std::string name = "korvex drive"; // how getopt introduces its messages
    argv[0] = name.data();
    const char* display = getenv("DISPLAY");
    options->pointer = display != nullptr && *display != 0 ? "x11" : "log";
    for (int found = 0; (found = getopt_long(argc, argv, "", KNOWN.data(), nullptr)) != -1;) {
        if (found == 't')
            options->traceFile = optarg;
        else if (found == 'p')
            options->pointer = optarg;
        else
            return false; // getopt has named the fault
    }
    if (options->pointer != "x11" && options->pointer != "log") {
        fprintf(stderr, "korvex drive: invalid value '%s' for '--pointer': x11 or log\n", options->pointer.c_str());
        return false;
    }
    if (argc - optind != 1) {
        fprintf(stderr, argc == optind ? "korvex drive: a port is missing\n" : "korvex drive: unexpected argument '%s'\n", argv[argc - 1]);
        return false;
    }
    options->port = argv[optind];
    return true;
}

bool SetUpMachine(const DriveOptions* options, int* exitCode)
{
    platform::Machine* machine = platform::ThisMachine();
    if (!options->traceFile.empty()) {
        const int trace = open(options->traceFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
        if (trace < 0) {
            fprintf(stderr, "korvex drive: cannot write '%s': %s\n", options->traceFile.c_str(), strerror(errno));
            *exitCode = EXIT_FAULT;
            return false;
        }
        platform::UseTraceDescriptor(machine, trace);
    }
    std::string reason;
    if (options->pointer == "log") {
        platform::UseLoggedPointer(machine, STDOUT_FILENO);
    } else if (!platform::UseX11Pointer(machine, nullptr, &reason)) {
        fprintf(stderr, "korvex drive: no pointer input: %s\n", reason.c_str());
        *exitCode = EXIT_NO_POINTER;
        return false;
    }
    return true;
}

const char* OpenFailure(DWORD error)
{
    switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
        return "there is no such port";
    case ERROR_ACCESS_DENIED:
        return "no permission (is the user in the group \"dialout\"?)";
    case ERROR_SHARING_VIOLATION:
        return "another program is using it";
    case ERROR_DEVICE_NOT_CONNECTED:
        return "no device is connected";
    case ERROR_INVALID_FUNCTION:
        return "it is not a serial port";
    default:
        return "the system refuses it";
    }
}

HANDLE OpenPort(const std::string& port)
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(port, error);
    HANDLE handle = INVALID_HANDLE_VALUE;
    if (std::filesystem::exists(status) && !std::filesystem::is_character_file(status))
        SetLastError(ERROR_INVALID_FUNCTION);
    else
        handle = CreateFileW(platform::FromNativePath(port).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        fprintf(stderr, "korvex drive: cannot open '%s': %s\n", port.c_str(), OpenFailure(GetLastError()));
    return handle;
}

// What is found goes to standard error: with a logged pointer, standard output is for the input alone.
void Describe(const TouchController* controller, const std::string& port)
{
    fprintf(stderr, "%s: controller %X, firmware %u.%u.%u, %u bits, %u baud\n", port.c_str(), controller->model, controller->fwMajor,
        controller->fwMinor, controller->fwBuild, controller->resolutionBits, controller->link.baudRate);
}

void WaitForEndSignal()
{
    sigset_t endSignals;
    sigemptyset(&endSignals);
    sigaddset(&endSignals, SIGINT);
    sigaddset(&endSignals, SIGTERM);
    int signal = 0;
    sigwait(&endSignals, &signal);
}

int Drive(TouchController* controller, const std::string& port)
{
    if (!IdentifyController(controller)) {
        fprintf(stderr, "korvex drive: no controller answers on '%s', neither at 19200 nor at 9600 baud\n", port.c_str());
        return EXIT_NO_CONTROLLER;
    }
    Describe(controller, port);
    if (!StartSession(controller)) {
        fputs("korvex drive: the system refuses a thread for the session\n", stderr);
        return EXIT_FAULT;
    }
    WaitForEndSignal();
    StopSession(controller);
    return EXIT_DONE;
}

} // namespace

int RunDrive(int argc, char** argv)
{
    DriveOptions options;
    if (!ParseOptions(argc, argv, &options))
        return EXIT_USAGE_ERROR;
    int exitCode = EXIT_DONE;
    if (!SetUpMachine(&options, &exitCode))
        return exitCode;
    HANDLE handle = OpenPort(options.port);
    if (handle == INVALID_HANDLE_VALUE)
        return EXIT_NO_PORT;

    TouchController* controller = CreateController();
    if (controller == nullptr)
        return EXIT_FAULT;
    LinkInit(&controller->link, handle, LINK_SERIAL, 0);
    exitCode = Drive(controller, options.port);
    if (HasReaderEnded(controller)) {
        ReleaseController(controller);
        return exitCode;
    }
    _exit(exitCode); // what the reader still uses is left to the end of the process
}

} // namespace korvex::runner
