#include "runner/drive.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

#include "input/session.h"
#include "link/command_protocol.h"
#include "link/port_link.h"
#include "link/touch_controller.h"
#include "platform/posix/text.h"
#include "platform/win32.h"
#include "runner/machine_setup.h"
#include "runner/options.h"
#include "runner/port_failure.h"
#include "runner/runner.h"

namespace korvex::runner {

namespace {

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
        fprintf(stderr, "korvex drive: cannot open '%s': %s\n", port.c_str(), PortFailureText(GetLastError()));
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
    Options options;
    if (!ParseOptions(argc, argv, {"pointer", "trace"}, 1, &options))
        return EXIT_USAGE_ERROR;
    int exitCode = SetUpMachine(&options, {SetUpTrace, SetUpPointer});
    if (exitCode != EXIT_DONE)
        return exitCode;
    const std::string& port = options.arguments[0];
    HANDLE handle = OpenPort(port);
    if (handle == INVALID_HANDLE_VALUE)
        return EXIT_NO_PORT;

    TouchController* controller = CreateController();
    if (controller == nullptr)
        return EXIT_FAULT;
    LinkInit(&controller->link, handle, LINK_SERIAL, 0);
    exitCode = Drive(controller, port);
    if (HasReaderEnded(controller)) {
        ReleaseController(controller);
        return exitCode;
    }
    _exit(exitCode); // what the reader still uses is left to the end of the process
}

} // namespace korvex::runner
