#include <string>
#include <vector>

#include "command/exit_codes.h"
#include "command/opened_controller.h"
#include "command/options.h"
#include "command/service_manager.h"
#include "command/subcommands.h"

namespace korvex::command {

int RunDrive(const Options* options)
{
    const std::string& port = options->arguments[0];
    const auto open = options->wait ? AwaitController : OpenController;
    NotifyServiceManager("READY=1");
    // Once more for each controller that takes the place of the one before.
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

} // namespace korvex::command
