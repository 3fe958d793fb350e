#include "console/calibration_page.h"

#include <algorithm>
#include <cmath>

#include "console/page_drawing.h"
#include "console/page_texts.h"

namespace korvex {

namespace {

// A text as FormatBounded makes it.
template <typename... Values>
PageTextBuffer Line(const WCHAR* format, Values... values)
{
    PageTextBuffer line{};
    FormatBounded(line.data(), line.size(), format, values...);
    return line;
}

// With one digit after the point.
PageTextBuffer Pixels(double pixels)
{
    const auto tenths = static_cast<uint32_t>(std::lround(pixels * 10));
    return Line(TEXT("%u.%u"), tenths / 10, tenths % 10);
}

// How much of the target is taken: the ring around it, or where that is cut by the edge of the
// screen, a bar in the middle.
void PaintProgress(const CalibrationFlow* flow, POINT middle, HDC device)
{
    const bool taken = flow->targets.step == TargetStep::TAKEN;
    const uint32_t percent = taken ? 100 : flow->targets.progress;
    const COLORREF color = taken ? GREEN : BLUE;
    if (!IsRingCut(flow->screen, middle)) {
        const int radius = RingRadius(flow->screen);
        Disc(device, middle, radius, TRACK);
        Sector(device, middle, radius, percent, color);
        Disc(device, middle, radius * 2 / 3, WHITE_PAPER);
        return;
    }
    RECT bar = ProgressBar(flow->screen);
    const LONG height = bar.bottom - bar.top;
    RoundBar(device, bar, height, TRACK);
    bar.right
        = bar.left + std::max(height, (bar.right - bar.left) * static_cast<LONG>(percent) / 100);
    if (percent > 0)
        RoundBar(device, bar, height, color);
}

void PaintTarget(const CalibrationFlow* flow, HDC device)
{
    constexpr int REACH_UNITS = 6;
    const COLORREF color = flow->targets.step == TargetStep::TAKEN ? GREEN : INK;
    const POINT middle = PixelOf(flow->screen, TargetPlace(&flow->targets, flow->targets.current));
    PaintProgress(flow, middle, device);
    Cross(device, middle, Units(flow->screen, REACH_UNITS), Units(flow->screen, 1) / 4, color);
    Disc(device, middle, Units(flow->screen, 1) / 2, color == INK ? RED : color);
}

void PaintCount(const CalibrationFlow* flow, HDC device, RECT* area)
{
    const PageTextBuffer count
        = Line(TEXT_COUNT, flow->targets.current + 1, flow->targets.calib.pointCount);
    Write(device, flow->screen, count.data(), {WORDS_UNITS, FW_BOLD, INK, DT_SINGLELINE}, area);
}

void PaintDots(const CalibrationFlow* flow, HDC device)
{
    const CalibrationTargets* targets = &flow->targets;
    const bool taken = targets->step == TargetStep::TAKEN;
    const uint32_t count = targets->calib.pointCount;
    const int radius = DotRadius(flow->screen);
    for (uint32_t target = 0; target < count; ++target) {
        const POINT middle = DotPlace(flow->screen, target, count);
        const bool isCurrent = target == targets->current;
        const bool isDone = isCurrent ? taken : target < targets->current || targets->asked != 0;
        Disc(device, middle, radius, isDone ? GREEN : TRACK);
        if (isCurrent && !taken)
            Sector(device, middle, radius, targets->progress, BLUE);
        if (isDone)
            CheckMark(device, middle, radius, WHITE_PAPER);
    }
}

COLORREF ColorOf(Accuracy accuracy)
{
    return accuracy == Accuracy::POOR ? RED : accuracy == Accuracy::FAIR ? AMBER : GREEN;
}

PageText MakeText(const WCHAR* title, const WCHAR* more)
{
    return {Line(TEXT("%s"), title), Line(TEXT("%s"), more)};
}

PageText DescribeTarget(const CalibrationTargets* targets)
{
    switch (targets->step) {
    case TargetStep::SAMPLING:
        return MakeText(TEXT_HOLD, TEXT(""));
    case TargetStep::TAKEN:
        return MakeText(TEXT_TAKEN, TEXT_TAKEN_MORE);
    case TargetStep::LIFTING:
        return MakeText(TEXT_LIFT, ReasonText(targets->reason));
    default:
        if (targets->reason != RetakeReason::NONE)
            return MakeText(TEXT_AGAIN, ReasonText(targets->reason));
        return MakeText(TEXT_TOUCH, targets->current == 0 ? TEXT_TOUCH_FIRST : TEXT(""));
    }
}

PageText DescribeResult(const CalibrationFlow* flow)
{
    if (IsDoubtful(flow)) {
        const bool isKnown = flow->targets.judgement.target != NO_TARGET;
        const uint32_t worst = WorstTarget(flow);
        return {Line(isKnown ? TEXT_DOUBTFUL : TEXT_DOUBTFUL_ONE, worst + 1),
            Line(isKnown ? TEXT_DOUBTFUL_MORE : TEXT_DOUBTFUL_ONE_MORE,
                Pixels(ResidualPixels(flow, worst)).data())};
    }
    const double distance = DistanceOff(flow);
    return {Line(TEXT_TRY, AccuracyText(AccuracyOf(flow, distance))),
        Line(HasTouchedMarks(flow) ? TEXT_TRY_MARKS : TEXT_TRY_FIT, Pixels(distance).data())};
}

// How far off the last touch of a mark was.
void PaintDistance(const CalibrationFlow* flow, uint32_t mark, HDC device)
{
    const double distance = flow->distances[mark];
    if (distance < 0)
        return;
    const PageTextBuffer text = Line(TEXT_PIXELS, Pixels(distance).data());
    RECT area = DistanceArea(flow->screen, mark);
    Bar(device, area.left, area.top, area.right, area.bottom, WHITE_PAPER);
    Write(device, flow->screen, text.data(),
        {SMALL_UNITS, FW_BOLD, ColorOf(AccuracyOf(flow, distance)), DT_SINGLELINE}, &area);
}

// How far each cross lies from where the others predict it, small and where it was.
void PaintResiduals(const CalibrationFlow* flow, HDC device)
{
    for (uint32_t target = 0; target < flow->targets.calib.pointCount; ++target) {
        const double residual = ResidualPixels(flow, target);
        const PageTextBuffer text = Line(TEXT_PIXELS, Pixels(residual).data());
        RECT area = ResidualArea(
            flow->screen, PixelOf(flow->screen, TargetPlace(&flow->targets, target)));
        const Accuracy accuracy = AccuracyOf(flow, residual);
        const COLORREF color = accuracy == Accuracy::VERY_GOOD ? FAINT : ColorOf(accuracy);
        Write(device, flow->screen, text.data(), {SMALL_UNITS, FW_NORMAL, color, DT_SINGLELINE},
            &area);
    }
}

void PaintMarks(const CalibrationFlow* flow, HDC device)
{
    constexpr int REACH_UNITS = 4;
    for (uint32_t mark = 0; mark < MARK_COUNT; ++mark) {
        Cross(device, MarkPlace(flow->screen, mark), Units(flow->screen, REACH_UNITS),
            Units(flow->screen, 1) / 4, INK);
        PaintDistance(flow, mark, device);
    }
}

void PaintButtons(const CalibrationFlow* flow, HDC device)
{
    struct Label {
        PageButton button;
        const WCHAR* name;
        const WCHAR* key;
        COLORREF color;
    };
    const PageTextBuffer retake
        = IsTrying(flow) ? Line(TEXT_RETAKE_BUTTON, WorstTarget(flow) + 1) : PageTextBuffer{};
    for (const Label& label :
        {Label{PageButton::SAVE,
             flow->step == FlowStep::ASKING ? TEXT_REPLACE_BUTTON : TEXT_SAVE_BUTTON, TEXT_SAVE_KEY,
             IsDoubtful(flow) ? AMBER : GREEN},
            Label{PageButton::TRY, TEXT_TRY_BUTTON, TEXT_TRY_KEY, BLUE},
            Label{PageButton::AGAIN, TEXT_AGAIN_BUTTON, TEXT_AGAIN_KEY, BLUE},
            Label{PageButton::CANCEL, TEXT_CANCEL_BUTTON, TEXT_CANCEL_KEY, FAINT},
            Label{PageButton::RETAKE, retake.data(), TEXT_RETAKE_KEY, BLUE},
            Label{PageButton::UNDO, TEXT_UNDO_BUTTON, TEXT_UNDO_KEY, FAINT}}) {
        if (!HasButton(flow, label.button))
            continue;
        RECT area = ButtonArea(flow->screen, label.button);
        const bool pressed = flow->touching && flow->pressed == label.button;
        RoundBar(device, area, Units(flow->screen, 3), pressed ? INK : label.color);
        const int lines = flow->hasKeyboard ? WORDS_UNITS + SMALL_UNITS : WORDS_UNITS;
        // with the space between lines
        area.top += (area.bottom - area.top - Units(flow->screen, lines * 6) / 5) / 2;
        Write(device, flow->screen, label.name, {WORDS_UNITS, FW_BOLD, WHITE_PAPER, DT_WORDBREAK},
            &area);
        if (flow->hasKeyboard)
            Write(device, flow->screen, label.key,
                {SMALL_UNITS, FW_NORMAL, WHITE_PAPER, DT_SINGLELINE}, &area);
    }
}

// Writes the seconds that are left; false while none are counted down.
bool PaintCountdown(const CalibrationFlow* flow, HDC device, RECT* area)
{
    if (flow->secondsLeft == 0 || IsOver(flow))
        return false;
    const PageTextBuffer line = Line(TEXT_CLOSING, flow->secondsLeft);
    Write(device, flow->screen, line.data(), {SMALL_UNITS, FW_BOLD, RED, DT_WORDBREAK}, area);
    return true;
}

// The file of a result, after the seconds that are left.
void PaintFooter(const CalibrationFlow* flow, const PageWords* words, HDC device)
{
    RECT area = FooterArea(flow->screen);
    PaintCountdown(flow, device, &area);
    const PageTextBuffer line = Line(TEXT_FILE, words->file.path.data());
    if (words->file.path[0] != 0)
        Write(device, flow->screen, IsOver(flow) ? words->file.path.data() : line.data(),
            {SMALL_UNITS, FW_NORMAL, FAINT, DT_SINGLELINE | DT_PATH_ELLIPSIS}, &area);
}

COLORREF TitleColor(const CalibrationFlow* flow)
{
    const CalibrationTargets* targets = &flow->targets;
    if (flow->step == FlowStep::IMPOSSIBLE || flow->step == FlowStep::ASKING
        || flow->step == FlowStep::NOT_SAVED || flow->step == FlowStep::NOT_UNDONE
        || LossOf(flow) != PanelLoss::NONE)
        return RED;
    if (flow->step == FlowStep::TRYING)
        return IsDoubtful(flow) ? RED : ColorOf(AccuracyOf(flow, DistanceOff(flow)));
    if (flow->step == FlowStep::SAVED || flow->step == FlowStep::UNDONE
        || (flow->step == FlowStep::MEASURING && targets->step == TargetStep::TAKEN))
        return GREEN;
    return flow->step == FlowStep::MEASURING && targets->reason != RetakeReason::NONE
            && targets->step != TargetStep::SAMPLING
        ? RED
        : INK;
}

} // namespace

const WCHAR* ReasonText(RetakeReason reason)
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

PageText DescribeStep(const CalibrationFlow* flow, const PageWords* words)
{
    if (LossOf(flow) != PanelLoss::NONE && !IsOver(flow))
        return LossOf(flow) == PanelLoss::PORT ? MakeText(TEXT_GONE, TEXT_GONE_MORE)
                                               : MakeText(TEXT_NO_RUNTIME, TEXT_NO_RUNTIME_MORE);
    switch (flow->step) {
    case FlowStep::SEARCHING:
        return MakeText(TEXT_SEARCHING, TEXT_SEARCHING_MORE);
    case FlowStep::NONE_FOUND:
        return {Line(TEXT_NONE_FOUND), Line(TEXT_NONE_FOUND_MORE, words->noneFound.data())};
    case FlowStep::MEASURING:
        return DescribeTarget(&flow->targets);
    case FlowStep::IMPOSSIBLE:
        return {
            Line(TEXT_MISFIT), Line(TEXT_MISFIT_MORE, FaultText(flow->targets.judgement.fault))};
    case FlowStep::TRYING:
        return DescribeResult(flow);
    case FlowStep::ASKING:
        return {Line(TEXT_ASK), Line(TEXT_ASK_MORE, words->file.other.data())};
    case FlowStep::NOT_SAVED:
        return MakeText(TEXT_NOT_SAVED, words->reason.data());
    case FlowStep::NOT_UNDONE:
        return MakeText(TEXT_NOT_UNDONE, words->reason.data());
    case FlowStep::SAVED:
        return MakeText(TEXT_SAVED, TEXT_SAVED_MORE);
    case FlowStep::UNDONE:
        return MakeText(TEXT_UNDONE, TEXT_UNDONE_MORE);
    default:
        return MakeText(TEXT_LEFT, TEXT(""));
    }
}

void PaintPage(const CalibrationFlow* flow, const PageWords* words, HDC device)
{
    PrepareDevice(device);
    const PageText text = DescribeStep(flow, words);
    RECT head = HeadArea(flow->screen, IsTrying(flow));
    Write(device, flow->screen, words->panel.data(),
        {SMALL_UNITS, FW_NORMAL, FAINT, DT_SINGLELINE | DT_PATH_ELLIPSIS}, &head);
    Write(device, flow->screen, text.title.data(),
        {TITLE_UNITS, FW_BOLD, TitleColor(flow), DT_WORDBREAK}, &head);
    head.top += Units(flow->screen, 1);
    Write(
        device, flow->screen, text.more.data(), {WORDS_UNITS, FW_NORMAL, INK, DT_WORDBREAK}, &head);
    const bool hasResult = IsTrying(flow) || IsOver(flow);
    RECT count = CountArea(flow->screen);
    const bool isCounting = !hasResult && PaintCountdown(flow, device, &count);
    if (flow->step == FlowStep::MEASURING && LossOf(flow) == PanelLoss::NONE) {
        if (!isCounting)
            PaintCount(flow, device, &count);
        PaintDots(flow, device);
        PaintTarget(flow, device);
    }
    if (IsTrying(flow)) {
        PaintResiduals(flow, device);
        PaintMarks(flow, device);
    }
    PaintButtons(flow, device);
    if (hasResult)
        PaintFooter(flow, words, device);
}

void PaintRing(const CalibrationFlow* flow, HDC device)
{
    PrepareDevice(device);
    PaintTarget(flow, device);
    const POINT dot = DotPlace(flow->screen, flow->targets.current, flow->targets.calib.pointCount);
    Sector(device, dot, DotRadius(flow->screen), flow->targets.progress, BLUE);
}

void PaintTouch(const CalibrationFlow* flow, HDC device)
{
    PrepareDevice(device);
    if (flow->pressed != PageButton::NONE) {
        PaintButtons(flow, device);
        return;
    }
    Disc(device, flow->touch, Units(flow->screen, 1) / 2, BLUE);
    for (uint32_t mark = 0; mark < MARK_COUNT; ++mark)
        PaintDistance(flow, mark, device);
}

} // namespace korvex
