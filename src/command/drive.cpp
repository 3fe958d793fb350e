#include <optional>
#include <vector>

#include "command/end_request.h"
#include "command/exit_codes.h"
#include "command/opened_controller.h"
#include "command/options.h"
#include "command/subcommands.h"

namespace korvex::command {

int RunDrive(const Options* options)
{
    TouchController* controller = nullptr;
    int exitCode = OpenController(options, options->arguments[0], &controller);
    if (controller == nullptr)
        return exitCode;
    exitCode = StartDriving(options, options->arguments[0], controller);
    if (exitCode == EXIT_DONE)
        WaitForEnd(std::nullopt);
    const std::vector controllers{controller};
    return EndControllers(&controllers, exitCode);
}

} // namespace korvex::command
