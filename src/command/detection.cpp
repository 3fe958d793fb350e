#include "command/detection.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "command/check/stored_calibration.h"
#include "command/subcommands.h"
#include "control/control_client.h"
#include "host/host.h"
#include "host/panel_test.h"
#include "input/host_handlers.h"
#include "korvex/korvex.h"
#include "machine/machine_setup.h"
#include "machine/port_failure.h"
#include "machine/port_names.h"
#include "machine/port_state.h"
#include "platform/linux/core/text.h"
#include "platform/linux/machine.h"
#include "platform/linux/pointer/pointer.h"
#include "platform/linux/serial/serial_port.h"
#include "platform/linux/windows/messages.h"
#include "platform/win32.h"
#include "process/exit_codes.h"
#include "process/message.h"
#include "process/shutdown.h"
#include "runtime/control_server.h"
#include "runtime/running_sessions.h"
#include "support/bounded_text.h"

namespace korvex::command {

namespace {

// The remedy for a port that the entry cannot open; empty if none is known.
std::string WayAround(const std::string& path, DWORD error)
{
    const std::string name = PanelNameOf(path);
    if (error != ERROR_SHARING_VIOLATION || !FindDrivenPanel(path, name))
        return "";
    return "; 'korvex calibrate " + name + "' calibrates the panel while it is driven";
}

// Runs the entry, which ends the process when its window is closed or an end is requested; the
// result is the exit code where it does not come that far. The handlers (HostHandlers) are set.
int RunEntry(const Options* options, decltype(&kxENUM) run, decltype(&kxENUMW) runSingle)
{
    platform::Machine* machine = platform::ThisMachine();
    machine->handlers.portRefused = [run](const std::string& path, DWORD error) {
        Warning("'" + ShownPath(path) + "' is skipped: " + PortFailureText(path, error)
            + (run == kxPANELTEST ? WayAround(path, error) : ""));
    };
    static std::string lockFault;
    machine->handlers.mutexRefused = [](const std::string& folder, int error) {
        lockFault = (folder.empty() ? "a folder of your own" : "'" + folder + "'") + ": "
            + strerror(error);
    };
    SetLastError(ERROR_SUCCESS);
    if (options->single)
        runSingle(nullptr, nullptr, nullptr, SW_SHOW);
    else
        run();
    if (!lockFault.empty()) {
        Error("cannot find out whether another one is running: no lock in " + lockFault);
        return EXIT_FAULT;
    }
    if (options->single && GetLastError() == ERROR_ALREADY_EXISTS) {
        Error("another one is running in this session");
        return EXIT_ALREADY_RUNNING;
    }
    // The entry has ended without a display, or without memory for its window. Readers and worker
    // may still be running.
    DestroyHostContext();
    Error(platform::IsDisplayLost() ? "the display is lost" : "out of memory");
    ExitProcess(EXIT_FAULT);
}

// The command's exit code for an entry that has ended with `exitCode`: EXIT_FAULT, with a message,
// when the display was lost.
int EntryExitCode(int exitCode)
{
    if (exitCode != EXIT_DONE || !platform::IsDisplayLost())
        return exitCode;
    Error("the display is lost");
    return EXIT_FAULT;
}

// The driven panels, as short as the status window needs it: "1 controller: ttyUSB0,
// 5200", and which of them are unplugged.
void DescribeDriven(WCHAR* text, size_t capacity)
{
    const std::vector<RunningSession> sessions = RunningSessions();
    std::string line
        = sessions.empty() ? "no controller is driven" : std::to_string(sessions.size());
    if (sessions.size() == 1)
        line += " controller: " + sessions[0].state.panel + ", "
            + (sessions[0].state.reading.lost ? "unplugged" : sessions[0].state.model);
    for (size_t i = 0; sessions.size() > 1 && i < sessions.size(); ++i)
        line += (i == 0 ? " controllers: " : ", ") + sessions[i].state.panel
            + (sessions[i].state.reading.lost ? " (unplugged)" : "");
    CopyBounded(text, capacity, platform::FromUtf8(line).c_str());
}

void HandleDetectedSession(TouchController* controller, SessionEvent event)
{
    HandleSessionEvent(controller, event);
    if (event == SessionEvent::STARTED)
        Notice(PanelSubjectOf(platform::OpenedPathOf(controller->link.handle), Happening::DRIVEN),
            DescriptionOf(controller));
    if (event == SessionEvent::STARTED || event == SessionEvent::ENDED
        || event == SessionEvent::PORT_LOST || event == SessionEvent::PORT_RETURNED)
        RefreshStatusDetail();
}

PortReturn HandleDetectedReturn(
    TouchController* controller, ReadResult result, const Packet* report)
{
    const PortReturn decision = HandlePortReturn(controller, result, report);
    if (decision == PortReturn::REPLACED)
        Warning("start enum again to drive it");
    return decision;
}

void HandleDetectionDone()
{
    RefreshStatusDetail();
    if (RunningSessions().empty())
        Warning("no controller was found on any port that was asked; nothing is driven");
}

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

void EndWithoutWorker()
{
    Error("cannot start a thread for the detection");
    DestroyHostContext();
    ExitProcess(EXIT_FAULT);
}

int RunEnumerate(const Options* options)
{
    const bool isSeen = options->windows != "none"; // else the lines on standard error say it
    SetHostHandlers({.sessionEvent = HandleDetectedSession,
        .portReturned = HandleDetectedReturn,
        .touchAbandoned = platform::AbandonTouch,
        .workerRefused = EndWithoutWorker,
        .detectionDone = HandleDetectionDone,
        .statusDetail = isSeen ? DescribeDriven : nullptr});
    StartControl("enum");
    platform::ThisMachine()->onExit = [](int exitCode) {
        EndControl();
        return EntryExitCode(exitCode);
    };
    const int exitCode = RunEntry(options, kxENUM, kxENUMW);
    EndControl(); // it has not come as far as onExit
    return exitCode;
}

int RunPanelTest(const Options* options)
{
    static const SettingsBefore before = LookAtSettings();
    if (!before.savingFault.empty())
        ShowErrorBox(options, "The calibration will not be saved: " + before.savingFault,
            u"Touch Panel Utility");
    printsStates = options->windows == "none";
    static std::atomic<bool> found{false};
    static std::atomic<bool> noneFound{false};
    SetHostHandlers({.sessionEvent
        = [](TouchController* /*controller*/,
              SessionEvent event) { found = found || event == SessionEvent::STARTED; },
        .workerRefused = EndWithoutWorker,
        .detectionDone = [] { noneFound = !found; },
        .panelTestState = HandleState});
    AskKnownControllers();
    if (IsShutdownRequested())
        return EXIT_DONE;
    platform::ThisMachine()->onExit = [](int exitCode) {
        exitCode = EntryExitCode(exitCode);
        if (exitCode != EXIT_DONE)
            return exitCode;
        if (noneFound)
            return EXIT_NO_CONTROLLER;
        return before.savingFault.empty() && !WasWriteRefused() ? JudgeStored(&before) : EXIT_FAULT;
    };
    return RunEntry(options, kxPANELTEST, kxPANELTESTW);
}

} // namespace korvex::command
