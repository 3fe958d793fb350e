#include <vector>

#include "command/exit_codes.h"
#include "command/opened_controller.h"
#include "command/options.h"
#include "command/subcommands.h"

namespace korvex::command {

int RunDrive(const Options* options)
{
    // Once more for each controller that takes the place of the one before.
    for (;;) {
        TouchController* controller = nullptr;
        int exitCode = OpenController(options, options->arguments[0], &controller);
        if (controller == nullptr)
            return exitCode;
        exitCode = StartDriving(options, options->arguments[0], controller);
        const bool over = exitCode != EXIT_DONE || WaitForEndOf(controller);
        const std::vector controllers{controller};
        exitCode = EndControllers(&controllers, exitCode);
        if (over)
            return exitCode;
    }
}

} // namespace korvex::command
