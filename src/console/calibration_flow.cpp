#include "console/calibration_flow.h"

#include <algorithm>
#include <cmath>

#include "calibration/mapping.h"

namespace korvex {

namespace {

constexpr int32_t MAX_PLACE = 65535; // output units
constexpr uint32_t TAP_REPORTS = 3;  // fewer can be noise
constexpr uint32_t ASKING_MS = 1000; // in which a second press of Save is none, but a bounce
constexpr uint32_t EDGE_REPORTS = 5; // that show where a touch begins and ends
constexpr std::array ACCURACY_PERCENT{0.5, 1.0, 2.0}; // of VERY_GOOD, GOOD and FAIR

FlowTasks Leave(CalibrationFlow* flow)
{
    const FlowTasks tasks = IsTrying(flow) ? TASK_REVERT : 0;
    flow->step = FlowStep::UNCHANGED;
    return tasks | TASK_SHOW | TASK_END;
}

void ForgetTouch(CalibrationFlow* flow)
{
    flow->touching = false;
    flow->pressed = PageButton::NONE;
}

// A finger that rests on the panel must be lifted before it can touch a target.
void AwaitLift(CalibrationFlow* flow)
{
    if (flow->touching)
        flow->targets.step = TargetStep::LIFTING;
    ForgetTouch(flow);
}

// Begins with the first target, for whichever panel is touched.
FlowTasks MeasureTargets(CalibrationFlow* flow)
{
    const FlowTasks tasks = IsTrying(flow) ? TASK_REVERT : 0;
    flow->step = FlowStep::MEASURING;
    const uint32_t bits = flow->panel == NO_PANEL ? 0 : flow->panels[flow->panel].resolutionBits;
    StartTargets(&flow->targets, flow->targetCount, bits);
    AwaitLift(flow);
    return tasks | TASK_SHOW;
}

FlowTasks JudgeTargets(CalibrationFlow* flow, uint32_t nowMs)
{
    ForgetTouch(flow);
    flow->distances.fill(-1);
    const bool cannotBe = flow->targets.step == TargetStep::MISFIT && !IsDoubtful(flow);
    if (cannotBe)
        flow->step = FlowStep::IMPOSSIBLE;
    const bool mayStore = flow->accepts || !(IsDoubtful(flow) || flow->overwritesOtherPanel);
    if (flow->savesUnasked && (cannotBe || !mayStore))
        return TASK_BELL | Leave(flow);
    if (cannotBe)
        return TASK_BELL | TASK_SHOW;
    flow->step = FlowStep::TRYING;
    flow->tried = flow->panel;
    flow->triedMs = nowMs;
    return TASK_TRY | TASK_BELL | TASK_SHOW | (flow->savesUnasked ? TASK_SAVE : 0);
}

// The places where the touch began and where it is now, in output units: any single report may be
// an outlier.
Point StartOf(const TouchSamples* samples)
{
    return RestingPlace(samples, 0, std::min(samples->count, EDGE_REPORTS), 0);
}

Point EndOf(const TouchSamples* samples)
{
    return RestingPlace(
        samples, samples->count - std::min(samples->count, EDGE_REPORTS), samples->count, 0);
}

PageButton ButtonAtPlace(const CalibrationFlow* flow, Point place)
{
    return ShownButtonAt(flow, PixelOf(flow->screen, place));
}

// A report of a touch: where it is mapped to.
void AddPlace(CalibrationFlow* flow, Point place)
{
    if (!flow->touching)
        flow->samples.count = 0;
    flow->touching = true;
    AddSample(
        &flow->samples, {std::clamp(place.x, 0, MAX_PLACE), std::clamp(place.y, 0, MAX_PLACE)});
    flow->pressed = ButtonAtPlace(flow, StartOf(&flow->samples));
}

// The end of a touch: the button that it has pressed, where it began and ended on one.
PageButton HandleLift(CalibrationFlow* flow)
{
    const bool isTap = flow->touching && flow->samples.count >= TAP_REPORTS
        && ButtonAtPlace(flow, EndOf(&flow->samples)) == flow->pressed;
    const PageButton pressed = isTap ? flow->pressed : PageButton::NONE;
    ForgetTouch(flow);
    return pressed;
}

// Cancel or Try, where the report ends a tap on it, which is no touch of a target: too short, and
// off all of them, by the panel's own calibration. Else NONE.
PageButton LeavingButton(CalibrationFlow* flow, Point mapped, bool touching)
{
    if (touching) {
        AddPlace(flow, mapped);
        return PageButton::NONE;
    }
    const bool isShort
        = flow->step != FlowStep::MEASURING || flow->targets.step == TargetStep::SAMPLING;
    const PageButton pressed = HandleLift(flow);
    return isShort && (pressed == PageButton::CANCEL || pressed == PageButton::TRY)
        ? pressed
        : PageButton::NONE;
}

FlowTasks HandleMeasuredReport(CalibrationFlow* flow, Point raw, bool touching, uint32_t nowMs)
{
    switch (HandleTargetReport(&flow->targets, raw, touching, nowMs)) {
    case TargetChange::NONE:
        return 0;
    case TargetChange::PROGRESS:
        return TASK_SHOW_RING;
    case TargetChange::TAKEN:
    case TargetChange::REFUSED:
        return TASK_BELL | TASK_SHOW;
    case TargetChange::FINISHED:
        return JudgeTargets(flow, nowMs);
    default:
        return TASK_SHOW;
    }
}

double DistanceOf(POINT screen, POINT mark, Point place)
{
    return std::hypot(place.x * double(screen.x) / (MAX_PLACE + 1) - mark.x,
        place.y * double(screen.y) / (MAX_PLACE + 1) - mark.y);
}

// The mark within whose reach the place is; MARK_COUNT: none.
uint32_t MarkAt(const CalibrationFlow* flow, Point place)
{
    uint32_t mark = 0;
    while (mark < MARK_COUNT
        && DistanceOf(flow->screen, MarkPlace(flow->screen, mark), place)
            > RingRadius(flow->screen))
        ++mark;
    return mark;
}

// A touch of a mark is where the finger rests, unless it leaves the mark.
FlowTasks MeasureMark(CalibrationFlow* flow)
{
    const uint32_t before = flow->mark;
    flow->mark = MarkAt(flow, StartOf(&flow->samples));
    if (flow->mark == MARK_COUNT)
        return TASK_SHOW_TOUCH;
    double* distance = &flow->distances[flow->mark];
    if (MarkAt(flow, EndOf(&flow->samples)) != flow->mark) {
        const bool left = *distance >= 0;
        *distance = -1;
        return left ? TASK_SHOW : TASK_SHOW_TOUCH;
    }
    *distance = DistanceOf(flow->screen, MarkPlace(flow->screen, flow->mark),
        RestingPlace(&flow->samples, 0, flow->samples.count, 0));
    return before == flow->mark && flow->touching ? TASK_SHOW_TOUCH : TASK_SHOW;
}

// A touch under the new points: it presses a button where it begins and ends on one, and is
// measured elsewhere.
FlowTasks HandleFreeReport(CalibrationFlow* flow, Point raw, bool touching, uint32_t nowMs)
{
    if (touching) {
        Point mapped = raw;
        MapPoint(&flow->targets.calib, &mapped);
        if (!flow->touching)
            flow->mark = MARK_COUNT;
        AddPlace(flow, mapped);
        flow->touch = PixelOf(flow->screen, mapped);
        const bool isMark
            = flow->pressed == PageButton::NONE && flow->samples.count >= EDGE_REPORTS;
        return isMark ? MeasureMark(flow) : TASK_SHOW_TOUCH;
    }
    if (!flow->touching)
        return 0;
    const bool isMark = flow->pressed == PageButton::NONE && flow->samples.count >= TAP_REPORTS;
    if (const PageButton pressed = HandleLift(flow); pressed != PageButton::NONE)
        return PressButton(flow, pressed, nowMs);
    return isMark ? MeasureMark(flow) : TASK_SHOW;
}

// Whether another panel may become the one that is calibrated: while the first target waits, and in
// place of one that is gone.
bool IsPanelOpen(const CalibrationFlow* flow)
{
    const bool isFirst = flow->targets.current == 0 && flow->targets.asked == 0
        && flow->targets.step == TargetStep::WAITING;
    return flow->panel == NO_PANEL || LossOf(flow) != PanelLoss::NONE
        || (flow->step == FlowStep::MEASURING && isFirst);
}

} // namespace

void StartFlow(CalibrationFlow* flow, uint32_t targetCount, POINT screen, uint32_t nowMs)
{
    *flow = {};
    flow->step = FlowStep::SEARCHING;
    flow->targetCount = targetCount == 4 ? 4 : MAX_TARGETS;
    flow->screen = screen;
    flow->panel = NO_PANEL;
    flow->lastActionMs = nowMs;
}

FlowTasks AddPanel(CalibrationFlow* flow, uint32_t panel, uint32_t resolutionBits, uint32_t nowMs)
{
    if (panel >= MAX_PANELS || IsOver(flow))
        return 0;
    flow->panels[panel] = {true, PanelLoss::NONE, resolutionBits};
    const bool isFirst = flow->step == FlowStep::SEARCHING || flow->step == FlowStep::NONE_FOUND;
    if (!isFirst && panel != flow->panel)
        return TASK_SHOW;
    flow->lastActionMs = nowMs;
    return MeasureTargets(flow);
}

FlowTasks LosePanel(CalibrationFlow* flow, uint32_t panel, PanelLoss loss)
{
    if (panel >= MAX_PANELS)
        return 0;
    flow->panels[panel].loss = loss;
    if (panel == flow->panel) {
        ForgetTargetTouch(&flow->targets);
        ForgetTouch(flow);
    }
    return TASK_SHOW;
}

FlowTasks ReturnPanel(CalibrationFlow* flow, uint32_t panel, uint32_t nowMs)
{
    if (panel >= MAX_PANELS)
        return 0;
    flow->panels[panel].loss = PanelLoss::NONE;
    if (panel == flow->panel)
        flow->lastActionMs = nowMs;
    return TASK_SHOW;
}

FlowTasks FinishSearch(CalibrationFlow* flow, uint32_t nowMs)
{
    if (flow->step != FlowStep::SEARCHING && flow->step != FlowStep::NONE_FOUND)
        return 0;
    flow->lastActionMs = nowMs;
    flow->searchedMs = nowMs;
    flow->isSearching = false;
    flow->step = FlowStep::NONE_FOUND;
    return flow->savesUnasked ? TASK_END : TASK_SHOW;
}

FlowTasks HandleReport(
    CalibrationFlow* flow, uint32_t panel, Point raw, Point mapped, bool touching, uint32_t nowMs)
{
    if (panel >= MAX_PANELS || !flow->panels[panel].known || IsOver(flow))
        return 0;
    FlowTasks tasks = 0;
    if (touching && IsPanelOpen(flow) && panel != flow->panel) {
        flow->panel = panel;
        ForgetTouch(flow);
        tasks = MeasureTargets(flow);
    }
    if (panel != flow->panel)
        return 0;
    if (touching)
        flow->lastActionMs = nowMs;
    if (IsTrying(flow))
        return HandleFreeReport(flow, raw, touching, nowMs);
    const bool hasTouched = flow->touching;
    if (const PageButton left = LeavingButton(flow, mapped, touching); left != PageButton::NONE) {
        flow->isTryWanted = left == PageButton::TRY;
        return Leave(flow);
    }
    if (flow->step == FlowStep::MEASURING)
        return tasks | HandleMeasuredReport(flow, raw, touching, nowMs);
    return flow->step == FlowStep::IMPOSSIBLE && !touching && hasTouched ? MeasureTargets(flow) : 0;
}

FlowTasks PressButton(CalibrationFlow* flow, PageButton button, uint32_t nowMs)
{
    flow->lastActionMs = nowMs;
    if (!HasButton(flow, button))
        return 0;
    switch (button) {
    case PageButton::SAVE:
        if (!flow->overwritesOtherPanel)
            return TASK_SAVE;
        if (flow->step == FlowStep::ASKING)
            return nowMs - flow->askedMs >= ASKING_MS ? TASK_SAVE : 0;
        flow->step = FlowStep::ASKING;
        flow->askedMs = nowMs;
        return TASK_SHOW;
    case PageButton::AGAIN:
        return MeasureTargets(flow);
    case PageButton::RETAKE:
        flow->step = FlowStep::MEASURING;
        RetakeTarget(&flow->targets, WorstTarget(flow));
        AwaitLift(flow);
        return TASK_REVERT | TASK_SHOW;
    case PageButton::UNDO:
        return TASK_REVERT | TASK_UNDO;
    default:
        flow->isTryWanted = button == PageButton::TRY;
        return Leave(flow);
    }
}

FlowTasks FinishSave(CalibrationFlow* flow, bool stored, uint32_t nowMs)
{
    flow->step = stored ? FlowStep::SAVED : FlowStep::NOT_SAVED;
    flow->savedMs = nowMs;
    if (stored)
        return TASK_BELL | TASK_SHOW | (flow->savesUnasked ? TASK_END : 0);
    return flow->savesUnasked ? Leave(flow) : TASK_SHOW;
}

FlowTasks FinishUndo(CalibrationFlow* flow, bool undone, uint32_t nowMs)
{
    flow->step = undone ? FlowStep::UNDONE : FlowStep::NOT_UNDONE;
    flow->savedMs = nowMs;
    return undone ? TASK_BELL | TASK_SHOW : TASK_TRY | TASK_SHOW;
}

FlowTasks HandleTime(CalibrationFlow* flow, uint32_t nowMs)
{
    if (flow->step == FlowStep::UNCHANGED)
        return 0;
    if (IsOver(flow))
        return nowMs - flow->savedMs >= SAVED_SHOWN_MS ? TASK_END : 0;
    if (flow->step == FlowStep::NONE_FOUND) {
        if (flow->isSearching || nowMs - flow->searchedMs < SEARCH_INTERVAL_MS)
            return 0;
        flow->isSearching = true;
        return TASK_SEARCH;
    }
    const uint32_t idle = nowMs - flow->lastActionMs;
    if (flow->step == FlowStep::SEARCHING && idle < SEARCH_PATIENCE_MS)
        return 0;
    if (idle >= PATIENCE_MS)
        return Leave(flow);
    const uint32_t left = (PATIENCE_MS - idle + 999) / 1000;
    const uint32_t shown = left <= LAST_SECONDS ? left : 0;
    const bool changed = shown != flow->secondsLeft;
    flow->secondsLeft = shown;
    const bool attempts = IsTrying(flow) && nowMs - flow->triedMs >= TRY_INTERVAL_MS;
    if (attempts)
        flow->triedMs = nowMs;
    return (changed ? TASK_SHOW : 0) | (attempts ? TASK_TRY : 0);
}

bool IsTrying(const CalibrationFlow* flow)
{
    return flow->step == FlowStep::TRYING || flow->step == FlowStep::ASKING
        || flow->step == FlowStep::NOT_SAVED || flow->step == FlowStep::NOT_UNDONE;
}

bool IsOver(const CalibrationFlow* flow)
{
    return flow->step == FlowStep::SAVED || flow->step == FlowStep::UNDONE
        || flow->step == FlowStep::UNCHANGED;
}

bool IsDoubtful(const CalibrationFlow* flow)
{
    return flow->targets.step == TargetStep::MISFIT
        && flow->targets.judgement.fault == PointsFault::UNEVEN;
}

bool HasButton(const CalibrationFlow* flow, PageButton button)
{
    switch (button) {
    case PageButton::SAVE:
        return IsTrying(flow);
    case PageButton::RETAKE: // each of four is as far off as the others
        return IsTrying(flow) && flow->targets.calib.pointCount != 4;
    case PageButton::AGAIN:
        return IsTrying(flow) || flow->step == FlowStep::IMPOSSIBLE;
    case PageButton::UNDO:
        return IsTrying(flow) && flow->canUndo;
    case PageButton::CANCEL:
        return !IsOver(flow);
    case PageButton::TRY: // before the first target; also while it is being touched
        return flow->step == FlowStep::MEASURING && !flow->savesUnasked
            && flow->targets.current == 0 && flow->targets.asked == 0;
    default:
        return false;
    }
}

PageButton ShownButtonAt(const CalibrationFlow* flow, POINT place)
{
    PageButton button = ButtonAt(flow->screen, place);
    if (button == PageButton::SAVE && HasButton(flow, PageButton::TRY))
        button = PageButton::TRY;
    return HasButton(flow, button) ? button : PageButton::NONE;
}

PanelLoss LossOf(const CalibrationFlow* flow)
{
    if (flow->panel != NO_PANEL)
        return flow->panels[flow->panel].loss;
    PanelLoss loss = PanelLoss::NONE;
    for (const FlowPanel& panel : flow->panels) {
        if (panel.known && panel.loss == PanelLoss::NONE)
            return PanelLoss::NONE;
        loss = panel.known ? panel.loss : loss;
    }
    return loss;
}

double ResidualPixels(const CalibrationFlow* flow, uint32_t target)
{
    const Residual residual = flow->targets.judgement.residuals[target];
    return std::hypot(residual.x / 100 * flow->screen.x, residual.y / 100 * flow->screen.y);
}

uint32_t WorstTarget(const CalibrationFlow* flow)
{
    if (flow->targets.judgement.outlier != NO_TARGET)
        return flow->targets.judgement.outlier;
    uint32_t worst = 0;
    for (uint32_t target = 1; target < flow->targets.calib.pointCount; ++target) {
        if (ResidualPixels(flow, target) > ResidualPixels(flow, worst))
            worst = target;
    }
    return worst;
}

bool HasTouchedMarks(const CalibrationFlow* flow)
{
    return std::any_of(flow->distances.begin(), flow->distances.end(),
        [](double distance) { return distance >= 0; });
}

double DistanceOff(const CalibrationFlow* flow)
{
    return HasTouchedMarks(flow) ? *std::max_element(flow->distances.begin(), flow->distances.end())
                                 : ResidualPixels(flow, WorstTarget(flow));
}

Accuracy AccuracyOf(const CalibrationFlow* flow, double pixels)
{
    const double percent = 100 * pixels / std::min(flow->screen.x, flow->screen.y);
    const auto* limit = std::find_if(ACCURACY_PERCENT.begin(), ACCURACY_PERCENT.end(),
        [percent](double most) { return percent <= most; });
    return static_cast<Accuracy>(limit - ACCURACY_PERCENT.begin());
}

} // namespace korvex
