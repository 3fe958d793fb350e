#include "console/try_window.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "console/calibration_flow.h"
#include "console/page_drawing.h"
#include "console/page_texts.h"
#include "console/page_window.h"
#include "console/try_state.h"
#include "support/bounded_text.h"

namespace korvex {

namespace {

constexpr UINT NUMBERS_INTERVAL_MS = 200; // in which the numbers are written again

using Text = std::array<WCHAR, 2 * TEXT_CAPACITY>;

// The one window of this process.
struct Program {
    const TrySetup* setup;
    HWND window;
    TryState state;
    SourceText panel;
    SourceText noneFound;
    bool isSearching; // again
    DWORD searchedMs; // when the last search ended
    PageButton mousePressed;
    bool hasChanged; // numbers, since they were written
    bool ended;
    TryEnd end;
};

Program program{};

template <typename... Values>
void Format(Text* text, const WCHAR* format, Values... values)
{
    FormatBounded(text->data(), text->size(), format, values...);
}

// A number with one digit after the point, in two parts.
struct Tenths {
    uint32_t whole;
    uint32_t tenth;
};

Tenths TenthsOf(double value)
{
    const auto tenths = static_cast<uint32_t>(std::lround(value * 10));
    return {tenths / 10, tenths % 10};
}

void WriteTitle(HDC device)
{
    const TryState* state = &program.state;
    RECT area = HeadArea(state->screen, true);
    const WCHAR* title = TEXT_TRY_TITLE;
    if (!HasPanel(state))
        title = !state->isSearched     ? TEXT_SEARCHING
            : state->panel == NO_PANEL ? TEXT_NONE_FOUND
                                       : TEXT_GONE;
    Write(device, state->screen, program.panel.data(),
        {SMALL_UNITS, FW_NORMAL, FAINT, DT_SINGLELINE | DT_PATH_ELLIPSIS}, &area);
    Write(device, state->screen, title, {TITLE_UNITS, FW_BOLD, INK, DT_SINGLELINE}, &area);
    if (state->panel == NO_PANEL)
        Write(device, state->screen, program.noneFound.data(),
            {WORDS_UNITS, FW_NORMAL, INK, DT_WORDBREAK}, &area);
}

// Position, rate and noise, below the title.
void WriteNumbers(HDC device)
{
    constexpr int TITLE_HEIGHT_UNITS = 12; // with the panel's name
    const TryState* state = &program.state;
    if (state->panel == NO_PANEL)
        return;
    RECT area = HeadArea(state->screen, true);
    area.top += Units(state->screen, TITLE_HEIGHT_UNITS);
    area.bottom = area.top + Units(state->screen, 4 * SMALL_UNITS);
    const TextStyle style{SMALL_UNITS, FW_NORMAL, INK, DT_SINGLELINE};
    const Tenths x = TenthsOf(state->mapped.x * 100.0 / 65536);
    const Tenths y = TenthsOf(state->mapped.y * 100.0 / 65536);
    Text text{};
    Format(&text, TEXT_TRY_PLACE, state->raw.x, state->raw.y, x.whole, x.tenth, y.whole, y.tenth);
    Bar(device, area.left, area.top, area.right, area.bottom, WHITE_PAPER);
    Write(device, state->screen, text.data(), style, &area);
    const double part = state->noise.deviation / 65536.0;
    const Tenths noise = TenthsOf(part * state->screen.x);
    Format(&text, TEXT_TRY_RATE, state->reportsPerSecond);
    if (state->reportsPerSecond > 0)
        Write(device, state->screen, text.data(), style, &area);
    const char* advised = state->noise.deviation == 0 || program.setup->smoothingFor == nullptr
        ? "off"
        : program.setup->smoothingFor(part);
    Text setting{};
    for (size_t i = 0; advised[i] != 0; ++i)
        setting[i] = static_cast<WCHAR>(advised[i]);
    Format(&text, advised[0] == 'o' ? TEXT_TRY_NOISE : TEXT_TRY_NOISE_ADVICE, noise.whole,
        noise.tenth, setting.data());
    if (state->noise.deviation > 0)
        Write(device, state->screen, text.data(), style, &area);
}

void PaintAreas(HDC device)
{
    const TryState* state = &program.state;
    for (int row = 0; row < TRY_ROWS; ++row) {
        for (int column = 0; column < TRY_COLUMNS; ++column) {
            if (!state->touched[TryArea(column, row)])
                Disc(device,
                    {state->screen.x * (2 * column + 1) / (2 * TRY_COLUMNS),
                        state->screen.y * (2 * row + 1) / (2 * TRY_ROWS)},
                    Units(state->screen, 1) / 2, TRACK);
        }
    }
}

void PaintEdges(HDC device)
{
    const TryState* state = &program.state;
    const LONG width = Units(state->screen, 1);
    const POINT screen = state->screen;
    const std::array<RECT, static_cast<size_t>(TryEdge::COUNT)> bars{
        {{0, 0, width, screen.y}, {0, 0, screen.x, width},
            {screen.x - width, 0, screen.x, screen.y}, {0, screen.y - width, screen.x, screen.y}}};
    for (const bool reached : {false, true}) { // the reached ones over the others
        for (size_t edge = 0; edge < bars.size(); ++edge) {
            const RECT& bar = bars[edge];
            if (state->reached[edge] == reached)
                Bar(device, bar.left, bar.top, bar.right, bar.bottom, reached ? GREEN : TRACK);
        }
    }
}

void PaintMarks(HDC device)
{
    const TryState* state = &program.state;
    for (uint32_t mark = 0; mark < MARK_COUNT; ++mark) {
        Cross(device, MarkPlace(state->screen, mark), Units(state->screen, 4),
            Units(state->screen, 1) / 4, INK);
        if (state->distances[mark] < 0)
            continue;
        const Tenths off = TenthsOf(state->distances[mark]);
        Text text{};
        Format(&text, TEXT_TRY_OFF, off.whole, off.tenth);
        RECT area = DistanceArea(state->screen, mark);
        Bar(device, area.left, area.top, area.right, area.bottom, WHITE_PAPER);
        Write(device, state->screen, text.data(), {SMALL_UNITS, FW_BOLD, GREEN, DT_SINGLELINE},
            &area);
    }
}

void PaintStrokes(HDC device, uint32_t first)
{
    const TryState* state = &program.state;
    const int radius = Units(state->screen, 1) / 4;
    for (uint32_t i = first; i < state->strokeCount; ++i) {
        const StrokePoint& point = state->strokes[i];
        Stroke(device, point.isFirst || i == 0 ? point.place : state->strokes[i - 1].place,
            point.place, radius, BLUE);
    }
}

void PaintButtons(HDC device)
{
    const TryState* state = &program.state;
    struct Label {
        PageButton button;
        const WCHAR* name;
        COLORREF color;
    };
    for (const Label& label : {Label{PageButton::CLEAR, TEXT_CLEAR_BUTTON, FAINT},
             Label{PageButton::CALIBRATE, TEXT_CALIBRATE_BUTTON, BLUE},
             Label{PageButton::DONE, TEXT_DONE_BUTTON, GREEN}}) {
        RECT area = ButtonArea(state->screen, label.button);
        const bool pressed = state->touching && state->pressed == label.button;
        RoundBar(device, area, Units(state->screen, 3), pressed ? INK : label.color);
        area.top += (area.bottom - area.top - Units(state->screen, WORDS_UNITS * 6) / 5) / 2;
        Write(device, state->screen, label.name, {WORDS_UNITS, FW_BOLD, WHITE_PAPER, DT_WORDBREAK},
            &area);
    }
}

void PaintAll(HDC device)
{
    PrepareDevice(device);
    PaintAreas(device);
    PaintEdges(device);
    PaintStrokes(device, 0);
    PaintMarks(device);
    PaintButtons(device);
    WriteTitle(device);
    WriteNumbers(device);
}

template <typename Paint>
void PaintNow(Paint paint)
{
    HDC device = GetDC(program.window);
    if (device == nullptr)
        return;
    PrepareDevice(device);
    paint(device);
    ReleaseDC(program.window, device);
}

void Press(PageButton button)
{
    if (button == PageButton::CLEAR)
        ClearTry(&program.state);
    program.end = button == PageButton::CALIBRATE ? TryEnd::CALIBRATE : TryEnd::DONE;
    program.ended = button == PageButton::CALIBRATE || button == PageButton::DONE;
    InvalidateRect(program.window, nullptr, TRUE);
}

void HandleTouch(WPARAM place, LPARAM touch)
{
    TryState* state = &program.state;
    const uint32_t panel = state->panel;
    const bool wasTouching = state->touching;
    const uint32_t strokes = state->strokeCount;
    const PageButton pressed = HandleTryReport(state, PanelOfPlace(place), RawOfTouch(touch),
        MappedOfPlace(place), IsTouching(touch), static_cast<uint32_t>(GetMessageTime()));
    program.hasChanged = true;
    if (panel != state->panel)
        program.setup->source.describe(state->panel, &program.panel);
    if (pressed != PageButton::NONE)
        Press(pressed);
    else if (wasTouching != state->touching)
        InvalidateRect(program.window, nullptr, TRUE);
    else
        PaintNow([strokes](HDC device) { PaintStrokes(device, strokes); });
}

void HandleMouse(bool pressed, LPARAM position)
{
    const POINT place{
        static_cast<int16_t>(position & 0xFFFF), static_cast<int16_t>(position >> 16 & 0xFFFF)};
    // The panel's own touches may come a second time, as the pointer's.
    const PageButton button
        = program.state.touching ? PageButton::NONE : TryButtonAt(program.state.screen, place);
    if (!pressed && button != PageButton::NONE && button == program.mousePressed)
        Press(button);
    program.mousePressed = pressed ? button : PageButton::NONE;
}

void HandlePanel(UINT message, uint32_t panel, LPARAM value)
{
    TryState* state = &program.state;
    if (message == WM_SEARCH_DONE) {
        state->isSearched = true;
        program.isSearching = false;
        program.searchedMs = GetTickCount();
        program.setup->source.explainNoneFound(&program.noneFound);
    } else if (panel < MAX_PANELS) {
        state->known[panel] = true;
        state->losses[panel]
            = message == WM_PANEL_LOST ? static_cast<PanelLoss>(value) : PanelLoss::NONE;
        state->touching = state->touching && panel != state->panel;
    }
    InvalidateRect(program.window, nullptr, TRUE);
}

// While no panel is known.
void SearchAgain()
{
    const TryState* state = &program.state;
    const bool isKnown
        = std::find(state->known.begin(), state->known.end(), true) != state->known.end();
    if (isKnown || !state->isSearched || program.isSearching
        || program.setup->source.search == nullptr
        || GetTickCount() - program.searchedMs < SEARCH_INTERVAL_MS)
        return;
    program.isSearching = true;
    program.setup->source.search(program.window);
}

LRESULT CALLBACK TryWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (window != program.window)
        return DefWindowProcW(window, message, wParam, lParam);
    switch (message) {
    case WM_PANEL_CAME:
    case WM_PANEL_LOST:
    case WM_PANEL_RETURNED:
    case WM_SEARCH_DONE:
        HandlePanel(message, static_cast<uint32_t>(wParam), lParam);
        return 0;
    case WM_PANEL_TOUCH:
        HandleTouch(wParam, lParam);
        return 0;
    case WM_TIMER:
        SearchAgain();
        if (program.hasChanged)
            PaintNow(WriteNumbers);
        program.hasChanged = false;
        return 0;
    case WM_KEYDOWN:
        if (wParam == VK_ESCAPE)
            Press(PageButton::DONE);
        return 0;
    case WM_LBUTTONDOWN:
    case WM_LBUTTONUP:
        HandleMouse(message == WM_LBUTTONDOWN, lParam);
        return 0;
    case WM_PAINT: {
        PAINTSTRUCT paint{};
        if (HDC device = BeginPaint(window, &paint); device != nullptr)
            PaintAll(device);
        EndPaint(window, &paint);
        return 0;
    }
    case WM_CLOSE:
        Press(PageButton::DONE);
        return 0;
    default:
        return DefWindowProcW(window, message, wParam, lParam);
    }
}

} // namespace

TryEnd RunTry(const TrySetup* setup)
{
    program.setup = setup;
    program.panel = {};
    program.ended = false;
    program.isSearching = false;
    StartTry(&program.state, {GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)});
    RunPage({TEXT("kxTry"), TEXT_TRY_TITLE, TryWindowProc, NUMBERS_INTERVAL_MS}, setup->source,
        &program.window, &program.ended);
    return program.ended ? program.end : TryEnd::DONE;
}

} // namespace korvex
