#include "command/drive.h"

#include <optional>
#include <vector>

#include "command/machine_setup.h"
#include "command/opened_controller.h"
#include "command/options.h"
#include "command/runner.h"

namespace korvex::command {

int RunDrive(int argc, char** argv)
{
    Options options;
    if (!ParseOptions(argc, argv, {"pointer", "trace"}, {1, 1}, &options))
        return EXIT_USAGE_ERROR;
    int exitCode = SetUpMachine(&options, {SetUpTrace, SetUpPointer});
    TouchController* controller = nullptr;
    if (exitCode == EXIT_DONE)
        exitCode = OpenController(&options, options.arguments[0], &controller);
    if (exitCode != EXIT_DONE)
        return exitCode;
    exitCode = RunSession(&options, options.arguments[0], controller);
    if (exitCode == EXIT_DONE)
        WaitForEndSignal(std::nullopt);
    const std::vector controllers{controller};
    return EndControllers(&controllers, exitCode);
}

} // namespace korvex::command
