#include "runner/enumerate.h"

#include <cstdio>

#include "host/host.h"
#include "host/korvex.h"
#include "platform/win32.h"
#include "runner/machine_setup.h"
#include "runner/options.h"
#include "runner/runner.h"

namespace korvex::runner {

int RunEnumerate(int argc, char** argv)
{
    Options options;
    if (!ParseOptions(argc, argv, {"single", "port", "state", "pointer", "windows", "trace"}, 0, &options))
        return EXIT_USAGE_ERROR;
    for (const auto& setUp : {SetUpOutputs, SetUpWindows, SetUpDevices}) {
        if (const int exitCode = setUp(&options); exitCode != EXIT_DONE)
            return exitCode;
    }
    SetLastError(ERROR_SUCCESS);
    if (options.single)
        kxENUMW(nullptr, nullptr, nullptr, SW_SHOW);
    else
        kxENUM();
    if (options.single && GetLastError() == ERROR_ALREADY_EXISTS) {
        fprintf(stderr, "%s: another one is running in this session\n", options.command.c_str());
        return EXIT_ALREADY_RUNNING;
    }
    // The message loop ends only without a display. Readers and worker are still running.
    DestroyHostContext();
    fprintf(stderr, "%s: the display is lost\n", options.command.c_str());
    ExitProcess(EXIT_FAULT);
}

} // namespace korvex::runner
