#include <cstdio>
#include <string>
#include <vector>

#include "command/control_client.h"
#include "command/control_server.h"
#include "command/controller_text.h"
#include "command/end_request.h"
#include "command/exit_codes.h"
#include "command/fault_box.h"
#include "command/journal.h"
#include "command/known_controllers.h"
#include "command/machine_setup.h"
#include "command/options.h"
#include "command/port_failure.h"
#include "command/port_names.h"
#include "command/port_state.h"
#include "command/running_sessions.h"
#include "command/stored_calibration.h"
#include "command/subcommands.h"
#include "host/host.h"
#include "host/panel_test.h"
#include "input/session.h"
#include "korvex/korvex.h"
#include "platform/linux/core/text.h"
#include "platform/linux/machine.h"
#include "platform/linux/serial/serial_port.h"
#include "platform/linux/windows/messages.h"
#include "platform/win32.h"
#include "support/bounded_text.h"

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

// The command's words, for the routines that the library calls back.
std::string command;

// What can be done about a port that the entry cannot open; empty where nothing is known.
std::string WayAround(const std::string& path, DWORD error)
{
    const std::string name = PanelNameOf(path);
    if (command != "korvex paneltest" || error != ERROR_SHARING_VIOLATION
        || !FindRuntime(path, name))
        return "";
    return "; 'korvex calibrate " + name + "' calibrates the panel while it is driven";
}

// What is driven, in the few words that the status window has room for: "1 controller: ttyUSB0,
// 5200".
void DescribeDriven(WCHAR* text, size_t capacity)
{
    const std::vector<RunningSession> sessions = RunningSessions();
    std::string line
        = sessions.empty() ? "no controller is driven" : std::to_string(sessions.size());
    if (sessions.size() == 1)
        line += " controller: " + sessions[0].driven.panel + ", "
            + ModelText(sessions[0].driven.model);
    for (size_t i = 0; sessions.size() > 1 && i < sessions.size(); ++i)
        line += (i == 0 ? " controllers: " : ", ") + sessions[i].driven.panel;
    CopyBounded(text, capacity, platform::FromUtf8(line).c_str());
}

// Without its worker the entry would show a window that never finds anything.
void EndWithoutWorker()
{
    fprintf(stderr, "%s: the system refuses a thread for the detection\n", command.c_str());
    DestroyHostContext();
    ExitProcess(EXIT_FAULT);
}

int ExitCodeOf(int exitCode)
{
    if (exitCode != EXIT_DONE || !platform::IsDisplayLost())
        return exitCode;
    fprintf(stderr, "%s: the display is lost\n", command.c_str());
    return EXIT_FAULT;
}

int RunEntry(const Options* options, const Entry* entry)
{
    command = options->command;
    platform::Machine* machine = platform::ThisMachine();
    machine->observers.portRefused = [](const std::string& path, DWORD error) {
        Tell(Priority::WARNING,
            command + ": '" + ShownPath(path) + "' is left out: " + PortFailureText(path, error)
                + WayAround(path, error));
    };
    if (!machine->onExit)
        machine->onExit = ExitCodeOf;
    SetWorkerRefusedHandler(EndWithoutWorker);
    if (options->windows == "none")
        SetPanelTestObserver(PrintPanelTestState);
    SetLastError(ERROR_SUCCESS);
    if (options->single)
        entry->runSingle(nullptr, nullptr, nullptr, SW_SHOW);
    else
        entry->run();
    if (options->single && GetLastError() == ERROR_ALREADY_EXISTS) {
        fprintf(stderr, "%s: another one is running in this session\n", command.c_str());
        return EXIT_ALREADY_RUNNING;
    }
    // The entry has ended without a display, or without memory for its window. Readers and worker
    // may still be running.
    DestroyHostContext();
    fprintf(stderr, "%s: %s\n", command.c_str(),
        platform::IsDisplayLost() ? "the display is lost" : "memory is short");
    ExitProcess(EXIT_FAULT);
}

} // namespace

int RunEnumerate(const Options* options)
{
    static constexpr Entry DETECTION{kxENUM, kxENUMW};
    SetSessionObserver([](TouchController* controller, SessionEvent event) {
        ObserveSession(controller, event);
        if (event == SessionEvent::REPLACED)
            Tell(Priority::WARNING, command + ": that one is driven when enum is started again");
        if (event == SessionEvent::STARTED)
            Tell(Priority::NOTICE,
                PanelTitle(platform::OpenedPathOf(controller->link.handle)) + ": "
                    + DescriptionOf(controller));
        if (event == SessionEvent::STARTED || event == SessionEvent::ENDED)
            RefreshStatusDetail();
    });
    if (options->windows != "none") // what else sees it has the lines above
        SetStatusDetailHandler(DescribeDriven);
    SetDetectionDoneHandler([] {
        RefreshStatusDetail();
        if (RunningSessions().empty())
            Tell(Priority::WARNING,
                command
                    + ": no controller was found on any port that was asked; nothing is driven");
    });
    StartControl(options->command, "enum");
    platform::ThisMachine()->onExit = [](int exitCode) {
        EndControl();
        return ExitCodeOf(exitCode);
    };
    const int exitCode = RunEntry(options, &DETECTION);
    EndControl(); // it has not come as far as onExit
    return exitCode;
}

int RunPanelTest(const Options* options)
{
    static constexpr Entry PANEL_TEST{kxPANELTEST, kxPANELTESTW};
    static const SettingsBefore before = LookAtSettings();
    if (!before.savingFault.empty())
        TellInBox(options, "The calibration will not be saved: " + before.savingFault,
            u"Touch Panel Utility");
    AskKnownControllers();
    if (IsEndRequested())
        return EXIT_DONE;
    platform::ThisMachine()->onExit = [](int exitCode) {
        exitCode = ExitCodeOf(exitCode);
        if (exitCode != EXIT_DONE)
            return exitCode;
        return before.savingFault.empty() && !WasWriteRefused() ? JudgeStored(command, &before)
                                                                : EXIT_FAULT;
    };
    return RunEntry(options, &PANEL_TEST);
}

} // namespace korvex::command
