#include <string>
#include <vector>

#include "command/subcommands.h"
#include "input/host_handlers.h"
#include "machine/port_names.h"
#include "platform/linux/pointer/pointer.h"
#include "process/exit_codes.h"
#include "process/options.h"
#include "process/service_manager.h"
#include "runtime/control_server.h"
#include "runtime/opened_controller.h"
#include "runtime/running_sessions.h"

namespace korvex::command {

namespace {

// Drives what is on the port, once more for each controller that takes the place of the one before.
int Drive(const Options* options, const std::string& port)
{
    const auto open = options->wait ? AwaitController : OpenController;
    for (;;) {
        TouchController* controller = nullptr;
        int exitCode = open(options, port, &controller);
        if (controller == nullptr)
            return exitCode;
        exitCode = StartDriving(options, port, controller);
        const bool over = exitCode != EXIT_DONE || WaitForEndOf(controller);
        if (over)
            NotifyServiceManager("STOPPING=1");
        const std::vector controllers{controller};
        exitCode = EndControllers(&controllers, exitCode);
        if (over)
            return exitCode;
    }
}

} // namespace

int RunDrive(const Options* options)
{
    const std::string& port = options->arguments[0];
    SetHostHandlers({.sessionEvent = HandleSessionEvent,
        .portReturned = HandlePortReturn,
        .touchAbandoned = platform::AbandonTouch});
    StartControl("drive-" + PanelNameOf(PathOfPort(options->givenPorts, port)));
    NotifyServiceManager("READY=1");
    const int exitCode = Drive(options, port);
    EndControl();
    return exitCode;
}

} // namespace korvex::command
