#include "runtime/opened_controller.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>

#include "input/session.h"
#include "link/command_protocol.h"
#include "link/port_link.h"
#include "machine/port_failure.h"
#include "machine/port_names.h"
#include "platform/linux/core/text.h"
#include "platform/linux/serial/port_scan.h"
#include "platform/win32.h"
#include "process/exit_codes.h"
#include "process/message.h"
#include "process/service_manager.h"
#include "process/shutdown.h"
#include "runtime/running_sessions.h"

namespace korvex::command {

namespace {

using std::chrono::milliseconds;

// Poll interval for sessions whose end is not reported, in milliseconds.
constexpr int ENDED_INTERVAL_MS = 100;

// Between two tries on a port without a controller.
constexpr milliseconds MIN_ASK_PAUSE{2000};
constexpr milliseconds MAX_ASK_PAUSE{30000};

// How it went to open a controller.
struct Opening {
    int exitCode;
    std::string fault; // empty: none
    bool mayCome;      // what is missing may come by itself
};

Opening Open(const std::string& path, TouchController** controller)
{
    *controller = nullptr;
    if (platform::IsPortIgnored(path))
        return {EXIT_NO_PORT,
            "'" + path + "' is skipped: its udev property ID_KORVEX_IGNORE is set", false};
    HANDLE port = OpenPort(path);
    if (port == INVALID_HANDLE_VALUE) {
        const DWORD error = GetLastError();
        return {EXIT_NO_PORT, "cannot open '" + path + "': " + PortFailureText(path, error),
            error != ERROR_INVALID_FUNCTION};
    }
    TouchController* opened = ControllerOn(port);
    if (opened == nullptr)
        return {EXIT_FAULT, "out of memory", false};
    if (IdentifyController(opened)) {
        *controller = opened;
        return {EXIT_DONE, "", false};
    }
    ReleaseController(opened);
    if (IsShutdownRequested())
        return {EXIT_DONE, "", false};
    return {EXIT_NO_CONTROLLER,
        "no controller answers on '" + path + "', neither at 19200 nor at 9600 baud", true};
}

} // namespace

HANDLE OpenPort(const std::string& path)
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_character_file(status)) {
        SetLastError(ERROR_INVALID_FUNCTION);
        return INVALID_HANDLE_VALUE;
    }
    return CreateFileW(platform::FromNativePath(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0,
        nullptr, OPEN_EXISTING, 0, nullptr);
}

TouchController* ControllerOn(HANDLE port)
{
    TouchController* controller = CreateController();
    if (controller == nullptr) {
        CloseHandle(port);
        return nullptr;
    }
    LinkInit(&controller->link, port, LINK_SERIAL, 0);
    controller->stopEvent = ShutdownEvent();
    return controller;
}

int OpenController(const Options* options, const std::string& port, TouchController** controller)
{
    const Opening opening = Open(PathOfPort(options->givenPorts, port), controller);
    if (!opening.fault.empty())
        Error(opening.fault);
    return opening.exitCode;
}

int AwaitController(const Options* options, const std::string& port, TouchController** controller)
{
    std::string told;
    std::string awaited; // the path: where udev's link is missing, a name is one too
    for (milliseconds pause = MIN_ASK_PAUSE;; pause = std::min(2 * pause, MAX_ASK_PAUSE)) {
        const std::string path = PathOfPort(options->givenPorts, port);
        const Opening opening = Open(path, controller);
        if (path != awaited || !opening.mayCome)
            NotePending(awaited, "");
        awaited = path;
        if (!opening.mayCome) {
            if (!opening.fault.empty())
                Error(opening.fault);
            return opening.exitCode;
        }
        if (opening.fault != told) {
            Warning(PanelSubjectOf(path, Happening::PENDING),
                opening.fault + "; trying again every 2 to 30 s");
            NotifyServiceManager("STATUS=Waiting: " + opening.fault);
        }
        told = opening.fault;
        NotePending(path, opening.fault);
        if (WaitForShutdown(pause))
            return EXIT_DONE;
    }
}

int StartDriving(const Options* options, const std::string& port, TouchController* controller)
{
    // The link is the reader's from the start of the session on.
    const PanelSubject subject
        = PanelSubjectOf(PathOfPort(options->givenPorts, port), Happening::DRIVEN);
    const std::string description = DescriptionOf(controller);
    if (!StartSession(controller)) {
        Error("cannot start a thread for the session");
        return EXIT_FAULT;
    }
    Notice(subject, description);
    NotifyServiceManager("STATUS=" + subject.title + ": " + description);
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
        // Then the end is polled for in between.
    }
    const int interval = watcher.joinable() ? -1 : ENDED_INTERVAL_MS;
    std::array awaited{pollfd{ShutdownDescriptor(), POLLIN, 0}, pollfd{ended, POLLIN, 0}};
    while (poll(awaited.data(), awaited.size(), interval) <= 0 && !HasReaderEnded(controller)) { }
    const bool requested = IsShutdownRequested();
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
        // without a thread nothing reports its end
        if (controller->readerThread != nullptr)
            JoinSession(controller, SESSION_STOP_LIMIT_MS);
    }
    if (!std::all_of(controllers->begin(), controllers->end(), HasReaderEnded))
        _exit(exitCode);
    for (TouchController* controller : *controllers)
        ReleaseController(controller);
    return exitCode;
}

} // namespace korvex::command
