#include "console/calibration_course.h"

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

CourseTasks Leave(CalibrationCourse* course)
{
    const CourseTasks tasks = IsTrying(course) ? TASK_TAKE_BACK : 0;
    course->step = CourseStep::LEFT;
    return tasks | TASK_SHOW | TASK_END;
}

void ForgetTouch(CalibrationCourse* course)
{
    course->touching = false;
    course->pressed = PageButton::NONE;
}

// A finger that rests on the panel must be lifted before it can touch a target.
void AwaitLift(CalibrationCourse* course)
{
    if (course->touching)
        course->guide.step = GuideStep::LIFTING;
    ForgetTouch(course);
}

// Begins with the first target, for whichever panel is touched.
CourseTasks StartTargets(CalibrationCourse* course)
{
    const CourseTasks tasks = IsTrying(course) ? TASK_TAKE_BACK : 0;
    course->step = CourseStep::GUIDING;
    const uint32_t bits
        = course->panel == NO_PANEL ? 0 : course->panels[course->panel].resolutionBits;
    StartGuide(&course->guide, course->targetCount, bits);
    AwaitLift(course);
    return tasks | TASK_SHOW;
}

CourseTasks FinishTargets(CalibrationCourse* course, uint32_t nowMs)
{
    ForgetTouch(course);
    course->distances.fill(-1);
    const bool cannotBe = course->guide.step == GuideStep::MISFIT && !IsDoubtful(course);
    if (cannotBe)
        course->step = CourseStep::MISFIT;
    const bool mayStore = course->accepts || !(IsDoubtful(course) || course->replacesAnother);
    if (course->savesUnasked && (cannotBe || !mayStore))
        return TASK_BELL | Leave(course);
    if (cannotBe)
        return TASK_BELL | TASK_SHOW;
    course->step = CourseStep::TRYING;
    course->tried = course->panel;
    course->attemptedMs = nowMs;
    return TASK_ATTEMPT | TASK_BELL | TASK_SHOW | (course->savesUnasked ? TASK_STORE : 0);
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

PageButton ButtonAtPlace(const CalibrationCourse* course, Point place)
{
    const PageButton button = ButtonAt(course->screen, PixelOf(course->screen, place));
    return HasButton(course, button) ? button : PageButton::NONE;
}

// A report of a touch: where it is mapped to.
void TakePlace(CalibrationCourse* course, Point place)
{
    if (!course->touching)
        course->samples.count = 0;
    course->touching = true;
    AddSample(
        &course->samples, {std::clamp(place.x, 0, MAX_PLACE), std::clamp(place.y, 0, MAX_PLACE)});
    course->pressed = ButtonAtPlace(course, StartOf(&course->samples));
}

// The end of a touch: the button that it has pressed, where it began and ended on one.
PageButton TakeLift(CalibrationCourse* course)
{
    const bool isTap = course->touching && course->samples.count >= TAP_REPORTS
        && ButtonAtPlace(course, EndOf(&course->samples)) == course->pressed;
    const PageButton pressed = isTap ? course->pressed : PageButton::NONE;
    ForgetTouch(course);
    return pressed;
}

// Whether the report ends a tap on Cancel, which is no touch of a target: too short, and off all of
// them, by the panel's own calibration.
bool IsCancelled(CalibrationCourse* course, Point mapped, bool touching)
{
    if (touching) {
        TakePlace(course, mapped);
        return false;
    }
    const bool isShort
        = course->step != CourseStep::GUIDING || course->guide.step == GuideStep::SAMPLING;
    return TakeLift(course) == PageButton::CANCEL && isShort;
}

CourseTasks TakeTargetReport(CalibrationCourse* course, Point raw, bool touching, uint32_t nowMs)
{
    switch (TakeGuideReport(&course->guide, raw, touching, nowMs)) {
    case GuideChange::NONE:
        return 0;
    case GuideChange::PROGRESS:
        return TASK_SHOW_RING;
    case GuideChange::TAKEN:
    case GuideChange::REFUSED:
        return TASK_BELL | TASK_SHOW;
    case GuideChange::FINISHED:
        return FinishTargets(course, nowMs);
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
uint32_t MarkAt(const CalibrationCourse* course, Point place)
{
    uint32_t mark = 0;
    while (mark < MARK_COUNT
        && DistanceOf(course->screen, MarkPlace(course->screen, mark), place)
            > RingRadius(course->screen))
        ++mark;
    return mark;
}

// A touch of a mark is where the finger rests, unless it leaves the mark.
CourseTasks MeasureMark(CalibrationCourse* course)
{
    const uint32_t before = course->mark;
    course->mark = MarkAt(course, StartOf(&course->samples));
    if (course->mark == MARK_COUNT)
        return TASK_SHOW_TOUCH;
    double* distance = &course->distances[course->mark];
    if (MarkAt(course, EndOf(&course->samples)) != course->mark) {
        const bool left = *distance >= 0;
        *distance = -1;
        return left ? TASK_SHOW : TASK_SHOW_TOUCH;
    }
    *distance = DistanceOf(course->screen, MarkPlace(course->screen, course->mark),
        RestingPlace(&course->samples, 0, course->samples.count, 0));
    return before == course->mark && course->touching ? TASK_SHOW_TOUCH : TASK_SHOW;
}

// A touch under the new points: it presses a button where it begins and ends on one, and is
// measured elsewhere.
CourseTasks TakeFreeReport(CalibrationCourse* course, Point raw, bool touching, uint32_t nowMs)
{
    if (touching) {
        Point mapped = raw;
        MapPoint(&course->guide.calib, &mapped);
        if (!course->touching)
            course->mark = MARK_COUNT;
        TakePlace(course, mapped);
        course->touch = PixelOf(course->screen, mapped);
        const bool isMark
            = course->pressed == PageButton::NONE && course->samples.count >= EDGE_REPORTS;
        return isMark ? MeasureMark(course) : TASK_SHOW_TOUCH;
    }
    if (!course->touching)
        return 0;
    const bool isMark = course->pressed == PageButton::NONE && course->samples.count >= TAP_REPORTS;
    if (const PageButton pressed = TakeLift(course); pressed != PageButton::NONE)
        return PressButton(course, pressed, nowMs);
    return isMark ? MeasureMark(course) : TASK_SHOW;
}

// Whether another panel may become the one that is calibrated: while the first target waits, and in
// place of one that is gone.
bool IsPanelOpen(const CalibrationCourse* course)
{
    const bool isFirst = course->guide.target == 0 && course->guide.asked == 0
        && course->guide.step == GuideStep::WAITING;
    return course->panel == NO_PANEL || LossOf(course) != PanelLoss::NONE
        || (course->step == CourseStep::GUIDING && isFirst);
}

} // namespace

void StartCourse(CalibrationCourse* course, uint32_t targetCount, POINT screen, uint32_t nowMs)
{
    *course = {};
    course->step = CourseStep::SEARCHING;
    course->targetCount = targetCount == 4 ? 4 : MAX_TARGETS;
    course->screen = screen;
    course->panel = NO_PANEL;
    course->lastActionMs = nowMs;
}

CourseTasks AddPanel(
    CalibrationCourse* course, uint32_t panel, uint32_t resolutionBits, uint32_t nowMs)
{
    if (panel >= MAX_PANELS || IsOver(course))
        return 0;
    course->panels[panel] = {true, PanelLoss::NONE, resolutionBits};
    const bool isFirst
        = course->step == CourseStep::SEARCHING || course->step == CourseStep::NOBODY;
    if (!isFirst && panel != course->panel)
        return TASK_SHOW;
    course->lastActionMs = nowMs;
    return StartTargets(course);
}

CourseTasks LosePanel(CalibrationCourse* course, uint32_t panel, PanelLoss loss)
{
    if (panel >= MAX_PANELS)
        return 0;
    course->panels[panel].loss = loss;
    if (panel == course->panel) {
        ForgetGuideTouch(&course->guide);
        ForgetTouch(course);
    }
    return TASK_SHOW;
}

CourseTasks RegainPanel(CalibrationCourse* course, uint32_t panel, uint32_t nowMs)
{
    if (panel >= MAX_PANELS)
        return 0;
    course->panels[panel].loss = PanelLoss::NONE;
    if (panel == course->panel)
        course->lastActionMs = nowMs;
    return TASK_SHOW;
}

CourseTasks FinishSearch(CalibrationCourse* course, uint32_t nowMs)
{
    if (course->step != CourseStep::SEARCHING)
        return 0;
    course->lastActionMs = nowMs;
    course->step = CourseStep::NOBODY;
    return course->savesUnasked ? TASK_END : TASK_SHOW;
}

CourseTasks TakeReport(CalibrationCourse* course, uint32_t panel, Point raw, Point mapped,
    bool touching, uint32_t nowMs)
{
    if (panel >= MAX_PANELS || !course->panels[panel].known || IsOver(course))
        return 0;
    CourseTasks tasks = 0;
    if (touching && IsPanelOpen(course) && panel != course->panel) {
        course->panel = panel;
        ForgetTouch(course);
        tasks = StartTargets(course);
    }
    if (panel != course->panel)
        return 0;
    if (touching)
        course->lastActionMs = nowMs;
    if (IsTrying(course))
        return TakeFreeReport(course, raw, touching, nowMs);
    const bool hasTouched = course->touching;
    if (IsCancelled(course, mapped, touching))
        return Leave(course);
    if (course->step == CourseStep::GUIDING)
        return tasks | TakeTargetReport(course, raw, touching, nowMs);
    return course->step == CourseStep::MISFIT && !touching && hasTouched ? StartTargets(course) : 0;
}

CourseTasks PressButton(CalibrationCourse* course, PageButton button, uint32_t nowMs)
{
    course->lastActionMs = nowMs;
    if (!HasButton(course, button))
        return 0;
    switch (button) {
    case PageButton::SAVE:
        if (!course->replacesAnother)
            return TASK_STORE;
        if (course->step == CourseStep::ASKING)
            return nowMs - course->askedMs >= ASKING_MS ? TASK_STORE : 0;
        course->step = CourseStep::ASKING;
        course->askedMs = nowMs;
        return TASK_SHOW;
    case PageButton::AGAIN:
        return StartTargets(course);
    case PageButton::RETAKE:
        course->step = CourseStep::GUIDING;
        RetakeTarget(&course->guide, WorstTarget(course));
        AwaitLift(course);
        return TASK_TAKE_BACK | TASK_SHOW;
    case PageButton::UNDO:
        return TASK_TAKE_BACK | TASK_UNDO;
    default:
        return Leave(course);
    }
}

CourseTasks FinishStore(CalibrationCourse* course, bool stored, uint32_t nowMs)
{
    course->step = stored ? CourseStep::SAVED : CourseStep::NOT_SAVED;
    course->savedMs = nowMs;
    if (stored)
        return TASK_BELL | TASK_SHOW | (course->savesUnasked ? TASK_END : 0);
    return course->savesUnasked ? Leave(course) : TASK_SHOW;
}

CourseTasks FinishUndo(CalibrationCourse* course, bool undone, uint32_t nowMs)
{
    course->step = undone ? CourseStep::UNDONE : CourseStep::NOT_UNDONE;
    course->savedMs = nowMs;
    return undone ? TASK_BELL | TASK_SHOW : TASK_ATTEMPT | TASK_SHOW;
}

CourseTasks TakeTime(CalibrationCourse* course, uint32_t nowMs)
{
    if (course->step == CourseStep::LEFT)
        return 0;
    if (IsOver(course))
        return nowMs - course->savedMs >= SAVED_SHOWN_MS ? TASK_END : 0;
    const uint32_t idle = nowMs - course->lastActionMs;
    if (course->step == CourseStep::SEARCHING && idle < SEARCH_PATIENCE_MS)
        return 0;
    if (idle >= PATIENCE_MS)
        return Leave(course);
    const uint32_t left = (PATIENCE_MS - idle + 999) / 1000;
    const uint32_t shown = left <= LAST_SECONDS ? left : 0;
    const bool changed = shown != course->secondsLeft;
    course->secondsLeft = shown;
    const bool attempts = IsTrying(course) && nowMs - course->attemptedMs >= ATTEMPT_INTERVAL_MS;
    if (attempts)
        course->attemptedMs = nowMs;
    return (changed ? TASK_SHOW : 0) | (attempts ? TASK_ATTEMPT : 0);
}

bool IsTrying(const CalibrationCourse* course)
{
    return course->step == CourseStep::TRYING || course->step == CourseStep::ASKING
        || course->step == CourseStep::NOT_SAVED || course->step == CourseStep::NOT_UNDONE;
}

bool IsOver(const CalibrationCourse* course)
{
    return course->step == CourseStep::SAVED || course->step == CourseStep::UNDONE
        || course->step == CourseStep::LEFT;
}

bool IsDoubtful(const CalibrationCourse* course)
{
    return course->guide.step == GuideStep::MISFIT
        && course->guide.judgement.fault == PointsFault::UNEVEN;
}

bool HasButton(const CalibrationCourse* course, PageButton button)
{
    switch (button) {
    case PageButton::SAVE:
        return IsTrying(course);
    case PageButton::RETAKE: // each of four is as far off as the others
        return IsTrying(course) && course->guide.calib.pointCount != 4;
    case PageButton::AGAIN:
        return IsTrying(course) || course->step == CourseStep::MISFIT;
    case PageButton::UNDO:
        return IsTrying(course) && course->canUndo;
    case PageButton::CANCEL:
        return !IsOver(course);
    default:
        return false;
    }
}

PanelLoss LossOf(const CalibrationCourse* course)
{
    if (course->panel != NO_PANEL)
        return course->panels[course->panel].loss;
    PanelLoss loss = PanelLoss::NONE;
    for (const CoursePanel& panel : course->panels) {
        if (panel.known && panel.loss == PanelLoss::NONE)
            return PanelLoss::NONE;
        loss = panel.known ? panel.loss : loss;
    }
    return loss;
}

double ResidualPixels(const CalibrationCourse* course, uint32_t target)
{
    const Residual residual = course->guide.judgement.residuals[target];
    return std::hypot(residual.x / 100 * course->screen.x, residual.y / 100 * course->screen.y);
}

uint32_t WorstTarget(const CalibrationCourse* course)
{
    if (course->guide.judgement.outlier != NO_TARGET)
        return course->guide.judgement.outlier;
    uint32_t worst = 0;
    for (uint32_t target = 1; target < course->guide.calib.pointCount; ++target) {
        if (ResidualPixels(course, target) > ResidualPixels(course, worst))
            worst = target;
    }
    return worst;
}

bool HasTouchedMarks(const CalibrationCourse* course)
{
    return std::any_of(course->distances.begin(), course->distances.end(),
        [](double distance) { return distance >= 0; });
}

double DistanceOff(const CalibrationCourse* course)
{
    return HasTouchedMarks(course)
        ? *std::max_element(course->distances.begin(), course->distances.end())
        : ResidualPixels(course, WorstTarget(course));
}

Accuracy AccuracyOf(const CalibrationCourse* course, double pixels)
{
    const double percent = 100 * pixels / std::min(course->screen.x, course->screen.y);
    const auto* limit = std::find_if(ACCURACY_PERCENT.begin(), ACCURACY_PERCENT.end(),
        [percent](double most) { return percent <= most; });
    return static_cast<Accuracy>(limit - ACCURACY_PERCENT.begin());
}

} // namespace korvex
