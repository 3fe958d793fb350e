#include "host/panel_test.h"

#include <cstdlib>
#include <new>

#include "calibration/calibration.h"
#include "calibration/defaults.h"
#include "calibration/wrapping.h"
#include "host/host.h"
#include "input/host_handlers.h"
#include "input/session.h"
#include "support/bounded_text.h"

namespace korvex {

namespace {

// Colours as 0x00BBGGRR.
constexpr COLORREF RED = 0x000000FF;
constexpr COLORREF ORANGE = 0x00004DEA;
constexpr COLORREF YELLOW = 0x0000FFFF;
constexpr COLORREF GREEN = 0x0000FF00;
constexpr COLORREF BLUE = 0x00FF0000;

constexpr int DOT_RADIUS = 3;
constexpr int MARKER_RIM_RADIUS = 12;
constexpr int MARKER_RING_RADIUS = 10;

constexpr int32_t RAW_RANGE_WITHOUT_CONTROLLER = 1024;

// The targets on each axis of the screen, and the part of it from the first to the last.
constexpr std::array TARGET_PERCENT{2, 50, 98};
constexpr double TARGET_EXTENT = 0.96;

ListLinks panelTestContexts = {&panelTestContexts, &panelTestContexts};

PanelTestContext* ProcessPanelTest()
{
    return FindPanelTestContext(GetModuleHandleW(nullptr));
}

POINT ScreenSize()
{
    return {GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)};
}

void NotifyHandler(const PanelTestContext* context)
{
    if (Handlers().panelTestState != nullptr)
        Handlers().panelTestState(context);
}

void RestartTimer(const PanelTestContext* context)
{
    SetTimer(context->window, 0, TARGET_TIME_MS, nullptr);
}

// Detection has found at least one controller.
void BeginTest(PanelTestContext* context)
{
    TouchController* controller = MostRecentController();
    const int32_t span = controller == nullptr
        ? RAW_RANGE_WITHOUT_CONTROLLER
        : static_cast<int32_t>(1U << controller->resolutionBits);
    const Point rawRange{span, span};
    const Point outRange{OUTPUT_RANGE, OUTPUT_RANGE};
    context->calib.mapMode = 1;
    context->calib.pointCount = TARGET_COUNT;
    SetCalibrationRanges(&context->calib, &rawRange, &outRange);
    context->targetIndex = 0;
    if (controller != nullptr)
        SetMapMode(controller, 0); // the samples are then raw positions on the output span
    ShowTarget(context);
    RestartTimer(context);
    NotifyHandler(context);
}

// A position on the output span, on a span of `range`.
int32_t OnSpan(int32_t range, int32_t position, int32_t outRange)
{
    return WrapDivide(WrapMultiply(range, position), outRange);
}

COLORREF QualityColor(uint32_t quality)
{
    if (quality < 70)
        return RED;
    if (quality < 80)
        return ORANGE;
    return quality < 90 ? YELLOW : GREEN;
}

void ShowResult(PanelTestContext* context)
{
    PointSpan(&context->calib);
    const uint32_t quality = PanelQuality(&context->calib);
    DeleteObject(context->backgroundBrush);
    context->backgroundBrush = CreateSolidBrush(QualityColor(quality));
    context->showResult = 1;
    InvalidateRect(context->window, nullptr, FALSE);
    std::array<WCHAR, 256> line{};
    FormatBounded(line.data(), line.size(), TEXT("Panel Quality : %d"), quality);
    OutputDebugStringW(line.data());
}

// A tick: takes the panel's report as the touch of the current target, or of the check after the
// last one.
void StoreSample(PanelTestContext* context, WPARAM timer)
{
    KillTimer(context->window, timer);
    TouchController* controller = MostRecentController();
    if (controller == nullptr)
        return; // detection has reported one, and none is removed before the end
    ReportSnapshot last{};
    TakeSnapshot(controller, &last);
    CalibrationData* calib = &context->calib;
    const bool isTarget = context->targetIndex < calib->pointCount;
    if (isTarget) {
        calib->advPoints[context->targetIndex]
            = {OnSpan(calib->rawRangeX, last.lastX, calib->outRangeX),
                OnSpan(calib->rawRangeY, last.lastY, calib->outRangeY)};
    } else {
        const POINT screen = ScreenSize();
        context->markerX = OnSpan(screen.x, last.lastX, calib->outRangeX);
        context->markerY = OnSpan(screen.y, last.lastY, calib->outRangeY);
    }
    GetCursorPos(&context->cursorPoints[context->targetIndex]);
    if (isTarget) {
        ++context->targetIndex;
        ShowTarget(context);
        if (context->targetIndex == calib->pointCount)
            ImportCalibration(controller, calib);
        RestartTimer(context);
    } else {
        ShowResult(context);
    }
    NotifyHandler(context);
}

void DrawDot(HDC device, int x, int y, int radius)
{
    Ellipse(device, x - radius, y - radius, x + radius, y + radius);
}

void DrawCheckMarker(const PanelTestContext* context, HDC device)
{
    SelectObject(device, GetStockObject(GRAY_BRUSH));
    DrawDot(device, context->markerX, context->markerY, MARKER_RIM_RADIUS);
    SelectObject(device, GetStockObject(WHITE_BRUSH));
    DrawDot(device, context->markerX, context->markerY, MARKER_RING_RADIUS);
    SetDCBrushColor(device, BLUE);
    SelectObject(device, GetStockObject(DC_BRUSH));
    DrawDot(device, context->markerX, context->markerY, DOT_RADIUS);
}

void Paint(const PanelTestContext* context)
{
    PAINTSTRUCT paint{};
    HDC device = BeginPaint(context->window, &paint);
    if (device == nullptr)
        return;
    const POINT screen = ScreenSize();
    HGDIOBJ brush = SelectObject(device, context->backgroundBrush);
    Rectangle(device, 0, 0, screen.x, screen.y);
    SetDCBrushColor(device, RED);
    SelectObject(device, GetStockObject(DC_BRUSH));
    for (uint32_t i = 0; i < context->targetIndex; ++i)
        DrawDot(device, context->cursorPoints[i].x, context->cursorPoints[i].y, DOT_RADIUS);
    if (context->showResult != 0)
        DrawCheckMarker(context, device);
    SelectObject(device, brush);
    EndPaint(context->window, &paint);
}

[[noreturn]] void EndTest()
{
    DestroyPanelTest();
    ExitProcess(0);
}

} // namespace

BOOL StartPanelTest()
{
    PanelTestContext* context = CreatePanelTestContext(GetModuleHandleW(nullptr));
    if (context == nullptr)
        return TRUE;
    const POINT screen = ScreenSize();
    context->window = CreateWindowExW(0, PANEL_TEST_CLASS, WINDOW_TITLE, WS_POPUP, 0, 0, screen.x,
        screen.y, nullptr, nullptr, context->moduleHandle, nullptr);
    ShowWindow(context->window, SW_SHOW);
    SetNotifyTarget(context->window, WM_DETECT_DONE);
    return TRUE;
}

PanelTestContext* FindPanelTestContext(HMODULE moduleHandle)
{
    return FindInList<PanelTestContext>(
        &panelTestContexts, [moduleHandle](const PanelTestContext* context) {
            return context->moduleHandle == moduleHandle;
        });
}

PanelTestContext* CreatePanelTestContext(HMODULE moduleHandle)
{
    void* memory = malloc(sizeof(PanelTestContext));
    if (memory == nullptr)
        return nullptr;
    auto* context = new (memory) PanelTestContext{};
    context->moduleHandle = moduleHandle;
    context->icon = LoadIconW(moduleHandle, nullptr);
    context->backgroundBrush = CreateSolidBrush(WINDOW_BACKGROUND);
    RegisterPanelTestClass(context);
    AppendToList(&panelTestContexts, &context->links);
    return context;
}

BOOL RegisterPanelTestClass(PanelTestContext* context)
{
    WNDCLASSW panelTestClass{};
    panelTestClass.style = CS_DBLCLKS;
    panelTestClass.lpfnWndProc = PanelTestWindowProc;
    panelTestClass.hInstance = context->moduleHandle;
    panelTestClass.hIcon = context->icon;
    panelTestClass.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    panelTestClass.hbrBackground = context->backgroundBrush;
    panelTestClass.lpszClassName = PANEL_TEST_CLASS;
    RegisterClassW(&panelTestClass);
    return TRUE;
}

LRESULT CALLBACK PanelTestWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    PanelTestContext* context = ProcessPanelTest();
    // A window that is being created has no state yet, one whose test is ending has none any more:
    // to close it again changes nothing.
    if (context == nullptr || context->window != window)
        return message == WM_CLOSE ? 0 : DefWindowProcW(window, message, wParam, lParam);
    switch (message) {
    case WM_DETECT_DONE:
        if (wParam == 0) {
            MessageBoxW(
                nullptr, TEXT("No Touch Screen Found !\n"), TEXT("Touch Panel Utility"), MB_OK);
            EndTest();
        }
        if (wParam == 1)
            BeginTest(context);
        return 0;
    case WM_TIMER:
        StoreSample(context, wParam);
        return 0;
    case WM_PAINT:
        Paint(context);
        return 0;
    case WM_KEYUP:
        if (wParam == VK_ESCAPE)
            EndTest();
        return 0;
    case WM_CLOSE:
        EndTest();
    default:
        return DefWindowProcW(window, message, wParam, lParam);
    }
}

BOOL ShowTarget(PanelTestContext* context)
{
    HDC device = GetDC(context->window);
    if (device == nullptr)
        return TRUE;
    RedrawWindow(context->window, nullptr, nullptr,
        RDW_INVALIDATE | RDW_INTERNALPAINT | RDW_ERASE | RDW_ALLCHILDREN | RDW_UPDATENOW);
    if (context->targetIndex < TARGET_COUNT) {
        const POINT target = TargetPosition(context->targetIndex);
        HGDIOBJ brush = SelectObject(device, GetStockObject(GRAY_BRUSH));
        DrawDot(device, target.x, target.y, DOT_RADIUS);
        SelectObject(device, brush);
    }
    ReleaseDC(context->window, device);
    return TRUE;
}

POINT TargetPosition(uint32_t index)
{
    const POINT screen = ScreenSize();
    return {screen.x * TARGET_PERCENT[index % 3] / 100, screen.y * TARGET_PERCENT[index / 3] / 100};
}

int PointSpan(CalibrationData* calib)
{
    Point minimum{OUTPUT_RANGE, OUTPUT_RANGE};
    Point maximum{0, 0};
    for (uint32_t i = 0; i < calib->pointCount; ++i) {
        const Point point = calib->advPoints[i];
        minimum = {
            point.x < minimum.x ? point.x : minimum.x, point.y < minimum.y ? point.y : minimum.y};
        maximum = {
            point.x > maximum.x ? point.x : maximum.x, point.y > maximum.y ? point.y : maximum.y};
    }
    calib->stdMinX = minimum.x;
    calib->stdMinY = minimum.y;
    calib->stdMaxX = maximum.x;
    calib->stdMaxY = maximum.y;
    return 0;
}

uint32_t PanelQuality(const CalibrationData* calib)
{
    const auto axis = [](int32_t minimum, int32_t maximum, int32_t range) {
        const int32_t extent = WrapMultiply(100, WrapSubtract(maximum, minimum));
        return range == 0
            ? 0U
            : static_cast<uint32_t>(static_cast<int32_t>(extent / (range * TARGET_EXTENT)));
    };
    return (axis(calib->stdMinX, calib->stdMaxX, calib->rawRangeX)
               + axis(calib->stdMinY, calib->stdMaxY, calib->rawRangeY))
        >> 1;
}

BOOL DestroyPanelTest()
{
    PanelTestContext* context = ProcessPanelTest();
    if (context == nullptr)
        return TRUE;
    RemoveFromList(&context->links);
    DestroyHostContext();
    DestroyWindow(context->window);
    if (context->icon != nullptr)
        DestroyIcon(context->icon);
    DeleteObject(context->backgroundBrush);
    free(context);
    return TRUE;
}

} // namespace korvex
