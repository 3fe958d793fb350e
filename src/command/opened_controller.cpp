#include "command/opened_controller.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <thread>

#include "command/end_request.h"
#include "command/exit_codes.h"
#include "command/panel_devices.h"
#include "command/port_failure.h"
#include "input/session.h"
#include "link/command_protocol.h"
#include "link/port_link.h"
#include "platform/linux/core/text.h"
#include "platform/win32.h"

namespace korvex::command {

namespace {

// How often a session whose end nobody tells of is looked at, in milliseconds.
constexpr int ENDED_INTERVAL_MS = 100;

} // namespace

HANDLE OpenPort(const std::string& path)
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_character_file(status)) {
        SetLastError(ERROR_INVALID_FUNCTION);
        return INVALID_HANDLE_VALUE;
    }
    return CreateFileW(platform::FromNativePath(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
}

TouchController* ControllerOn(HANDLE port)
{
    TouchController* controller = CreateController();
    if (controller == nullptr) {
        CloseHandle(port);
        return nullptr;
    }
    LinkInit(&controller->link, port, LINK_SERIAL, 0);
    controller->stopEvent = EndEvent();
    return controller;
}

int OpenController(const Options* options, const std::string& path, TouchController** controller)
{
    *controller = nullptr;
    HANDLE port = OpenPort(path);
    if (port == INVALID_HANDLE_VALUE) {
        fprintf(
            stderr, "%s: cannot open '%s': %s\n", options->command.c_str(), path.c_str(), PortFailureText(path, GetLastError()).c_str());
        return EXIT_NO_PORT;
    }
    TouchController* opened = ControllerOn(port);
    if (opened == nullptr) {
        fprintf(stderr, "%s: memory is short\n", options->command.c_str());
        return EXIT_FAULT;
    }
    if (IdentifyController(opened)) {
        NotePanelModel(path, opened->model);
        *controller = opened;
        return EXIT_DONE;
    }
    ReleaseController(opened);
    if (IsEndRequested())
        return EXIT_DONE;
    fprintf(stderr, "%s: no controller answers on '%s', neither at 19200 nor at 9600 baud\n", options->command.c_str(), path.c_str());
    return EXIT_NO_CONTROLLER;
}

std::string DescriptionOf(const TouchController* controller)
{
    std::array<char, 80> text{};
    snprintf(text.data(), text.size(), "controller %X, firmware %u.%u.%u, %u bits, %u baud", controller->model, controller->fwMajor,
        controller->fwMinor, controller->fwBuild, controller->resolutionBits, controller->link.baudRate);
    return text.data();
}

int StartDriving(const Options* options, const std::string& name, TouchController* controller)
{
    if (!StartSession(controller)) {
        fprintf(stderr, "%s: the system refuses a thread for the session\n", options->command.c_str());
        return EXIT_FAULT;
    }
    fprintf(stderr, "%s: %s\n", name.c_str(), DescriptionOf(controller).c_str());
    return EXIT_DONE;
}

bool WaitForEndOf(TouchController* controller)
{
    const int ended = eventfd(0, EFD_CLOEXEC);
    std::thread watcher;
    try {
        if (ended >= 0)
            watcher = std::thread([reader = controller->readerThread, ended] {
                WaitForSingleObject(reader, INFINITE);
                eventfd_write(ended, 1);
            });
    } catch (const std::system_error&) {
        // Then the end is looked for in between.
    }
    const int interval = watcher.joinable() ? -1 : ENDED_INTERVAL_MS;
    std::array awaited{pollfd{EndDescriptor(), POLLIN, 0}, pollfd{ended, POLLIN, 0}};
    while (poll(awaited.data(), awaited.size(), interval) <= 0 && !HasReaderEnded(controller)) { }
    const bool requested = IsEndRequested();
    RequestSessionStop(controller);
    JoinSession(controller, SESSION_STOP_LIMIT_MS);
    if (!HasReaderEnded(controller)) {
        if (watcher.joinable())
            watcher.detach(); // the process ends with it
        return requested;
    }
    if (watcher.joinable())
        watcher.join();
    if (ended >= 0)
        close(ended);
    return requested;
}

int EndControllers(const std::vector<TouchController*>* controllers, int exitCode)
{
    for (TouchController* controller : *controllers)
        RequestSessionStop(controller);
    for (TouchController* controller : *controllers) {
        if (controller->readerThread != nullptr) // a thread that was refused will not tell of its end
            JoinSession(controller, SESSION_STOP_LIMIT_MS);
    }
    if (!std::all_of(controllers->begin(), controllers->end(), HasReaderEnded))
        _exit(exitCode);
    for (TouchController* controller : *controllers)
        ReleaseController(controller);
    return exitCode;
}

} // namespace korvex::command
