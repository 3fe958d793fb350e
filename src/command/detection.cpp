#include <cstdio>

#include "command/exit_codes.h"
#include "command/machine_setup.h"
#include "command/options.h"
#include "command/port_failure.h"
#include "command/subcommands.h"
#include "host/host.h"
#include "host/panel_test.h"
#include "korvex/korvex.h"
#include "platform/linux/machine.h"
#include "platform/linux/windows/messages.h"
#include "platform/win32.h"

namespace korvex::command {

namespace {

// The two forms of an entry.
struct Entry {
    decltype(&kxENUM) run;
    decltype(&kxENUMW) runSingle;
};

// Says on standard error what a person would see on the screen.
void PrintPanelTestState(const PanelTestContext* context)
{
    const uint32_t index = context->targetIndex;
    if (context->showResult != 0) {
        fprintf(stderr, "check: touch at %d, %d\npanel quality %u %%\n", context->markerX, context->markerY, PanelQuality(&context->calib));
        return;
    }
    if (index > 0)
        fprintf(stderr, "sample %u: raw %d, %d\n", index, context->calib.advPoints[index - 1].x, context->calib.advPoints[index - 1].y);
    if (index == TARGET_COUNT) {
        fputs("check: touch anywhere\n", stderr);
        return;
    }
    const POINT target = TargetPosition(index);
    fprintf(stderr, "target %u of %u at %d, %d\n", index + 1, TARGET_COUNT, target.x, target.y);
}

int RunEntry(const Options* options, const Entry* entry)
{
    platform::ThisMachine()->portRefused = [options](const std::string& path, DWORD error) {
        fprintf(stderr, "%s: '%s' is left out: %s\n", options->command.c_str(), path.c_str(), PortFailureText(path, error).c_str());
    };
    platform::ThisMachine()->onExit = [options](int exitCode) {
        if (exitCode != EXIT_DONE || !platform::IsDisplayLost())
            return exitCode;
        fprintf(stderr, "%s: the display is lost\n", options->command.c_str());
        return EXIT_FAULT;
    };
    if (options->windows == "none")
        SetPanelTestObserver(PrintPanelTestState);
    SetLastError(ERROR_SUCCESS);
    if (options->single)
        entry->runSingle(nullptr, nullptr, nullptr, SW_SHOW);
    else
        entry->run();
    if (options->single && GetLastError() == ERROR_ALREADY_EXISTS) {
        fprintf(stderr, "%s: another one is running in this session\n", options->command.c_str());
        return EXIT_ALREADY_RUNNING;
    }
    // The message loop ends only without a display. Readers and worker are still running.
    DestroyHostContext();
    fprintf(stderr, "%s: the display is lost\n", options->command.c_str());
    ExitProcess(EXIT_FAULT);
}

} // namespace

int RunEnumerate(const Options* options)
{
    static constexpr Entry DETECTION{kxENUM, kxENUMW};
    return RunEntry(options, &DETECTION);
}

int RunPanelTest(const Options* options)
{
    static constexpr Entry PANEL_TEST{kxPANELTEST, kxPANELTESTW};
    return RunEntry(options, &PANEL_TEST);
}

} // namespace korvex::command
