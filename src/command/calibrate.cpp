#include <algorithm>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "calibration/calibration.h"
#include "calibration/settings_file.h"
#include "command/calibration_output.h"
#include "command/detection.h"
#include "command/page_words.h"
#include "command/remote_panels.h"
#include "command/subcommands.h"
#include "console/calibration_window.h"
#include "console/own_panels.h"
#include "console/page_texts.h"
#include "console/try_window.h"
#include "control/control_client.h"
#include "host/host.h"
#include "machine/keyboard.h"
#include "machine/machine_setup.h"
#include "machine/port_failure.h"
#include "machine/port_names.h"
#include "machine/port_state.h"
#include "platform/linux/core/text.h"
#include "platform/linux/machine.h"
#include "platform/linux/pointer/smoothing.h"
#include "platform/linux/serial/port_scan.h"
#include "platform/linux/serial/serial_port.h"
#include "process/exit_codes.h"
#include "process/message.h"
#include "process/shutdown.h"
#include "runtime/calibration_history.h"
#include "runtime/opened_controller.h"
#include "runtime/settings_state.h"

namespace korvex::command {

namespace {

bool tries; // the command is `try`: it begins with the other page

// The pages, each until the other is asked for.
int ShowPages(const Options* options, const PanelSource& source)
{
    const bool unseen = options->windows == "none";
    const CalibrationSetup setup{
        source, options->points, unseen, options->accept, HasKeyboard(), PrintCalibration};
    const TrySetup trySetup{source, platform::SmoothingFor};
    CalibrationEnd end = CalibrationEnd::TRY;
    if (!tries)
        end = RunCalibration(&setup);
    while (end == CalibrationEnd::TRY) {
        if (RunTry(&trySetup) == TryEnd::DONE) {
            if (platform::IsDisplayLost())
                Error("the display is lost");
            return platform::IsDisplayLost() ? EXIT_FAULT : EXIT_DONE;
        }
        end = RunCalibration(&setup);
    }
    return CalibrationExitCode(end == CalibrationEnd::SAVED);
}

std::string PortOf(const TouchController* controller)
{
    return platform::OpenedPathOf(controller->link.handle);
}

// The panel and its port; with its controller, whose words are its reader's, only by the model.
void DescribeOwn(uint32_t panel, SourceText* text)
{
    const TouchController* controller = OwnPanel(panel);
    const std::string title = controller == nullptr
        ? ""
        : PanelTitle(PortOf(controller)) + ", controller " + ModelText(controller->model);
    SetWords(text, title);
}

// Why ports could not be asked, by their paths, for the page, whose user may not see standard
// error.
struct RefusedPorts {
    std::mutex mutex;
    std::map<std::string, std::string> reasons; // of the last search
    std::set<std::string> told;                 // that standard error has
};

RefusedPorts refusedPorts;

// Why a port has no panel: in short, for a line of the page.
std::string ReasonOf(const PortState& port)
{
    const std::lock_guard guard(refusedPorts.mutex);
    const auto refused = refusedPorts.reasons.find(port.path);
    return refused != refusedPorts.reasons.end() ? refused->second : "no controller answers";
}

void ExplainNoneFound(SourceText* text)
{
    constexpr size_t SHOWN_PORTS = 6; // that have room on the page
    std::vector<std::string> lines;
    for (const PortState& port : AllPorts())
        lines.push_back(ShownPath(port.path) + ": " + ReasonOf(port));
    for (const platform::ScannedPort& port : platform::ScanSerialPorts()) {
        if (platform::IsPortIgnored(port.path))
            lines.push_back(ShownPath(port.path) + ": it is never asked (ID_KORVEX_IGNORE)");
    }
    if (lines.empty())
        lines.emplace_back("There is no serial port.");
    std::string all;
    for (size_t i = 0; i < std::min(lines.size(), SHOWN_PORTS); ++i)
        all += (i > 0 ? "\n" : "") + lines[i];
    SetWords(text, all);
}

// Panels that are searched for, with the ports that have come.
const Options* searchOptions;

PanelSource SearchedSource(const Options* options)
{
    searchOptions = options;
    PanelSource source = SearchedPanels();
    source.search = [](HWND window) {
        AddNewDevicesToAsk(searchOptions);
        {
            const std::lock_guard guard(refusedPorts.mutex);
            refusedPorts.reasons.clear();
        }
        SearchedPanels().search(window);
    };
    return source;
}

void DescribeOwnFile(uint32_t panel, PanelFile* file)
{
    OwnPanels().describeFile(panel, file);
    const CalibrationHistory history = ReadCalibrationHistory();
    const TouchController* controller = OwnPanel(panel);
    if (controller == nullptr)
        return;
    const std::string other = OtherPanelOf(&history, PortOf(controller));
    SetWords(&file->other, other);
    if (!history.previous.empty() && other.empty())
        SetWords(&file->previous, TextIn(history.previous[0], "until"));
}

bool SaveOwn(uint32_t panel, const CalibrationData* points, SourceText* reason)
{
    TouchController* controller = OwnPanel(panel);
    if (controller == nullptr)
        return false;
    const auto bits = static_cast<uint32_t>(controller->resolutionBits);
    const CalibrationData used = UsedCalibration(panel);
    const CalibrationData replaced = PreviousCalibration(&used, bits);
    if (!OwnPanels().save(panel, points, reason)) {
        if (const std::string fault = SettingsFault(); !fault.empty())
            SetWords(reason, fault);
        return false;
    }
    const CalibrationData saved = CopyCalibration(controller);
    const std::string fault = KeepPreviousCalibration(PortOf(controller), &replaced, &saved, bits);
    if (!fault.empty())
        Warning("the previous calibration is not kept: " + fault);
    return true;
}

bool UndoOwn(uint32_t panel, SourceText* reason)
{
    TouchController* controller = OwnPanel(panel);
    CalibrationData restored{};
    const std::string fault = controller == nullptr ? "The panel is not driven any more."
                                                    : UndoSave(PortOf(controller), "", &restored);
    SetWords(reason, fault);
    if (!fault.empty())
        return false;
    const CalibrationData merged = MergeCalibration(controller, &restored);
    InstallCalibration(controller, &merged);
    return true;
}

// The panel source for this process's own sessions: panels by their names, saves with history.
PanelSource OwnSource(PanelSource sessions)
{
    sessions.describe = DescribeOwn;
    sessions.describeFile = DescribeOwnFile;
    sessions.explainNoneFound = ExplainNoneFound;
    sessions.save = SaveOwn;
    sessions.undo = UndoOwn;
    return sessions;
}

// Nobody should touch nine targets for nothing.
bool CanSave(const Options* options, const std::string& fault)
{
    if (!fault.empty())
        ShowErrorBox(options, "The calibration could not be saved: " + fault, TEXT_TITLE);
    return fault.empty();
}

// Why a runtime could not store a calibration; empty if it can, or does not say.
std::string SavingFaultOf(RemotePanel* panel)
{
    const std::optional<Json> answer
        = Ask(&panel->runtime, {{"do", "calibration"}, {"panel", panel->state.path}});
    return answer ? TextIn(*answer, "savingFault") : "";
}

// `unasked`: the runtimes that could not be asked whether they drive it.
int CalibratePort(const Options* options, const std::string& port, const std::string& unasked)
{
    TouchController* controller = nullptr;
    int exitCode = OpenController(options, port, &controller);
    if (exitCode == EXIT_NO_PORT && !unasked.empty())
        Error(unasked);
    if (controller == nullptr)
        return exitCode == EXIT_DONE && !tries ? EXIT_NOT_SAVED : exitCode; // the end was requested
    exitCode = StartDriving(options, port, controller);
    if (exitCode == EXIT_DONE)
        exitCode = ShowPages(options, OwnSource(OwnPanels()));
    const std::vector controllers{controller};
    return EndControllers(&controllers, exitCode);
}

int PrintUndone(const std::string& file, const std::string& fault)
{
    if (fault.empty())
        Notice("the last save in '" + file + "' is undone");
    else
        Error("not undone: " + fault);
    return fault.empty() ? EXIT_DONE : EXIT_FAULT;
}

// Undoes the last save through the runtime that drives the panel.
int UndoDriven(std::vector<RemotePanel>&& driven)
{
    if (driven.size() > 1) {
        Error("'--undo': several panels are driven; name one of them");
        return EXIT_USAGE_ERROR;
    }
    const PanelSource source = UseRemotePanels(std::move(driven));
    PanelFile file{};
    SourceText reason{};
    source.describeFile(0, &file);
    const bool undone = source.undo(0, &reason);
    return PrintUndone(
        platform::ToUtf8(file.path.data()), undone ? "" : platform::ToUtf8(reason.data()));
}

// Undoes the last save in the current folder's file, of the panel on a port if one is named.
int UndoHere(const Options* options, const std::string& port, const std::string& unasked)
{
    if (!unasked.empty()) // one of these may drive the panel, and use another file
        return PrintUndone("", unasked);
    CalibrationData restored{};
    const std::string path = port.empty() ? "" : PathOfPort(options->givenPorts, port);
    return PrintUndone(SettingsFilePath(), UndoSave(path, "", &restored));
}

// Whichever panel is touched, of all ports that may be asked.
int CalibrateAny(const Options* options)
{
    if (const int exitCode = SetUpDevicesToAsk(options); exitCode != EXIT_DONE)
        return exitCode;
    platform::ThisMachine()->handlers.portRefused = [](const std::string& path, DWORD error) {
        const std::string reason = PortFailureText(path, error);
        const std::lock_guard guard(refusedPorts.mutex);
        refusedPorts.reasons[path] = reason;
        if (refusedPorts.told.insert(path).second)
            Warning("'" + ShownPath(path) + "' is skipped: " + reason);
    };
    AskKnownControllers();
    if (IsShutdownRequested())
        return tries ? EXIT_DONE : EXIT_NOT_SAVED;
    StartHost(HOST_DETECT | HOST_PANEL_TEST);
    const int exitCode = ShowPages(options, OwnSource(SearchedSource(options)));
    DestroyHostContext();
    ExitProcess(static_cast<UINT>(exitCode)); // a thread that could not be ended may still run
}

} // namespace

int RunCalibrate(const Options* options)
{
    StartCalibrationOutput(options);
    SetOverdueExitCode(tries ? EXIT_DONE : EXIT_NOT_SAVED);
    const std::string port = options->arguments.empty() ? "" : options->arguments[0];
    std::vector<RemotePanel> driven;
    std::string unasked;
    if (port.empty() && options->givenPorts.empty() && options->selectedPorts.empty())
        driven = FindAllPanels();
    else if (std::optional<RemotePanel> found = port.empty()
            ? std::nullopt
            : FindDrivenPanel(PathOfPort(options->givenPorts, port), port, &unasked);
        found)
        driven.push_back(*std::move(found));
    if (options->undo)
        return driven.empty() ? UndoHere(options, port, unasked) : UndoDriven(std::move(driven));
    if (driven.size() == 1 && !tries && !CanSave(options, SavingFaultOf(driven.data())))
        return EXIT_FAULT;
    if (!driven.empty())
        return ShowPages(options, UseRemotePanels(std::move(driven)));
    WatchOwnPanels(EndWithoutWorker);
    if (const std::string fault = SettingsFault(); !tries && !CanSave(options, fault)) {
        if (!unasked.empty()) // it may be driven, and need no file here
            Error(unasked);
        return EXIT_FAULT;
    }
    return port.empty() ? CalibrateAny(options) : CalibratePort(options, port, unasked);
}

int RunTryPage(const Options* options)
{
    if (options->windows == "none") {
        Error("it needs an X display, and none is named in DISPLAY");
        return EXIT_NO_DISPLAY;
    }
    tries = true;
    return RunCalibrate(options);
}

} // namespace korvex::command
