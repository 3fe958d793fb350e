#include <cmath>
#include <cstdio>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "command/check/check_settings.h"
#include "command/remote_panels.h"
#include "command/subcommands.h"
#include "console/calibration_window.h"
#include "console/own_panels.h"
#include "console/page_texts.h"
#include "control/control_client.h"
#include "control/json_line.h"
#include "host/host.h"
#include "machine/machine_setup.h"
#include "machine/port_failure.h"
#include "machine/port_names.h"
#include "machine/port_state.h"
#include "platform/linux/core/text.h"
#include "platform/linux/machine.h"
#include "platform/linux/serial/serial_port.h"
#include "platform/linux/windows/messages.h"
#include "platform/win32.h"
#include "process/end_request.h"
#include "process/exit_codes.h"
#include "process/message.h"
#include "process/output.h"
#include "runtime/opened_controller.h"
#include "runtime/settings_state.h"
#include "support/bounded_text.h"

namespace korvex::command {

namespace {

// What was said last, so that each state is said once.
struct Progress {
    std::string command;
    bool json;
    bool words; // each state on standard error: nobody sees a window
    std::string state;
    uint32_t target;
    bool nobody;     // there was no panel
    bool notSaved;   // a store has failed, and what came after has not changed that
    bool outputLost; // standard output takes no more
};

Progress progress;

void PrintJson(const Json& line)
{
    progress.outputLost = !WriteOutput(LineOf(line)) || progress.outputLost;
}

void Print(const CalibrationCourse* course, const std::string& state, const std::string& reason)
{
    const uint32_t target = course->guide.target;
    if (state == progress.state && target == progress.target)
        return;
    progress.state = state;
    progress.target = target;
    const Point place = GuideTargetPlace(&course->guide, target);
    const POINT pixel = PixelOf(course->screen, {place.x, place.y});
    if (progress.json) {
        Json line{{"target", target + 1}, {"of", course->guide.calib.pointCount}, {"x", pixel.x},
            {"y", pixel.y}, {"width", course->screen.x}, {"height", course->screen.y},
            {"state", state}};
        if (!reason.empty())
            line["reason"] = reason;
        PrintJson(line);
    }
    if (progress.words)
        fprintf(stderr, "target %u of %u at %d, %d: %s%s%s\n", target + 1,
            course->guide.calib.pointCount, pixel.x, pixel.y, state.c_str(),
            reason.empty() ? "" : ": ", reason.c_str());
}

void PrintTarget(const CalibrationCourse* course)
{
    const CalibrationGuide* guide = &course->guide;
    const std::string reason = platform::ToUtf8(ReasonText(guide->reason));
    switch (guide->step) {
    case GuideStep::SAMPLING:
        return Print(course, "sampling", "");
    case GuideStep::TAKEN:
        return Print(course, "taken", "");
    case GuideStep::LIFTING:
        return Print(course, "again", reason);
    default:
        if (guide->reason != GuideReason::NONE && progress.state != "again"
            && progress.state != "touch")
            Print(course, "again", reason);
        return Print(course, "touch", "");
    }
}

std::vector<double> Residuals(const CalibrationCourse* course)
{
    std::vector<double> residuals;
    for (uint32_t target = 0; target < course->guide.calib.pointCount; ++target)
        residuals.push_back(std::round(ResidualPixels(course, target) * 100) / 100);
    return residuals;
}

// There is a result, which a person may try now.
void PrintTrying(const CalibrationCourse* course)
{
    if (progress.json && progress.state != "try")
        PrintJson({{"state", "try"}, {"residuals", Residuals(course)}});
    progress.state = "try";
}

// What came of the result instead.
void PrintFault(const std::string& state, const WCHAR* reason)
{
    if (progress.json && progress.state != state)
        PrintJson({{"state", state}, {"reason", platform::ToUtf8(reason)}});
    progress.state = state;
}

// The result, once there is one.
void PrintEnd(const CalibrationCourse* course, const PageWords* words)
{
    const bool saved = course->step == CourseStep::SAVED;
    const bool judged
        = course->guide.step == GuideStep::REVIEW || course->guide.step == GuideStep::MISFIT;
    const std::string file = platform::ToUtf8(words->file.data());
    std::string reason = platform::ToUtf8(words->reason.data());
    if (progress.nobody)
        reason = "no controller was found on any port that was asked";
    else if (course->guide.step == GuideStep::MISFIT)
        reason = platform::ToUtf8(FaultText(course->guide.judgement.fault));
    if (progress.json) {
        Json line{{"saved", saved}, {"file", file}};
        if (judged)
            line["residuals"] = Residuals(course);
        if (!saved && !reason.empty())
            line["reason"] = reason;
        PrintJson(line);
    }
    if (saved)
        fprintf(stderr, "%s: saved in '%s'\n", progress.command.c_str(), file.c_str());
    else
        fprintf(stderr, "%s: %s%s%s\n", progress.command.c_str(),
            progress.notSaved ? "not saved" : "nothing was changed", reason.empty() ? "" : ": ",
            reason.c_str());
}

void Observe(const CalibrationCourse* course, const PageWords* words)
{
    progress.nobody = progress.nobody || course->step == CourseStep::NOBODY;
    const bool isOver = course->step == CourseStep::SAVED || course->step == CourseStep::LEFT
        || (course->step == CourseStep::NOBODY && course->savesUnasked);
    if (IsPanelGone(course) && !isOver)
        Print(course, "gone", "");
    else if (course->step == CourseStep::GUIDING)
        PrintTarget(course);
    else if (course->step == CourseStep::TRYING && !course->savesUnasked)
        PrintTrying(course);
    else if (course->step == CourseStep::MISFIT && !course->savesUnasked)
        PrintFault("misfit", FaultText(course->guide.judgement.fault));
    else if (course->step == CourseStep::NOT_SAVED && !course->savesUnasked)
        PrintFault("notSaved", words->reason.data());
    progress.notSaved = words->reason[0] != 0 && course->step != CourseStep::SAVED;
    if (course->step == CourseStep::SAVED)
        SetOverdueExitCode(EXIT_DONE);
    if (isOver && progress.state != "end")
        PrintEnd(course, words);
    if (isOver)
        progress.state = "end";
}

int ExitCodeOf(bool saved)
{
    if (platform::IsDisplayLost() && !saved) {
        if (progress.json)
            PrintJson({{"saved", false}, {"reason", "the display is lost"}});
        fprintf(stderr, "%s: the display is lost; nothing was changed\n", progress.command.c_str());
        return EXIT_FAULT;
    }
    if (progress.outputLost && !IsEndRequested()) {
        fprintf(stderr, "%s: cannot write to standard output\n", progress.command.c_str());
        return EXIT_FAULT;
    }
    if (saved)
        return EXIT_DONE;
    if (progress.notSaved)
        return EXIT_FAULT;
    return progress.nobody ? EXIT_NO_CONTROLLER : EXIT_LEFT;
}

int Calibrate(const Options* options, const PanelSource* source)
{
    const bool unseen = options->windows == "none";
    const CalibrationSetup setup{source, options->points, unseen, Observe};
    return ExitCodeOf(RunCalibration(&setup));
}

// The panel and its port; with its controller, whose words are its reader's, only by the model.
void DescribeOwn(uint32_t panel, WCHAR* text, size_t capacity)
{
    const TouchController* controller = OwnPanel(panel);
    const std::string title = controller == nullptr
        ? ""
        : PanelTitle(platform::OpenedPathOf(controller->link.handle)) + ", controller "
            + ModelText(controller->model);
    CopyBounded(text, capacity, platform::FromUtf8(title).c_str());
}

// Why ports were left out: the last reason, for who sees no standard error.
struct RefusedPort {
    std::mutex mutex;
    std::string reason;
};

RefusedPort refusedPort;

void ExplainNobody(WCHAR* text, size_t capacity)
{
    const std::lock_guard guard(refusedPort.mutex);
    CopyBounded(text, capacity, platform::FromUtf8(refusedPort.reason).c_str());
}

bool StoreOwn(uint32_t panel, const CalibrationData* points, WCHAR* reason, size_t capacity)
{
    const bool stored = OwnPanels()->store(panel, points, reason, capacity);
    if (const std::string fault = stored ? "" : SavingFault(); !fault.empty())
        CopyBounded(reason, capacity, platform::FromUtf8(fault).c_str());
    return stored;
}

// The panels of this process.
const PanelSource* OwnSource(const PanelSource* sessions)
{
    static PanelSource source;
    source = *sessions;
    source.describe = DescribeOwn;
    source.store = StoreOwn;
    source.explainNobody = ExplainNobody;
    return &source;
}

// Nobody is to touch nine targets for nothing.
bool CanSave(const Options* options, const std::string& fault)
{
    if (!fault.empty())
        TellInBox(options, "The calibration could not be saved: " + fault, TEXT_TITLE);
    return fault.empty();
}

// Why a runtime could not store a calibration; empty where it can, or does not say.
std::string SavingFaultOf(RemotePanel* panel)
{
    const std::optional<Json> answer
        = Ask(&panel->runtime, {{"do", "calibration"}, {"panel", panel->state.value("path", "")}});
    return answer ? TextIn(*answer, "savingFault") : "";
}

// `unasked`: the runtimes that could not be asked whether they drive it.
int CalibratePort(const Options* options, const std::string& port, const std::string& unasked)
{
    TouchController* controller = nullptr;
    int exitCode = OpenController(options, port, &controller);
    if (exitCode == EXIT_NO_PORT && !unasked.empty())
        fprintf(stderr, "%s: %s\n", options->command.c_str(), unasked.c_str());
    if (controller == nullptr)
        return exitCode == EXIT_DONE ? EXIT_LEFT : exitCode; // the end was requested
    exitCode = StartDriving(options, port, controller);
    if (exitCode == EXIT_DONE)
        exitCode = Calibrate(options, OwnSource(OwnPanels()));
    const std::vector controllers{controller};
    return EndControllers(&controllers, exitCode);
}

void EndWithoutWorker()
{
    fprintf(
        stderr, "%s: the system refuses a thread for the detection\n", progress.command.c_str());
    DestroyHostContext();
    ExitProcess(EXIT_FAULT);
}

// Whichever panel is touched, of all ports that may be asked.
int CalibrateAny(const Options* options)
{
    if (const int exitCode = SetUpDevicesToAsk(options); exitCode != EXIT_DONE)
        return exitCode;
    platform::ThisMachine()->observers.portRefused = [](const std::string& path, DWORD error) {
        const std::string reason
            = "'" + ShownPath(path) + "' is left out: " + PortFailureText(path, error);
        fprintf(stderr, "%s: %s\n", progress.command.c_str(), reason.c_str());
        const std::lock_guard guard(refusedPort.mutex);
        refusedPort.reason = reason;
    };
    AskKnownControllers();
    if (IsEndRequested())
        return EXIT_LEFT;
    StartHost(HOST_DETECT | HOST_PANEL_TEST);
    const int exitCode = Calibrate(options, OwnSource(SearchedPanels()));
    DestroyHostContext();
    ExitProcess(static_cast<UINT>(exitCode)); // a thread that could not be ended may still run
}

} // namespace

int RunCalibrate(const Options* options)
{
    progress = {options->command, options->json, options->windows == "none" && !options->json, "",
        0, false, false, false};
    SetOverdueExitCode(EXIT_LEFT);
    const std::string port = options->arguments.empty() ? "" : options->arguments[0];
    std::vector<RemotePanel> driven;
    std::string unasked;
    if (port.empty() && options->ports.empty() && options->only.empty())
        driven = FindAllPanels();
    else if (std::optional<RemotePanel> found
        = port.empty() ? std::nullopt : FindRuntime(PathOfPort(options, port), port, &unasked);
        found)
        driven.push_back(*std::move(found));
    if (driven.size() == 1 && !CanSave(options, SavingFaultOf(driven.data())))
        return EXIT_FAULT;
    if (!driven.empty())
        return Calibrate(options, UseRemotePanels(std::move(driven)));
    WatchOwnPanels(EndWithoutWorker);
    if (!CanSave(options, SavingFault()))
        return EXIT_FAULT;
    return port.empty() ? CalibrateAny(options) : CalibratePort(options, port, unasked);
}

} // namespace korvex::command
