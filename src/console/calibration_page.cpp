#include "console/calibration_page.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "console/page_texts.h"

namespace korvex {

namespace {

constexpr COLORREF INK = 0x00202020;
constexpr COLORREF FAINT = 0x00707070;
constexpr COLORREF TRACK = 0x00DCDCDC; // of a ring that is not full yet
constexpr COLORREF WHITE_PAPER = 0x00FFFFFF;
constexpr COLORREF BLUE = 0x00C86414;
constexpr COLORREF GREEN = 0x00328C28;
constexpr COLORREF RED = 0x001E28BE;

// Heights of letters, in page units.
constexpr int TITLE_UNITS = 7;
constexpr int WORDS_UNITS = 5;
constexpr int SMALL_UNITS = 3;

// A font that is selected while it lives.
struct SelectedFont {
    HDC device;
    HFONT font;
    HGDIOBJ before;

    SelectedFont(HDC context, int height, int weight)
        : device(context)
        , font(CreateFontW(
              -height, 0, 0, 0, weight, 0, 0, 0, DEFAULT_CHARSET, 0, 0, 0, 0, TEXT("Tahoma")))
        , before(SelectObject(device, font))
    {
    }
    ~SelectedFont()
    {
        SelectObject(device, before);
        DeleteObject(font);
    }
    SelectedFont(const SelectedFont&) = delete;
    SelectedFont& operator=(const SelectedFont&) = delete;
};

struct Words {
    int units; // of the letters' height
    int weight;
    COLORREF color;
    UINT format;
};

// Writes into the area; what is left of it is below the text.
void Write(HDC device, POINT screen, const WCHAR* text, Words words, RECT* area)
{
    if (*text == 0)
        return;
    const SelectedFont font(device, std::max(8, words.units * PageUnit(screen)), words.weight);
    SetTextColor(device, words.color);
    area->top += DrawTextW(device, text, -1, area, words.format | DT_CENTER | DT_NOPREFIX);
}

// A disc, and a part of it that begins at the top and goes clockwise.
void Disc(HDC device, POINT middle, int radius, COLORREF color)
{
    SetDCBrushColor(device, color);
    Ellipse(
        device, middle.x - radius, middle.y - radius, middle.x + radius + 1, middle.y + radius + 1);
}

void Sector(HDC device, POINT middle, int radius, uint32_t percent, COLORREF color)
{
    if (percent >= 100)
        Disc(device, middle, radius, color);
    if (percent == 0 || percent >= 100)
        return;
    const double angle = percent * 2 * std::numbers::pi / 100;
    constexpr int FAR_OFF = 1000; // so that whole pixels give the angle
    SetDCBrushColor(device, color);
    Pie(device, middle.x - radius, middle.y - radius, middle.x + radius + 1, middle.y + radius + 1,
        middle.x + static_cast<int>(FAR_OFF * std::sin(angle)),
        middle.y - static_cast<int>(FAR_OFF * std::cos(angle)), middle.x, middle.y - FAR_OFF);
}

void Bar(HDC device, int left, int top, int right, int bottom, COLORREF color)
{
    const RECT area{left, top, right, bottom};
    SetDCBrushColor(device, color);
    FillRect(device, &area, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
}

// A line that is thick and round, of discs.
void Stroke(HDC device, POINT from, POINT to, int radius, COLORREF color)
{
    const LONG steps = std::max<LONG>({1, std::abs(to.x - from.x), std::abs(to.y - from.y)});
    for (LONG i = 0; i <= steps; ++i)
        Disc(device, {from.x + (to.x - from.x) * i / steps, from.y + (to.y - from.y) * i / steps},
            radius, color);
}

void CheckMark(HDC device, POINT middle, int size, COLORREF color)
{
    const int radius = std::max(1, size / 8);
    const POINT corner{middle.x - size / 8, middle.y + size / 2};
    Stroke(device, {middle.x - size / 2, middle.y + size / 8}, corner, radius, color);
    Stroke(device, corner, {middle.x + size * 5 / 8, middle.y - size / 2}, radius, color);
}

void Cross(HDC device, POINT middle, int reach, int halfWidth, COLORREF color)
{
    Bar(device, middle.x - reach, middle.y - halfWidth, middle.x + reach + 1,
        middle.y + halfWidth + 1, color);
    Bar(device, middle.x - halfWidth, middle.y - reach, middle.x + halfWidth + 1,
        middle.y + reach + 1, color);
}

POINT TargetPlace(const CalibrationCourse* course)
{
    const Point place = GuideTargetPlace(&course->guide, course->guide.target);
    return PixelOf(course->screen, {place.x, place.y});
}

void PaintTarget(const CalibrationCourse* course, HDC device)
{
    const bool taken = course->guide.step == GuideStep::TAKEN;
    const POINT middle = TargetPlace(course);
    const int radius = RingRadius(course->screen);
    const int unit = PageUnit(course->screen);
    Disc(device, middle, radius, taken ? GREEN : TRACK);
    if (!taken)
        Sector(device, middle, radius, course->guide.progress, BLUE);
    Disc(device, middle, radius * 2 / 3, WHITE_PAPER);
    Cross(device, middle, radius, std::max(1, unit / 4), taken ? GREEN : INK);
    Disc(device, middle, std::max(2, unit / 2), taken ? GREEN : RED);
}

void PaintDots(const CalibrationCourse* course, HDC device)
{
    const CalibrationGuide* guide = &course->guide;
    const bool taken = guide->step == GuideStep::TAKEN;
    const uint32_t count = guide->calib.pointCount;
    const int radius = DotRadius(course->screen);
    for (uint32_t target = 0; target < count; ++target) {
        const POINT middle = DotPlace(course->screen, target, count);
        const bool isCurrent = target == guide->target;
        const bool isDone = isCurrent ? taken : target < guide->target || guide->retaken != 0;
        Disc(device, middle, radius, isDone ? GREEN : TRACK);
        if (isCurrent && !taken)
            Sector(device, middle, radius, guide->progress, BLUE);
        if (isDone)
            CheckMark(device, middle, radius, WHITE_PAPER);
    }
}

// With one digit behind the point.
void FormatPixels(double pixels, PageLine* text)
{
    const auto tenths = static_cast<uint32_t>(std::lround(pixels * 10));
    FormatBounded(text->data(), text->size(), TEXT("%u.%u"), tenths / 10, tenths % 10);
}

double WorstResidual(const CalibrationCourse* course)
{
    double worst = 0;
    for (uint32_t target = 0; target < course->guide.calib.pointCount; ++target)
        worst = std::max(worst, ResidualPixels(course, target));
    return worst;
}

// A title and a sentence below it, which are said at once.
struct Saying {
    PageLine* title;
    PageLine* more;
};

void Say(const Saying* saying, const WCHAR* title, const WCHAR* more)
{
    CopyBounded(saying->title->data(), saying->title->size(), title);
    CopyBounded(saying->more->data(), saying->more->size(), more);
}

void DescribeTarget(const CalibrationGuide* guide, PageLine* title, PageLine* more)
{
    const Saying say{title, more};
    switch (guide->step) {
    case GuideStep::SAMPLING:
        return Say(&say, TEXT_HOLD, TEXT(""));
    case GuideStep::TAKEN:
        return Say(&say, TEXT_TAKEN, TEXT_TAKEN_MORE);
    case GuideStep::LIFTING:
        return Say(&say, TEXT_LIFT, ReasonText(guide->reason));
    default:
        if (guide->reason != GuideReason::NONE)
            return Say(&say, guide->reason == GuideReason::START_OVER ? TEXT_TOUCH : TEXT_AGAIN,
                ReasonText(guide->reason));
        return Say(&say, TEXT_TOUCH, guide->target == 0 ? TEXT_TOUCH_FIRST : TEXT(""));
    }
}

// A distance below its mark, or beside it where the screen ends.
void PaintDistance(const CalibrationCourse* course, uint32_t mark, HDC device)
{
    const double distance = course->distances[mark];
    if (distance < 0)
        return;
    PageLine number{};
    PageLine text{};
    FormatPixels(distance, &number);
    FormatBounded(text.data(), text.size(), TEXT_PIXELS, number.data());
    const POINT place = MarkPlace(course->screen, mark);
    const int unit = PageUnit(course->screen);
    const int reach = MarkReach(course->screen);
    const bool isLow = place.y > course->screen.y / 2;
    RECT area{place.x - 2 * reach, place.y + (isLow ? -reach - 2 * unit : reach - 3 * unit),
        place.x + 2 * reach, 0};
    area.bottom = area.top + 5 * unit;
    constexpr int HALF_WIDTH = 9;
    Bar(device, place.x - HALF_WIDTH * unit, area.top, place.x + HALF_WIDTH * unit, area.bottom,
        WHITE_PAPER);
    Write(device, course->screen, text.data(),
        {WORDS_UNITS - 1, FW_BOLD, distance < 3 * unit ? GREEN : RED, DT_SINGLELINE}, &area);
}

// How far each cross lies from where the others let expect it, small and where it was.
void PaintResiduals(const CalibrationCourse* course, HDC device)
{
    const int unit = PageUnit(course->screen);
    for (uint32_t target = 0; target < course->guide.calib.pointCount; ++target) {
        PageLine number{};
        FormatPixels(ResidualPixels(course, target), &number);
        const Point place = GuideTargetPlace(&course->guide, target);
        const POINT pixel = PixelOf(course->screen, {place.x, place.y});
        const bool isMiddle = target == 4; // where a mark is
        const LONG x = std::clamp<LONG>(pixel.x, 4 * unit, course->screen.x - 4 * unit);
        const LONG y = std::clamp<LONG>(
            isMiddle ? pixel.y - 7 * unit : pixel.y, 2 * unit, course->screen.y - 2 * unit);
        RECT area{x - 4 * unit, y - 2 * unit, x + 4 * unit, y + 2 * unit};
        Write(device, course->screen, number.data(), {SMALL_UNITS, FW_NORMAL, FAINT, DT_SINGLELINE},
            &area);
    }
}

void PaintMarks(const CalibrationCourse* course, HDC device)
{
    const int unit = PageUnit(course->screen);
    for (uint32_t mark = 0; mark < MARK_COUNT; ++mark) {
        Cross(device, MarkPlace(course->screen, mark), 4 * unit, std::max(1, unit / 4), INK);
        PaintDistance(course, mark, device);
    }
}

void PaintButtons(const CalibrationCourse* course, HDC device)
{
    struct Label {
        PageButton button;
        const WCHAR* name;
        const WCHAR* key;
        COLORREF color;
    };
    for (const Label& label : {Label{PageButton::SAVE, TEXT_SAVE_BUTTON, TEXT_SAVE_KEY, GREEN},
             Label{PageButton::AGAIN, TEXT_AGAIN_BUTTON, TEXT_AGAIN_KEY, BLUE},
             Label{PageButton::CANCEL, TEXT_CANCEL_BUTTON, TEXT_CANCEL_KEY, FAINT}}) {
        RECT area = ButtonArea(course->screen, label.button);
        const bool pressed = course->touching && course->pressed == label.button;
        Bar(device, area.left, area.top, area.right, area.bottom, pressed ? INK : label.color);
        area.top += (area.bottom - area.top) / 8;
        Write(device, course->screen, label.name,
            {WORDS_UNITS, FW_BOLD, WHITE_PAPER, DT_SINGLELINE}, &area);
        Write(device, course->screen, label.key,
            {SMALL_UNITS, FW_NORMAL, WHITE_PAPER, DT_SINGLELINE}, &area);
    }
}

void PaintFooter(const CalibrationCourse* course, const PageWords* words, HDC device)
{
    PageLine line{};
    RECT area = FooterArea(course->screen, IsTrying(course));
    const Words small{SMALL_UNITS, FW_NORMAL, FAINT, DT_WORDBREAK};
    if (course->secondsLeft != 0 && course->step != CourseStep::SAVED) {
        FormatBounded(line.data(), line.size(), TEXT_LEAVES, course->secondsLeft);
        Write(
            device, course->screen, line.data(), {SMALL_UNITS, FW_BOLD, RED, DT_WORDBREAK}, &area);
    } else if (!IsTrying(course) && HasButton(course, PageButton::CANCEL)) {
        Write(device, course->screen, TEXT_ESCAPE, small, &area);
    }
    if (words->file[0] == 0 || !(IsTrying(course) || course->step == CourseStep::SAVED))
        return;
    FormatBounded(line.data(), line.size(),
        course->step == CourseStep::SAVED ? TEXT_FILE_SAVED : TEXT_FILE, words->file.data());
    const Words path{SMALL_UNITS, FW_NORMAL, FAINT, DT_SINGLELINE | DT_PATH_ELLIPSIS};
    Write(device, course->screen, line.data(), path, &area);
    if (course->secondsLeft == 0)
        Write(device, course->screen, words->panel.data(), path, &area);
}

COLORREF TitleColor(const CalibrationCourse* course)
{
    const CalibrationGuide* guide = &course->guide;
    if (IsPanelGone(course) || course->step == CourseStep::MISFIT
        || course->step == CourseStep::NOT_SAVED)
        return RED;
    if (course->step == CourseStep::SAVED
        || (course->step == CourseStep::GUIDING && guide->step == GuideStep::TAKEN))
        return GREEN;
    return course->step == CourseStep::GUIDING && guide->reason != GuideReason::NONE
            && guide->step != GuideStep::SAMPLING
        ? RED
        : INK;
}

// Everything is drawn without outlines, and filled in the colour of the moment.
void PrepareDevice(HDC device)
{
    SelectObject(device, GetStockObject(NULL_PEN));
    SelectObject(device, GetStockObject(DC_BRUSH));
    SetBkMode(device, TRANSPARENT);
}

} // namespace

const WCHAR* ReasonText(GuideReason reason)
{
    switch (reason) {
    case GuideReason::LIFTED_EARLY:
        return TEXT_LIFTED_EARLY;
    case GuideReason::SLID:
        return TEXT_SLID;
    case GuideReason::ELSEWHERE:
        return TEXT_ELSEWHERE;
    case GuideReason::START_OVER:
        return TEXT_START_OVER;
    case GuideReason::UNEVEN:
        return TEXT_UNEVEN;
    default:
        return TEXT("");
    }
}

const WCHAR* FaultText(PointsFault fault)
{
    switch (fault) {
    case PointsFault::SAME_PLACE:
        return TEXT_MISFIT_SAME;
    case PointsFault::ORDER:
    case PointsFault::FOLD:
        return TEXT_MISFIT_ORDER;
    case PointsFault::RANGE:
        return TEXT_MISFIT_RANGE;
    case PointsFault::UNEVEN:
        return TEXT_MISFIT_UNEVEN;
    default:
        return TEXT("");
    }
}

void DescribeStep(
    const CalibrationCourse* course, const PageWords* words, PageLine* title, PageLine* more)
{
    const Saying say{title, more};
    PageLine pixels{};
    if (IsPanelGone(course) && course->step != CourseStep::SAVED
        && course->step != CourseStep::LEFT)
        return Say(&say, TEXT_GONE, TEXT_GONE_MORE);
    switch (course->step) {
    case CourseStep::SEARCHING:
        return Say(&say, TEXT_SEARCHING, TEXT_SEARCHING_MORE);
    case CourseStep::NOBODY:
        return Say(
            &say, TEXT_NOBODY, words->nobody[0] != 0 ? words->nobody.data() : TEXT_NOBODY_MORE);
    case CourseStep::GUIDING:
        return DescribeTarget(&course->guide, title, more);
    case CourseStep::MISFIT:
        Say(&say, TEXT_MISFIT, TEXT(""));
        FormatBounded(
            more->data(), more->size(), TEXT_MISFIT_MORE, FaultText(course->guide.judgement.fault));
        return;
    case CourseStep::TRYING:
        Say(&say, TEXT_TRY, TEXT(""));
        FormatPixels(WorstResidual(course), &pixels);
        FormatBounded(more->data(), more->size(), TEXT_TRY_MORE, pixels.data());
        return;
    case CourseStep::NOT_SAVED:
        return Say(&say, TEXT_NOT_SAVED, words->reason.data());
    case CourseStep::SAVED:
        return Say(&say, TEXT_SAVED, TEXT(""));
    default:
        return Say(&say, TEXT_LEFT, TEXT(""));
    }
}

void PaintPage(const CalibrationCourse* course, const PageWords* words, HDC device)
{
    PrepareDevice(device);
    PageLine title{};
    PageLine more{};
    DescribeStep(course, words, &title, &more);
    RECT head = HeadArea(course->screen);
    Write(device, course->screen, title.data(),
        {TITLE_UNITS, FW_BOLD, TitleColor(course), DT_WORDBREAK}, &head);
    head.top += PageUnit(course->screen);
    Write(device, course->screen, more.data(), {WORDS_UNITS, FW_NORMAL, INK, DT_WORDBREAK}, &head);
    if (course->step == CourseStep::GUIDING && !IsPanelGone(course)) {
        PageLine count{};
        RECT area = CountArea(course->screen);
        FormatBounded(count.data(), count.size(), TEXT_COUNT, course->guide.target + 1,
            course->guide.calib.pointCount);
        Write(device, course->screen, count.data(), {WORDS_UNITS, FW_BOLD, INK, DT_SINGLELINE},
            &area);
        PaintDots(course, device);
        PaintTarget(course, device);
    }
    if (IsTrying(course)) {
        PaintResiduals(course, device);
        PaintMarks(course, device);
        PaintButtons(course, device);
    }
    PaintFooter(course, words, device);
}

void PaintRing(const CalibrationCourse* course, HDC device)
{
    PrepareDevice(device);
    PaintTarget(course, device);
    const POINT dot
        = DotPlace(course->screen, course->guide.target, course->guide.calib.pointCount);
    Sector(device, dot, DotRadius(course->screen), course->guide.progress, BLUE);
}

void PaintTouch(const CalibrationCourse* course, HDC device)
{
    PrepareDevice(device);
    if (course->pressed != PageButton::NONE) {
        PaintButtons(course, device);
        return;
    }
    Disc(device, course->touch, std::max(2, PageUnit(course->screen) / 2), BLUE);
    for (uint32_t mark = 0; mark < MARK_COUNT; ++mark)
        PaintDistance(course, mark, device);
}

} // namespace korvex
