#include "console/own_panels.h"

#include <array>
#include <optional>

#include "calibration/calibration.h"
#include "calibration/settings_file.h"
#include "host/host.h"
#include "input/host_handlers.h"
#include "input/session.h"
#include "support/bounded_text.h"
#include "support/lock_guard.h"

namespace korvex {

namespace {

struct Panel {
    TouchController* controller; // null: its session is ending
    CalibrationData before;      // before a try
    bool isTried;
};

// The sessions in the order in which they were started.
struct Panels {
    CRITICAL_SECTION lock; // guards the rest
    HWND window;
    uint32_t count;
    std::array<Panel, MAX_PANELS> all;
};

Panels panels{};

// With the lock held.
void Post(UINT message, WPARAM panelOrPlace, LPARAM value)
{
    if (panels.window != nullptr)
        PostMessageW(panels.window, message, panelOrPlace, value);
}

std::optional<uint32_t> NumberOf(const TouchController* controller)
{
    for (uint32_t panel = 0; panel < panels.count; ++panel) {
        if (panels.all[panel].controller == controller)
            return panel;
    }
    return std::nullopt;
}

void Add(TouchController* controller)
{
    if (panels.count == MAX_PANELS)
        return;
    panels.all[panels.count] = {controller, {}, false};
    Post(WM_PANEL_CAME, panels.count++, static_cast<LPARAM>(controller->resolutionBits));
}

void HandleSessionEvent(TouchController* controller, SessionEvent event)
{
    const LockGuard guard(&panels.lock);
    if (event == SessionEvent::STARTED)
        Add(controller);
    const std::optional<uint32_t> panel = NumberOf(controller);
    if (!panel)
        return;
    switch (event) {
    case SessionEvent::TOUCHED: {
        ReportSnapshot report{};
        LiveTouch touch{};
        TakeLiveSnapshot(controller, &report, &touch);
        Post(WM_PANEL_TOUCH, PackPlace(*panel, {report.lastX, report.lastY}),
            PackTouch(touch.raw, touch.touching));
        break;
    }
    case SessionEvent::PORT_LOST:
    case SessionEvent::ENDED:
        Post(WM_PANEL_LOST, *panel, static_cast<LPARAM>(PanelLoss::PORT));
        break;
    case SessionEvent::PORT_RETURNED:
        Post(WM_PANEL_RETURNED, *panel, 0);
        break;
    case SessionEvent::STOPPING:
        panels.all[*panel].controller = nullptr;
        break;
    default:
        break;
    }
}

// The panel's calibration with these points; its standard box stays.
CalibrationData WithPoints(TouchController* controller, const CalibrationData* points)
{
    CalibrationData wanted = CopyCalibration(controller);
    wanted.pointCount = points->pointCount;
    wanted.advPoints = points->advPoints;
    return MergeCalibration(controller, &wanted);
}

void Begin(HWND window)
{
    const LockGuard guard(&panels.lock);
    panels.window = window;
    for (uint32_t panel = 0; panel < panels.count; ++panel) {
        const TouchController* controller = panels.all[panel].controller;
        if (controller != nullptr)
            Post(WM_PANEL_CAME, panel, static_cast<LPARAM>(controller->resolutionBits));
        if (controller != nullptr && controller->portGone == 1)
            Post(WM_PANEL_LOST, panel, static_cast<LPARAM>(PanelLoss::PORT));
    }
}

void BeginSearched(HWND window)
{
    Begin(window);
    SetNotifyTarget(window, WM_SEARCH_DONE);
}

void End()
{
    const LockGuard guard(&panels.lock);
    panels.window = nullptr;
}

void Describe(uint32_t panel, SourceText* text)
{
    const TouchController* controller = OwnPanel(panel);
    CopyBounded(text->data(), text->size(), TEXT(""));
    if (controller != nullptr)
        FormatBounded(text->data(), text->size(), TEXT("Korvex %X, COM%u"), controller->model,
            controller->link.portNumber);
}

void DescribeFile(uint32_t /*panel*/, PanelFile* file)
{
    SettingsPath located{};
    LocateCalibrationFile(&located);
    CopyBounded(file->path.data(), file->path.size(), located.data());
}

void ExplainNoneFound(SourceText* text)
{
    CopyBounded(text->data(), text->size(), TEXT(""));
}

void TryPoints(uint32_t panel, const CalibrationData* points)
{
    TouchController* controller = OwnPanel(panel);
    if (controller == nullptr)
        return;
    if (!panels.all[panel].isTried)
        panels.all[panel].before = CopyCalibration(controller);
    panels.all[panel].isTried = true;
    const CalibrationData merged = WithPoints(controller, points);
    InstallCalibration(controller, &merged);
}

void Revert(uint32_t panel)
{
    TouchController* controller = OwnPanel(panel);
    if (controller != nullptr && panels.all[panel].isTried)
        InstallCalibration(controller, &panels.all[panel].before);
    panels.all[panel].isTried = false;
}

bool Save(uint32_t panel, const CalibrationData* points, SourceText* reason)
{
    TouchController* controller = OwnPanel(panel);
    CopyBounded(reason->data(), reason->size(), TEXT("The file cannot be written."));
    if (controller == nullptr)
        return false;
    const CalibrationData merged = WithPoints(controller, points);
    if (!WriteCalibrationFile(&merged))
        return false;
    InstallCalibration(controller, &merged);
    return true;
}

bool Undo(uint32_t /*panel*/, SourceText* reason)
{
    CopyBounded(reason->data(), reason->size(), TEXT("No earlier calibration is kept."));
    return false;
}

} // namespace

void WatchOwnPanels(void (*workerRefused)())
{
    InitializeCriticalSection(&panels.lock);
    SetHostHandlers({.sessionEvent = HandleSessionEvent,
        .input = [](const INPUT* /*input*/) { return true; },
        .workerRefused = workerRefused});
}

PanelSource OwnPanels()
{
    return {Begin, nullptr, End, Describe, DescribeFile, ExplainNoneFound, TryPoints, Revert, Save,
        Undo};
}

PanelSource SearchedPanels()
{
    PanelSource source = OwnPanels();
    source.begin = BeginSearched;
    source.search = [](HWND window) {
        DestroyHostContext();
        StartHost(HOST_DETECT | HOST_PANEL_TEST);
        SetNotifyTarget(window, WM_SEARCH_DONE);
    };
    return source;
}

CalibrationData UsedCalibration(uint32_t panel)
{
    TouchController* controller = OwnPanel(panel);
    const bool isCopied = panel < MAX_PANELS && panels.all[panel].isTried;
    return isCopied             ? panels.all[panel].before
        : controller == nullptr ? CalibrationData{}
                                : CopyCalibration(controller);
}

TouchController* OwnPanel(uint32_t panel)
{
    const LockGuard guard(&panels.lock);
    return panel < panels.count ? panels.all[panel].controller : nullptr;
}

} // namespace korvex
