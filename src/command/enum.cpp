#include <string>
#include <vector>

#include "command/detection.h"
#include "command/subcommands.h"
#include "host/host.h"
#include "input/host_handlers.h"
#include "machine/port_names.h"
#include "platform/linux/core/text.h"
#include "platform/linux/machine.h"
#include "platform/linux/serial/serial_port.h"
#include "process/message.h"
#include "runtime/control_server.h"
#include "runtime/running_sessions.h"
#include "support/bounded_text.h"

namespace korvex::command {

namespace {

// What is driven, in the few words that the status window has room for: "1 controller: ttyUSB0,
// 5200", and which of them are unplugged.
void DescribeDriven(WCHAR* text, size_t capacity)
{
    const std::vector<RunningSession> sessions = RunningSessions();
    std::string line
        = sessions.empty() ? "no controller is driven" : std::to_string(sessions.size());
    if (sessions.size() == 1)
        line += " controller: " + sessions[0].state.panel + ", "
            + (sessions[0].state.reading.gone ? "unplugged" : sessions[0].state.model);
    for (size_t i = 0; sessions.size() > 1 && i < sessions.size(); ++i)
        line += (i == 0 ? " controllers: " : ", ") + sessions[i].state.panel
            + (sessions[i].state.reading.gone ? " (unplugged)" : "");
    CopyBounded(text, capacity, platform::FromUtf8(line).c_str());
}

void HandleDetectedSession(TouchController* controller, SessionEvent event)
{
    HandleSessionEvent(controller, event);
    if (event == SessionEvent::STARTED)
        Notice(
            PanelTitle(platform::OpenedPathOf(controller->link.handle)), DescriptionOf(controller));
    if (event == SessionEvent::STARTED || event == SessionEvent::ENDED
        || event == SessionEvent::PORT_GONE || event == SessionEvent::PORT_BACK)
        RefreshStatusDetail();
}

PortReturn HandleDetectedReturn(
    TouchController* controller, ReadResult result, const Packet* report)
{
    const PortReturn decision = HandlePortReturn(controller, result, report);
    if (decision == PortReturn::ANOTHER)
        Warning("that one is driven when enum is started again");
    return decision;
}

void HandleDetectionDone()
{
    RefreshStatusDetail();
    if (RunningSessions().empty())
        Warning("no controller was found on any port that was asked; nothing is driven");
}

} // namespace

int RunEnumerate(const Options* options)
{
    static constexpr Entry DETECTION{kxENUM, kxENUMW};
    const bool isSeen = options->windows != "none"; // else the lines on standard error say it
    SetHostHandlers({.sessionEvent = HandleDetectedSession,
        .portReturned = HandleDetectedReturn,
        .workerRefused = EndWithoutWorker,
        .detectionDone = HandleDetectionDone,
        .statusDetail = isSeen ? DescribeDriven : nullptr});
    StartControl("enum");
    platform::ThisMachine()->onExit = [](int exitCode) {
        EndControl();
        return EntryExitCode(exitCode);
    };
    const int exitCode = RunEntry(options, &DETECTION);
    EndControl(); // it has not come as far as onExit
    return exitCode;
}

} // namespace korvex::command
