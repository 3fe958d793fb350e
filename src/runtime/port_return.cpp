#include "runtime/port_return.h"

#include "link/command_protocol.h"
#include "link/port_link.h"
#include "support/debug_trace.h"

namespace korvex::command {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds SILENCE{2}; // before the port is asked for the last time

PortReturn Compare(uint32_t before, uint32_t now)
{
    if (before == 0 || before == now)
        return PortReturn::SAME;
    return now == 0 ? PortReturn::UNKNOWN : PortReturn::REPLACED;
}

// Compares two controllers, of which `asked` has answered. Among reports answers can be lost: then
// it is UNKNOWN if one is missing.
PortReturn CompareControllers(
    const TouchController* asked, const TouchController* controller, bool amongReports)
{
    if (asked->reportLength != controller->reportLength
        || asked->link.baudRate != controller->link.baudRate)
        return PortReturn::REPLACED;
    const PortReturn model = Compare(controller->answers.modelNumber, asked->answers.modelNumber);
    const PortReturn resolution
        = Compare(controller->answers.resolutionBits, asked->answers.resolutionBits);
    if (model == PortReturn::REPLACED || resolution == PortReturn::REPLACED)
        return PortReturn::REPLACED;
    const bool complete = model == PortReturn::SAME && resolution == PortReturn::SAME;
    return complete || !amongReports ? PortReturn::SAME : PortReturn::UNKNOWN;
}

// Asks as the session's controller was asked when it was identified, and where that does not answer
// and `search` is set, for any controller at any rate. UNKNOWN if nothing answers.
PortReturn Ask(const TouchController* controller, bool amongReports, bool search)
{
    TouchController asked{}; // its lock is never used
    asked.link = controller->link;
    asked.stopEvent = controller->wakeEvent; // set when the session must end
    asked.model = CandidateOf(controller->model);
    asked.reportLength = controller->reportLength;
    bool answers = ProbeBaudAt(&asked, controller->link.baudRate);
    if (answers && asked.model == MODEL_5200) {
        QueryResolution(&asked);
        QueryModelNumber(&asked);
    } else if (!answers && search) {
        answers = IdentifyController(&asked);
        PortLink link = controller->link; // back at its rate
        SerialSetBaud(&link, link.baudRate);
    }
    const PortReturn answer
        = answers ? CompareControllers(&asked, controller, amongReports) : PortReturn::UNKNOWN;
    if (answer == PortReturn::REPLACED)
        DebugTrace(TEXT("Korvex %X answers in place of %X, Session ends\n"),
            asked.answers.modelNumber == MODEL_NUMBER_5460 ? MODEL_5460 : asked.model,
            controller->model);
    return answer;
}

} // namespace

PortReturn DecidePortReturn(
    ReturnedPort* port, TouchController* controller, ReadResult result, const Packet* report)
{
    const uint32_t failedWaits = controller->counters.failedWaits;
    if (port->failedWaits != failedWaits)
        *port = {ReturnedPort::State::NEW, false, failedWaits, {}};
    const bool isSilent = result == ReadResult::SILENT;
    const bool isReleased = result == ReadResult::REPORT
        && ClassifyStatus(controller, report->front()) == CONTACT_NONE;
    const bool amongReports = !isSilent && !isReleased;
    const steady_clock::time_point now = steady_clock::now();
    PortReturn answer = PortReturn::UNKNOWN;
    switch (port->state) {
    case ReturnedPort::State::NEW:
        answer = Ask(controller, amongReports, isSilent);
        port->searched = isSilent;
        port->state = ReturnedPort::State::HELD;
        return answer == PortReturn::UNKNOWN ? PortReturn::HELD : answer;
    case ReturnedPort::State::HELD:
        if (amongReports)
            return PortReturn::HELD;
        if (isReleased || !port->searched)
            answer = Ask(controller, false, isSilent);
        port->heard = now;
        port->state = ReturnedPort::State::WATCHED;
        return answer;
    case ReturnedPort::State::WATCHED:
        if (!isSilent)
            port->heard = now;
        if (now - port->heard < SILENCE)
            return PortReturn::UNKNOWN;
        answer = Ask(controller, false, true);
        return answer == PortReturn::UNKNOWN ? PortReturn::UNANSWERED : answer;
    }
    return answer;
}

} // namespace korvex::command
