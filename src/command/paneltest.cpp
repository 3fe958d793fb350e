#include <atomic>
#include <cstdio>
#include <utility>

#include "command/check/stored_calibration.h"
#include "command/detection.h"
#include "command/subcommands.h"
#include "host/panel_test.h"
#include "input/host_handlers.h"
#include "machine/machine_setup.h"
#include "machine/port_state.h"
#include "platform/linux/machine.h"
#include "platform/win32.h"
#include "process/end_request.h"
#include "process/exit_codes.h"
#include "process/message.h"

namespace korvex::command {

namespace {

bool printsStates;

// Says on standard error what a person would see on the screen.
void PrintPanelTestState(const PanelTestContext* context)
{
    const uint32_t index = context->targetIndex;
    if (context->showResult != 0) {
        fprintf(stderr, "check: touch at %d, %d\npanel quality %u %%\n", context->markerX,
            context->markerY, PanelQuality(&context->calib));
        return;
    }
    if (index > 0)
        fprintf(stderr, "sample %u: raw %d, %d\n", index, context->calib.advPoints[index - 1].x,
            context->calib.advPoints[index - 1].y);
    if (index == TARGET_COUNT) {
        fputs("check: touch anywhere\n", stderr);
        return;
    }
    const POINT target = TargetPosition(index);
    fprintf(stderr, "target %u of %u at %d, %d\n", index + 1, TARGET_COUNT, target.x, target.y);
}

void HandleState(const PanelTestContext* context)
{
    static bool isRated = false;
    if (context->showResult != 0 && !std::exchange(isRated, true))
        OutputDebugStringW(u"\n"); // the diagnostic text of the quality has no line end
    if (printsStates)
        PrintPanelTestState(context);
}

} // namespace

int RunPanelTest(const Options* options)
{
    static constexpr Entry PANEL_TEST{kxPANELTEST, kxPANELTESTW};
    static const SettingsBefore before = LookAtSettings();
    if (!before.savingFault.empty())
        ShowErrorBox(options, "The calibration will not be saved: " + before.savingFault,
            u"Touch Panel Utility");
    printsStates = options->windows == "none";
    static std::atomic<bool> found{false};
    static std::atomic<bool> nobody{false};
    SetHostHandlers({.sessionEvent
        = [](TouchController* /*controller*/,
              SessionEvent event) { found = found || event == SessionEvent::STARTED; },
        .workerRefused = EndWithoutWorker,
        .detectionDone = [] { nobody = !found; },
        .panelTestState = HandleState});
    AskKnownControllers();
    if (IsEndRequested())
        return EXIT_DONE;
    platform::ThisMachine()->onExit = [](int exitCode) {
        exitCode = EntryExitCode(exitCode);
        if (exitCode != EXIT_DONE)
            return exitCode;
        if (nobody)
            return EXIT_NO_CONTROLLER;
        return before.savingFault.empty() && !WasWriteRefused() ? JudgeStored(&before) : EXIT_FAULT;
    };
    return RunEntry(options, &PANEL_TEST);
}

} // namespace korvex::command
