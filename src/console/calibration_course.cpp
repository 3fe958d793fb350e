#include "console/calibration_course.h"

#include <algorithm>
#include <cmath>

#include "calibration/mapping.h"

namespace korvex {

namespace {

CourseTasks Leave(CalibrationCourse* course)
{
    const CourseTasks tasks = IsTrying(course) ? TASK_TAKE_BACK : 0;
    course->step = CourseStep::LEFT;
    return tasks | TASK_SHOW | TASK_END;
}

// Begins with the first target, for whichever panel is touched.
CourseTasks StartTargets(CalibrationCourse* course)
{
    const CourseTasks tasks = IsTrying(course) ? TASK_TAKE_BACK : 0;
    course->step = CourseStep::GUIDING;
    const uint32_t bits
        = course->panel == NO_PANEL ? 0 : course->panels[course->panel].resolutionBits;
    StartGuide(&course->guide, course->targetCount, bits);
    return tasks | TASK_SHOW;
}

CourseTasks FinishTargets(CalibrationCourse* course, uint32_t nowMs)
{
    course->touching = false;
    course->pressed = PageButton::NONE;
    course->distances.fill(-1);
    if (course->guide.step == GuideStep::MISFIT) {
        course->step = CourseStep::MISFIT;
        return course->savesUnasked ? TASK_BELL | Leave(course) : TASK_BELL | TASK_SHOW;
    }
    course->step = CourseStep::TRYING;
    course->tried = course->panel;
    course->attemptedMs = nowMs;
    return TASK_ATTEMPT | TASK_BELL | TASK_SHOW | (course->savesUnasked ? TASK_STORE : 0);
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

double DistanceOf(POINT mark, double x, double y)
{
    return std::hypot(x - mark.x, y - mark.y);
}

// A touch means the button or the mark that it begins at.
void BeginFreeTouch(CalibrationCourse* course)
{
    course->touching = true;
    course->pressed = ButtonAt(course->screen, course->touch);
    course->touchSumX = course->touchSumY = 0;
    course->touchCount = 0;
    course->mark = 0;
    const auto isMeant = [course](POINT mark) {
        return DistanceOf(mark, course->touch.x, course->touch.y) <= MarkReach(course->screen);
    };
    while (course->mark < MARK_COUNT && !isMeant(MarkPlace(course->screen, course->mark)))
        ++course->mark;
}

// What counts is the middle of all its reports, for a panel is noisy, unless the finger leaves the
// mark.
CourseTasks MeasureFreeTouch(CalibrationCourse* course)
{
    if (course->mark == MARK_COUNT)
        return TASK_SHOW_TOUCH;
    const POINT place = MarkPlace(course->screen, course->mark);
    double* distance = &course->distances[course->mark];
    if (DistanceOf(place, course->touch.x, course->touch.y) > MarkReach(course->screen)) {
        *distance = -1;
        course->mark = MARK_COUNT;
        return TASK_SHOW;
    }
    course->touchSumX += course->touch.x;
    course->touchSumY += course->touch.y;
    ++course->touchCount;
    *distance = DistanceOf(place, static_cast<double>(course->touchSumX) / course->touchCount,
        static_cast<double>(course->touchSumY) / course->touchCount);
    return TASK_SHOW_TOUCH;
}

// A touch under the new points: it presses a button where it begins and ends on one, and is
// measured elsewhere.
CourseTasks TakeFreeReport(CalibrationCourse* course, Point raw, bool touching, uint32_t nowMs)
{
    if (touching) {
        Point mapped = raw;
        MapPoint(&course->guide.calib, &mapped);
        course->touch = PixelOf(course->screen, {mapped.x, mapped.y});
        if (!course->touching)
            BeginFreeTouch(course);
        return MeasureFreeTouch(course);
    }
    if (!course->touching)
        return 0;
    course->touching = false;
    const PageButton pressed = course->pressed;
    course->pressed = PageButton::NONE;
    if (pressed == PageButton::NONE)
        return 0; // what it has left on the page stays
    return ButtonAt(course->screen, course->touch) == pressed ? PressButton(course, pressed, nowMs)
                                                              : TASK_SHOW;
}

// Whether another panel may become the one that is calibrated: while the first target waits, and in
// place of one that is gone.
bool IsPanelOpen(const CalibrationCourse* course)
{
    const bool isFirst = course->guide.target == 0 && course->guide.retaken == 0
        && course->guide.step == GuideStep::WAITING;
    return course->panel == NO_PANEL || IsPanelGone(course)
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
    if (panel >= MAX_PANELS || course->step == CourseStep::SAVED
        || course->step == CourseStep::LEFT)
        return 0;
    course->panels[panel] = {true, false, resolutionBits};
    const bool isFirst
        = course->step == CourseStep::SEARCHING || course->step == CourseStep::NOBODY;
    if (!isFirst && panel != course->panel)
        return TASK_SHOW;
    course->lastActionMs = nowMs;
    return StartTargets(course);
}

CourseTasks LosePanel(CalibrationCourse* course, uint32_t panel)
{
    if (panel >= MAX_PANELS)
        return 0;
    course->panels[panel].gone = true;
    if (panel == course->panel) {
        ForgetGuideTouch(&course->guide);
        course->touching = false;
    }
    return TASK_SHOW;
}

CourseTasks RegainPanel(CalibrationCourse* course, uint32_t panel, uint32_t nowMs)
{
    if (panel >= MAX_PANELS)
        return 0;
    course->panels[panel].gone = false;
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

CourseTasks TakeReport(
    CalibrationCourse* course, uint32_t panel, Point raw, bool touching, uint32_t nowMs)
{
    const bool isOver = course->step == CourseStep::SAVED || course->step == CourseStep::LEFT;
    if (panel >= MAX_PANELS || !course->panels[panel].known || isOver)
        return 0;
    CourseTasks tasks = 0;
    if (touching && IsPanelOpen(course) && panel != course->panel) {
        course->panel = panel;
        tasks = StartTargets(course);
    }
    if (panel != course->panel)
        return 0;
    if (touching)
        course->lastActionMs = nowMs;
    switch (course->step) {
    case CourseStep::GUIDING:
        return tasks | TakeTargetReport(course, raw, touching, nowMs);
    case CourseStep::MISFIT:
        if (touching)
            course->touching = true;
        return !touching && course->touching ? StartTargets(course) : 0;
    case CourseStep::TRYING:
    case CourseStep::NOT_SAVED:
        return TakeFreeReport(course, raw, touching, nowMs);
    default:
        return 0;
    }
}

CourseTasks PressButton(CalibrationCourse* course, PageButton button, uint32_t nowMs)
{
    course->lastActionMs = nowMs;
    if (!HasButton(course, button))
        return 0;
    switch (button) {
    case PageButton::SAVE:
        return TASK_STORE;
    case PageButton::AGAIN:
        return StartTargets(course);
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

CourseTasks TakeTime(CalibrationCourse* course, uint32_t nowMs)
{
    if (course->step == CourseStep::SAVED)
        return nowMs - course->savedMs >= SAVED_SHOWN_MS ? TASK_END : 0;
    if (course->step == CourseStep::LEFT)
        return 0;
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
    return course->step == CourseStep::TRYING || course->step == CourseStep::NOT_SAVED;
}

bool HasButton(const CalibrationCourse* course, PageButton button)
{
    switch (button) {
    case PageButton::SAVE:
        return IsTrying(course);
    case PageButton::AGAIN:
        return IsTrying(course) || course->step == CourseStep::MISFIT;
    case PageButton::CANCEL:
        return course->step != CourseStep::SAVED && course->step != CourseStep::LEFT;
    default:
        return false;
    }
}

bool IsPanelGone(const CalibrationCourse* course)
{
    if (course->panel != NO_PANEL)
        return course->panels[course->panel].gone;
    const auto isThere = [](const CoursePanel& panel) { return panel.known && !panel.gone; };
    const auto isKnown = [](const CoursePanel& panel) { return panel.known; };
    return std::any_of(course->panels.begin(), course->panels.end(), isKnown)
        && std::none_of(course->panels.begin(), course->panels.end(), isThere);
}

double ResidualPixels(const CalibrationCourse* course, uint32_t target)
{
    const Point first = GuideTargetPlace(&course->guide, 0);
    const Point last = GuideTargetPlace(&course->guide,
        course->guide.calib.pointCount == 4 ? 2 : course->guide.calib.pointCount - 1);
    const POINT low = PixelOf(course->screen, {first.x, first.y});
    const POINT high = PixelOf(course->screen, {last.x, last.y});
    const Residual residual = course->guide.judgement.residuals[target];
    return std::hypot(residual.x / 100 * (high.x - low.x), residual.y / 100 * (high.y - low.y));
}

} // namespace korvex
