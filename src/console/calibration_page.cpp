#include "console/calibration_page.h"

#include <algorithm>
#include <cmath>

#include "console/page_drawing.h"
#include "console/page_texts.h"

namespace korvex {

namespace {

// A text as FormatBounded makes it.
template <typename... Values>
PageLine Line(const WCHAR* format, Values... values)
{
    PageLine line{};
    FormatBounded(line.data(), line.size(), format, values...);
    return line;
}

// With one digit after the point.
PageLine Pixels(double pixels)
{
    const auto tenths = static_cast<uint32_t>(std::lround(pixels * 10));
    return Line(TEXT("%u.%u"), tenths / 10, tenths % 10);
}

void PaintTarget(const CalibrationCourse* course, HDC device)
{
    const bool taken = course->guide.step == GuideStep::TAKEN;
    const POINT middle
        = PixelOf(course->screen, GuideTargetPlace(&course->guide, course->guide.target));
    const int radius = RingRadius(course->screen);
    const int unit = PageUnit(course->screen);
    Disc(device, middle, radius, taken ? GREEN : TRACK);
    if (!taken)
        Sector(device, middle, radius, course->guide.progress, BLUE);
    Disc(device, middle, radius * 2 / 3, WHITE_PAPER);
    Cross(device, middle, radius, std::max(1, unit / 4), taken ? GREEN : INK);
    Disc(device, middle, std::max(2, unit / 2), taken ? GREEN : RED);
}

void PaintCount(const CalibrationCourse* course, HDC device, RECT* area)
{
    const PageLine count
        = Line(TEXT_COUNT, course->guide.target + 1, course->guide.calib.pointCount);
    Write(device, course->screen, count.data(), {WORDS_UNITS, FW_BOLD, INK, DT_SINGLELINE}, area);
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
        const bool isDone = isCurrent ? taken : target < guide->target || guide->asked != 0;
        Disc(device, middle, radius, isDone ? GREEN : TRACK);
        if (isCurrent && !taken)
            Sector(device, middle, radius, guide->progress, BLUE);
        if (isDone)
            CheckMark(device, middle, radius, WHITE_PAPER);
    }
}

COLORREF ColorOf(Accuracy accuracy)
{
    return accuracy == Accuracy::POOR ? RED : accuracy == Accuracy::FAIR ? AMBER : GREEN;
}

PageText Say(const WCHAR* title, const WCHAR* more)
{
    return {Line(TEXT("%s"), title), Line(TEXT("%s"), more)};
}

PageText DescribeTarget(const CalibrationGuide* guide)
{
    switch (guide->step) {
    case GuideStep::SAMPLING:
        return Say(TEXT_HOLD, TEXT(""));
    case GuideStep::TAKEN:
        return Say(TEXT_TAKEN, TEXT_TAKEN_MORE);
    case GuideStep::LIFTING:
        return Say(TEXT_LIFT, ReasonText(guide->reason));
    default:
        if (guide->reason != GuideReason::NONE)
            return Say(TEXT_AGAIN, ReasonText(guide->reason));
        return Say(TEXT_TOUCH, guide->target == 0 ? TEXT_TOUCH_FIRST : TEXT(""));
    }
}

PageText DescribeResult(const CalibrationCourse* course)
{
    if (IsDoubtful(course)) {
        const bool isKnown = course->guide.judgement.target != NO_TARGET;
        const uint32_t worst = WorstTarget(course);
        return {Line(isKnown ? TEXT_DOUBTFUL : TEXT_DOUBTFUL_ONE, worst + 1),
            Line(isKnown ? TEXT_DOUBTFUL_MORE : TEXT_DOUBTFUL_ONE_MORE,
                Pixels(ResidualPixels(course, worst)).data())};
    }
    const double distance = DistanceOff(course);
    return {Line(TEXT_TRY, AccuracyText(AccuracyOf(course, distance))),
        Line(HasTouchedMarks(course) ? TEXT_TRY_MARKS : TEXT_TRY_FIT, Pixels(distance).data())};
}

// A distance below its mark, or beside it where the screen ends.
void PaintDistance(const CalibrationCourse* course, uint32_t mark, HDC device)
{
    const double distance = course->distances[mark];
    if (distance < 0)
        return;
    const PageLine text = Line(TEXT_PIXELS, Pixels(distance).data());
    const POINT place = MarkPlace(course->screen, mark);
    const int unit = PageUnit(course->screen);
    const int reach = RingRadius(course->screen);
    const bool isLow = place.y > course->screen.y / 2;
    RECT area{place.x - 2 * reach, place.y + (isLow ? -reach - 2 * unit : reach - 3 * unit),
        place.x + 2 * reach, 0};
    area.bottom = area.top + 5 * unit;
    constexpr int HALF_WIDTH = 9;
    Bar(device, place.x - HALF_WIDTH * unit, area.top, place.x + HALF_WIDTH * unit, area.bottom,
        WHITE_PAPER);
    Write(device, course->screen, text.data(),
        {WORDS_UNITS - 1, FW_BOLD, ColorOf(AccuracyOf(course, distance)), DT_SINGLELINE}, &area);
}

// How far each cross lies from where the others predict it, small and where it was.
void PaintResiduals(const CalibrationCourse* course, HDC device)
{
    const int unit = PageUnit(course->screen);
    for (uint32_t target = 0; target < course->guide.calib.pointCount; ++target) {
        const double residual = ResidualPixels(course, target);
        const PageLine text = Line(TEXT_PIXELS, Pixels(residual).data());
        const POINT pixel = PixelOf(course->screen, GuideTargetPlace(&course->guide, target));
        const bool isMiddle = target == 4; // where a mark is
        constexpr int HALF_WIDTH = 8;
        const LONG x
            = std::clamp<LONG>(pixel.x, HALF_WIDTH * unit, course->screen.x - HALF_WIDTH * unit);
        const LONG y = std::clamp<LONG>(
            isMiddle ? pixel.y - 7 * unit : pixel.y, 2 * unit, course->screen.y - 2 * unit);
        RECT area{x - HALF_WIDTH * unit, y - 2 * unit, x + HALF_WIDTH * unit, y + 2 * unit};
        const Accuracy accuracy = AccuracyOf(course, residual);
        const COLORREF color = accuracy == Accuracy::VERY_GOOD ? FAINT : ColorOf(accuracy);
        Write(device, course->screen, text.data(), {SMALL_UNITS, FW_NORMAL, color, DT_SINGLELINE},
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
    const PageLine retake
        = IsTrying(course) ? Line(TEXT_RETAKE_BUTTON, WorstTarget(course) + 1) : PageLine{};
    const int unit = PageUnit(course->screen);
    for (const Label& label :
        {Label{PageButton::SAVE,
             course->step == CourseStep::ASKING ? TEXT_REPLACE_BUTTON : TEXT_SAVE_BUTTON,
             TEXT_SAVE_KEY, IsDoubtful(course) ? AMBER : GREEN},
            Label{PageButton::AGAIN, TEXT_AGAIN_BUTTON, TEXT_AGAIN_KEY, BLUE},
            Label{PageButton::CANCEL, TEXT_CANCEL_BUTTON, TEXT_CANCEL_KEY, FAINT},
            Label{PageButton::RETAKE, retake.data(), TEXT_RETAKE_KEY, BLUE},
            Label{PageButton::UNDO, TEXT_UNDO_BUTTON, TEXT_UNDO_KEY, FAINT}}) {
        if (!HasButton(course, label.button))
            continue;
        RECT area = ButtonArea(course->screen, label.button);
        const bool pressed = course->touching && course->pressed == label.button;
        Bar(device, area.left, area.top, area.right, area.bottom, pressed ? INK : label.color);
        constexpr int NAME_UNITS = WORDS_UNITS - 1;
        const int lines = course->hasKeyboard ? NAME_UNITS + SMALL_UNITS : NAME_UNITS;
        area.top
            += (area.bottom - area.top - lines * unit * 6 / 5) / 2; // with what is between lines
        Write(device, course->screen, label.name, {NAME_UNITS, FW_BOLD, WHITE_PAPER, DT_WORDBREAK},
            &area);
        if (course->hasKeyboard)
            Write(device, course->screen, label.key,
                {SMALL_UNITS, FW_NORMAL, WHITE_PAPER, DT_SINGLELINE}, &area);
    }
}

// Writes the seconds that are left; false while none are counted down.
bool PaintCountdown(const CalibrationCourse* course, HDC device, RECT* area)
{
    if (course->secondsLeft == 0 || IsOver(course))
        return false;
    const PageLine line
        = Line(course->step == CourseStep::NOBODY ? TEXT_CLOSING_UNUSED : TEXT_CLOSING,
            course->secondsLeft);
    Write(device, course->screen, line.data(), {SMALL_UNITS, FW_BOLD, RED, DT_WORDBREAK}, area);
    return true;
}

// The panel and its file, where there is a result.
void PaintFooter(const CalibrationCourse* course, const PageWords* words, HDC device)
{
    RECT area = ScreenPart(course->screen, FOOTER_PERCENT);
    const bool isCounting = PaintCountdown(course, device, &area);
    const Words path{SMALL_UNITS, FW_NORMAL, FAINT, DT_SINGLELINE | DT_PATH_ELLIPSIS};
    const PageLine line = Line(TEXT_FILE, words->file.path.data());
    if (words->file.path[0] != 0)
        Write(device, course->screen, IsOver(course) ? words->file.path.data() : line.data(), path,
            &area);
    if (!isCounting)
        Write(device, course->screen, words->panel.data(), path, &area);
}

COLORREF TitleColor(const CalibrationCourse* course)
{
    const CalibrationGuide* guide = &course->guide;
    if (course->step == CourseStep::MISFIT || course->step == CourseStep::ASKING
        || course->step == CourseStep::NOT_SAVED || course->step == CourseStep::NOT_UNDONE
        || LossOf(course) != PanelLoss::NONE)
        return RED;
    if (course->step == CourseStep::TRYING)
        return IsDoubtful(course) ? RED : ColorOf(AccuracyOf(course, DistanceOff(course)));
    if (course->step == CourseStep::SAVED || course->step == CourseStep::UNDONE
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
    return REASON_TEXTS[static_cast<size_t>(reason)];
}

const WCHAR* FaultText(PointsFault fault)
{
    return FAULT_TEXTS[static_cast<size_t>(fault)];
}

const WCHAR* AccuracyText(Accuracy accuracy)
{
    return ACCURACY_TEXTS[static_cast<size_t>(accuracy)];
}

PageText DescribeStep(const CalibrationCourse* course, const PageWords* words)
{
    if (LossOf(course) != PanelLoss::NONE && !IsOver(course))
        return LossOf(course) == PanelLoss::PORT ? Say(TEXT_GONE, TEXT_GONE_MORE)
                                                 : Say(TEXT_NO_RUNTIME, TEXT_NO_RUNTIME_MORE);
    switch (course->step) {
    case CourseStep::SEARCHING:
        return Say(TEXT_SEARCHING, TEXT_SEARCHING_MORE);
    case CourseStep::NOBODY:
        return Say(TEXT_NOBODY, words->nobody[0] != 0 ? words->nobody.data() : TEXT_NOBODY_MORE);
    case CourseStep::GUIDING:
        return DescribeTarget(&course->guide);
    case CourseStep::MISFIT:
        return {
            Line(TEXT_MISFIT), Line(TEXT_MISFIT_MORE, FaultText(course->guide.judgement.fault))};
    case CourseStep::TRYING:
        return DescribeResult(course);
    case CourseStep::ASKING:
        return {Line(TEXT_ASK), Line(TEXT_ASK_MORE, words->file.other.data())};
    case CourseStep::NOT_SAVED:
        return Say(TEXT_NOT_SAVED, words->reason.data());
    case CourseStep::NOT_UNDONE:
        return Say(TEXT_NOT_UNDONE, words->reason.data());
    case CourseStep::SAVED:
        return Say(TEXT_SAVED, TEXT_SAVED_MORE);
    case CourseStep::UNDONE:
        return Say(TEXT_UNDONE, TEXT_UNDONE_MORE);
    default:
        return Say(TEXT_LEFT, TEXT(""));
    }
}

void PaintPage(const CalibrationCourse* course, const PageWords* words, HDC device)
{
    PrepareDevice(device);
    const PageText text = DescribeStep(course, words);
    RECT head = ScreenPart(course->screen, HEAD_PERCENT);
    Write(device, course->screen, text.title.data(),
        {TITLE_UNITS, FW_BOLD, TitleColor(course), DT_WORDBREAK}, &head);
    head.top += PageUnit(course->screen);
    Write(device, course->screen, text.more.data(), {WORDS_UNITS, FW_NORMAL, INK, DT_WORDBREAK},
        &head);
    const bool hasResult = IsTrying(course) || IsOver(course);
    RECT count = ScreenPart(course->screen, COUNT_PERCENT);
    const bool isCounting = !hasResult && PaintCountdown(course, device, &count);
    if (course->step == CourseStep::GUIDING && LossOf(course) == PanelLoss::NONE) {
        if (!isCounting)
            PaintCount(course, device, &count);
        PaintDots(course, device);
        PaintTarget(course, device);
    }
    if (IsTrying(course)) {
        PaintResiduals(course, device);
        PaintMarks(course, device);
    }
    PaintButtons(course, device);
    if (hasResult)
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
