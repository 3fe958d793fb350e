#include "console/calibration_page.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "console/page_drawing.h"
#include "console/page_texts.h"

namespace korvex {

namespace {

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
