#include "console/calibration_window.h"

#include <array>
#include <utility>

#include "console/page_texts.h"
#include "console/page_window.h"

namespace korvex {

namespace {

constexpr UINT TIME_INTERVAL_MS = 250;
constexpr DWORD POINTER_GRACE_MS = 500;

// The one calibration of this process.
struct Program {
    const CalibrationSetup* setup;
    HWND window;
    CalibrationFlow flow;
    PageWords words;
    uint32_t describedPanel; // by `words`
    DWORD touchedMs;         // when a panel reported last; meaningless before that
    bool touched;
    PageButton mousePressed;
    bool ended;
};

Program program{};

POINT ScreenSize()
{
    return {GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)};
}

// A panel's touches may come a second time, as the pointer's, mapped by whatever holds now: they
// must press no button.
bool IsPointerOfPanel()
{
    return program.touched && GetTickCount() - program.touchedMs < POINTER_GRACE_MS;
}

void DescribePanel()
{
    const uint32_t panel = program.flow.panel;
    if (panel == program.describedPanel || panel == NO_PANEL)
        return;
    program.describedPanel = panel;
    const PanelSource* source = &program.setup->source;
    source->describe(panel, &program.words.panel);
    program.words.file = {};
    source->describeFile(panel, &program.words.file);
    program.flow.overwritesOtherPanel = program.words.file.other[0] != 0;
    program.flow.canUndo = program.words.file.previous[0] != 0;
}

template <typename Paint>
void PaintNow(Paint paint)
{
    HDC device = GetDC(program.window);
    if (device == nullptr)
        return;
    paint(&program.flow, device);
    ReleaseDC(program.window, device);
}

void Show(FlowTasks tasks)
{
    if ((tasks & TASK_SHOW) != 0)
        InvalidateRect(program.window, nullptr, TRUE);
    else if ((tasks & TASK_SHOW_RING) != 0)
        PaintNow(PaintRing);
    else if ((tasks & TASK_SHOW_TOUCH) != 0)
        PaintNow(PaintTouch);
}

void CarryOut(FlowTasks tasks)
{
    const PanelSource* source = &program.setup->source;
    CalibrationFlow* flow = &program.flow;
    if ((tasks & TASK_TRY) != 0) {
        if (flow->step == FlowStep::TRYING)
            program.words.reason[0] = 0; // of an earlier result
        source->tryPoints(flow->tried, &flow->targets.calib);
    }
    if ((tasks & TASK_REVERT) != 0)
        source->revert(flow->tried);
    DescribePanel();
    if (tasks != 0 && program.setup->changed != nullptr)
        program.setup->changed(flow, &program.words);
    if ((tasks & TASK_SAVE) != 0) {
        const bool saved = source->save(flow->tried, &flow->targets.calib, &program.words.reason);
        CarryOut(FinishSave(flow, saved, GetTickCount()));
    }
    if ((tasks & TASK_UNDO) != 0) {
        const bool undone = source->undo(flow->tried, &program.words.reason);
        CarryOut(FinishUndo(flow, undone, GetTickCount()));
    }
    if ((tasks & TASK_SEARCH) != 0 && source->search != nullptr)
        source->search(program.window);
    if ((tasks & TASK_BELL) != 0)
        MessageBeep(MB_OK);
    Show(tasks);
    program.ended = program.ended || (tasks & TASK_END) != 0;
}

FlowTasks HandleTouch(WPARAM place, LPARAM touch)
{
    program.touched = true;
    program.touchedMs = GetTickCount();
    // The time of its arrival, not of its handling here.
    return HandleReport(&program.flow, PanelOfPlace(place), RawOfTouch(touch), MappedOfPlace(place),
        IsTouching(touch), static_cast<uint32_t>(GetMessageTime()));
}

FlowTasks HandleKey(WPARAM key)
{
    const bool canSave = HasButton(&program.flow, PageButton::SAVE);
    const std::array<std::pair<WPARAM, PageButton>, 6> keys{{{VK_ESCAPE, PageButton::CANCEL},
        {VK_RETURN, canSave ? PageButton::SAVE : PageButton::AGAIN}, {'A', PageButton::AGAIN},
        {'W', PageButton::RETAKE}, {'U', PageButton::UNDO}, {'T', PageButton::TRY}}};
    for (const auto& [one, button] : keys) {
        if (key == one)
            return PressButton(&program.flow, button, GetTickCount());
    }
    return 0;
}

FlowTasks HandleMouse(bool pressed, LPARAM position)
{
    const POINT place{
        static_cast<int16_t>(position & 0xFFFF), static_cast<int16_t>(position >> 16 & 0xFFFF)};
    const PageButton button
        = IsPointerOfPanel() ? PageButton::NONE : ShownButtonAt(&program.flow, place);
    const bool clicked = !pressed && button != PageButton::NONE && button == program.mousePressed;
    program.mousePressed = pressed ? button : PageButton::NONE;
    return clicked ? PressButton(&program.flow, button, GetTickCount()) : 0;
}

void Paint()
{
    PAINTSTRUCT paint{};
    HDC device = BeginPaint(program.window, &paint);
    if (device == nullptr)
        return;
    program.flow.screen = ScreenSize();
    PaintPage(&program.flow, &program.words, device);
    EndPaint(program.window, &paint);
}

LRESULT CALLBACK CalibrationWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (window != program.window)
        return DefWindowProcW(window, message, wParam, lParam);
    CalibrationFlow* flow = &program.flow;
    const auto panel = static_cast<uint32_t>(wParam);
    switch (message) {
    case WM_PANEL_CAME:
        program.describedPanel = NO_PANEL; // it may be a different one now
        CarryOut(AddPanel(flow, panel, static_cast<uint32_t>(lParam), GetTickCount()));
        return 0;
    case WM_PANEL_LOST:
        CarryOut(LosePanel(flow, panel, static_cast<PanelLoss>(lParam)));
        return 0;
    case WM_PANEL_RETURNED:
        CarryOut(ReturnPanel(flow, panel, GetTickCount()));
        return 0;
    case WM_PANEL_TOUCH:
        CarryOut(HandleTouch(wParam, lParam));
        return 0;
    case WM_SEARCH_DONE:
        program.setup->source.explainNoneFound(&program.words.noneFound);
        CarryOut(FinishSearch(flow, GetTickCount()));
        return 0;
    case WM_TIMER:
        CarryOut(HandleTime(flow, GetTickCount()));
        return 0;
    case WM_KEYDOWN:
        CarryOut(HandleKey(wParam));
        return 0;
    case WM_LBUTTONDOWN:
    case WM_LBUTTONUP:
        CarryOut(HandleMouse(message == WM_LBUTTONDOWN, lParam));
        return 0;
    case WM_PAINT:
        Paint();
        return 0;
    case WM_CLOSE:
        CarryOut(PressButton(flow, PageButton::CANCEL, GetTickCount()));
        program.ended = true;
        return 0;
    default:
        return DefWindowProcW(window, message, wParam, lParam);
    }
}

} // namespace

CalibrationEnd RunCalibration(const CalibrationSetup* setup)
{
    program = {};
    program.setup = setup;
    program.describedPanel = NO_PANEL;
    StartFlow(&program.flow, setup->targetCount, ScreenSize(), GetTickCount());
    program.flow.savesUnasked = setup->savesUnasked;
    program.flow.accepts = setup->accepts;
    program.flow.hasKeyboard = setup->hasKeyboard;
    RunPage({CALIBRATION_CLASS, TEXT_TITLE, CalibrationWindowProc, TIME_INTERVAL_MS}, setup->source,
        &program.window, &program.ended);
    if (program.flow.isTryWanted)
        return CalibrationEnd::TRY;
    return program.flow.step == FlowStep::SAVED || program.flow.step == FlowStep::UNDONE
        ? CalibrationEnd::SAVED
        : CalibrationEnd::UNCHANGED;
}

} // namespace korvex
