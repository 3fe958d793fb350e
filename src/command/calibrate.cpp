#include <cstdio>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "calibration/calibration.h"
#include "calibration/settings_file.h"
#include "command/calibration_output.h"
#include "command/remote_panels.h"
#include "command/subcommands.h"
#include "console/calibration_window.h"
#include "console/own_panels.h"
#include "console/page_texts.h"
#include "control/control_client.h"
#include "host/host.h"
#include "input/pointer_injection.h"
#include "machine/keyboard.h"
#include "machine/machine_setup.h"
#include "machine/port_failure.h"
#include "machine/port_names.h"
#include "machine/port_state.h"
#include "platform/linux/core/text.h"
#include "platform/linux/machine.h"
#include "platform/linux/serial/serial_port.h"
#include "process/end_request.h"
#include "process/exit_codes.h"
#include "process/message.h"
#include "runtime/calibration_history.h"
#include "runtime/opened_controller.h"
#include "runtime/settings_state.h"
#include "support/bounded_text.h"

namespace korvex::command {

namespace {

int Calibrate(const Options* options, const PanelSource* source)
{
    const bool unseen = options->windows == "none";
    const CalibrationSetup setup{
        source, options->points, unseen, options->accept, HasKeyboard(), PrintCalibration};
    return CalibrationExitCode(RunCalibration(&setup));
}

void SetText(WCHAR* text, size_t capacity, const std::string& value)
{
    CopyBounded(text, capacity, platform::FromUtf8(value).c_str());
}

std::string PortOf(const TouchController* controller)
{
    return platform::OpenedPathOf(controller->link.handle);
}

// The panel and its port; with its controller, whose words are its reader's, only by the model.
void DescribeOwn(uint32_t panel, WCHAR* text, size_t capacity)
{
    const TouchController* controller = OwnPanel(panel);
    const std::string title = controller == nullptr
        ? ""
        : PanelTitle(PortOf(controller)) + ", controller " + ModelText(controller->model);
    SetText(text, capacity, title);
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
    SetText(text, capacity, refusedPort.reason);
}

void DescribeOwnFile(uint32_t panel, PanelFile* file)
{
    OwnPanels()->describeFile(panel, file);
    const CalibrationHistory history = ReadCalibrationHistory();
    const TouchController* controller = OwnPanel(panel);
    if (controller != nullptr && !history.port.empty() && history.port != PortOf(controller))
        SetText(file->other.data(), file->other.size(), PanelNameOf(history.port));
    if (!history.previous.empty())
        SetText(file->previous.data(), file->previous.size(), TextIn(history.previous[0], "until"));
}

// What held before the first attempt, by panel; on the window's thread.
std::map<uint32_t, CalibrationData> replacedByAttempts;

void AttemptOwn(uint32_t panel, const CalibrationData* points)
{
    if (TouchController* controller = OwnPanel(panel); controller != nullptr)
        replacedByAttempts.try_emplace(panel, CopyCalibration(controller));
    OwnPanels()->attempt(panel, points);
}

bool StoreOwn(uint32_t panel, const CalibrationData* points, WCHAR* reason, size_t capacity)
{
    const bool stored = OwnPanels()->store(panel, points, reason, capacity);
    if (const std::string fault = stored ? "" : SavingFault(); !fault.empty())
        SetText(reason, capacity, fault);
    TouchController* controller = OwnPanel(panel);
    const auto replaced = replacedByAttempts.find(panel);
    if (!stored || controller == nullptr || replaced == replacedByAttempts.end())
        return stored;
    const CalibrationData saved = CopyCalibration(controller);
    const std::string fault = KeepReplaced(PortOf(controller), &replaced->second, &saved,
        static_cast<uint32_t>(controller->resolutionBits));
    if (!fault.empty())
        fprintf(stderr, "korvex calibrate: the calibration before that is not kept: %s\n",
            fault.c_str());
    return true;
}

bool UndoOwn(uint32_t panel, WCHAR* reason, size_t capacity)
{
    TouchController* controller = OwnPanel(panel);
    if (controller == nullptr)
        return false;
    CalibrationData restored = CopyCalibration(controller);
    std::string until;
    const std::string fault = UndoSave(&restored, &until);
    SetText(reason, capacity, fault);
    if (!fault.empty())
        return false;
    const CalibrationData merged = MergeCalibration(controller, &restored);
    InstallCalibration(controller, &merged);
    return true;
}

// The panels of this process.
const PanelSource* OwnSource(const PanelSource* sessions)
{
    static PanelSource source;
    source = *sessions;
    source.describe = DescribeOwn;
    source.describeFile = DescribeOwnFile;
    source.attempt = AttemptOwn;
    source.store = StoreOwn;
    source.undo = UndoOwn;
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

void PrintUndone(const Options* options, const std::string& until, const std::string& file)
{
    fprintf(stderr, "%s: the calibration that was used until %s is back in '%s'\n",
        options->command.c_str(), until.c_str(), file.c_str());
}

// Undoes the last save through the runtime that drives the panel.
int UndoOf(const Options* options, std::vector<RemotePanel>* driven)
{
    if (driven->size() > 1) {
        fprintf(stderr, "%s: '--undo': more than one panel is driven; name the one that is meant\n",
            options->command.c_str());
        return EXIT_USAGE_ERROR;
    }
    RemotePanel* panel = driven->data();
    const std::optional<Json> answer
        = Ask(&panel->runtime, {{"do", "undo"}, {"panel", panel->state.value("path", "")}});
    Disconnect(&panel->runtime);
    if (answer && answer->value("undone", false)) {
        PrintUndone(options, TextIn(*answer, "until"), TextIn(*answer, "file"));
        return EXIT_DONE;
    }
    fprintf(stderr, "%s: nothing was changed: %s\n", options->command.c_str(),
        answer ? TextIn(*answer, "error").c_str() : "the runtime does not answer");
    return EXIT_FAULT;
}

// Undoes the last save in the current folder's file.
int UndoHere(const Options* options)
{
    CalibrationData restored{};
    std::string until;
    ReadCalibrationFile(&restored);
    const std::string fault = UndoSave(&restored, &until);
    if (fault.empty())
        PrintUndone(options, until, SettingsFilePath());
    else
        fprintf(stderr, "%s: nothing was changed: %s\n", options->command.c_str(), fault.c_str());
    return fault.empty() ? EXIT_DONE : EXIT_FAULT;
}

void EndWithoutWorker()
{
    fputs("korvex calibrate: the system refuses a thread for the detection\n", stderr);
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
        fprintf(stderr, "korvex calibrate: %s\n", reason.c_str());
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
    StartCalibrationOutput(options);
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
    if (options->undo)
        return driven.empty() ? UndoHere(options) : UndoOf(options, &driven);
    if (driven.size() == 1 && !CanSave(options, SavingFaultOf(driven.data())))
        return EXIT_FAULT;
    if (!driven.empty())
        return Calibrate(options, UseRemotePanels(std::move(driven)));
    WatchOwnPanels(EndWithoutWorker);
    if (const std::string fault = SavingFault(); !CanSave(options, fault)) {
        if (!unasked.empty()) // it may be driven, and need no file here
            fprintf(stderr, "%s: %s\n", options->command.c_str(), unasked.c_str());
        return EXIT_FAULT;
    }
    return port.empty() ? CalibrateAny(options) : CalibratePort(options, port, unasked);
}

} // namespace korvex::command
