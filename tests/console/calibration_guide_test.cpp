// The course of a calibration, touch by touch, and how exact its result is. Runs on Windows too.

#include "console/calibration_guide.h"

#include <cmath>
#include <random>

#include "calibration/mapping.h"
#include "testing/testing.h"

namespace korvex {
namespace {

constexpr uint32_t REPORT_MS = 10;

// A guide, its clock, and a panel that lies as the screen does but is too small.
struct Course {
    CalibrationGuide guide{};
    uint32_t now = 0xFFFFF000; // it wraps in the middle of everything

    explicit Course(uint32_t targets = 9) { StartGuide(&guide, targets, 10); }
};

Point RawOf(Point place)
{
    return {50 + place.x * 900 / 65535, 80 + place.y * 850 / 65535};
}

GuideChange Report(Course* course, Point raw, bool touching)
{
    course->now += REPORT_MS;
    return TakeGuideReport(&course->guide, raw, touching, course->now);
}

// Holds a finger at a raw place for so many reports, or until something has come of it, and lifts
// it: what has come.
GuideChange Press(Course* course, Point raw, int reports = 200)
{
    GuideChange change = GuideChange::NONE;
    for (int i = 0; i < reports && change != GuideChange::TAKEN && change != GuideChange::REFUSED;
        ++i)
        change = Report(course, raw, true);
    const GuideChange lifted = Report(course, raw, false);
    return lifted == GuideChange::NEXT ? change : lifted;
}

GuideChange PressTarget(Course* course, uint32_t target)
{
    return Press(course, RawOf(GuideTargetPlace(&course->guide, target)));
}

TEST(CalibrationGuide, TakesOneTargetAfterTheOtherAndJudgesThemAll)
{
    for (const uint32_t targets : {4U, 9U}) {
        Course course(targets);
        for (uint32_t target = 0; target + 1 < targets; ++target) {
            EXPECT_EQ(course.guide.target, target);
            EXPECT_EQ(PressTarget(&course, target), GuideChange::TAKEN);
            EXPECT_EQ(course.guide.step, GuideStep::WAITING);
        }
        EXPECT_EQ(PressTarget(&course, targets - 1), GuideChange::FINISHED);
        EXPECT_EQ(course.guide.step, GuideStep::REVIEW);
        Point middle = RawOf({32767, 32767});
        MapPoint(&course.guide.calib, &middle);
        EXPECT_NEAR(middle.x, 32767, 100);
        EXPECT_NEAR(middle.y, 32767, 100);
    }
}

TEST(CalibrationGuide, AsksAgainWithAReasonForWhatCannotBeTheTarget)
{
    Course course;
    const auto expectReason = [&course](GuideReason reason, uint32_t target) {
        EXPECT_EQ(course.guide.reason, reason);
        EXPECT_EQ(course.guide.target, target);
        EXPECT_EQ(course.guide.step, GuideStep::WAITING);
    };
    EXPECT_EQ(Press(&course, {60, 90}, 40), GuideChange::REFUSED);
    expectReason(GuideReason::LIFTED_EARLY, 0);
    GuideChange change = GuideChange::NONE;
    for (int i = 0; i < 100 && change != GuideChange::REFUSED; ++i)
        change = Report(&course, {60 + i, 90}, true);
    EXPECT_EQ(change, GuideChange::REFUSED);
    EXPECT_EQ(Report(&course, {160, 90}, true), GuideChange::NONE)
        << "it waits for the finger to be lifted";
    Report(&course, {160, 90}, false);
    expectReason(GuideReason::SLID, 0);
    // A second finger elsewhere, or a palm: the panel measures something in between.
    change = GuideChange::NONE;
    for (int i = 0; i < 100 && change != GuideChange::REFUSED; ++i)
        change = Report(&course, i < 40 ? Point{60, 90} : Point{400, 300}, true);
    EXPECT_EQ(change, GuideChange::REFUSED);
    Report(&course, {400, 300}, false);

    EXPECT_EQ(PressTarget(&course, 0), GuideChange::TAKEN);
    EXPECT_EQ(PressTarget(&course, 0), GuideChange::REFUSED) << "the target of before";
    expectReason(GuideReason::ELSEWHERE, 1);
    EXPECT_EQ(PressTarget(&course, 1), GuideChange::TAKEN);
    EXPECT_EQ(PressTarget(&course, 8), GuideChange::REFUSED);
    expectReason(GuideReason::ELSEWHERE, 2);
    EXPECT_EQ(PressTarget(&course, 2), GuideChange::TAKEN);
    // A controller that goes away takes its touch along.
    Report(&course, RawOf(GuideTargetPlace(&course.guide, 3)), true);
    ForgetGuideTouch(&course.guide);
    expectReason(GuideReason::NONE, 3);

    // The first target was wrong, so that right ones do not fit: after the second time there it
    // begins anew.
    Course wrong;
    EXPECT_EQ(Press(&wrong, {500, 600}), GuideChange::TAKEN);
    EXPECT_EQ(PressTarget(&wrong, 1), GuideChange::TAKEN);
    EXPECT_EQ(PressTarget(&wrong, 2), GuideChange::REFUSED);
    EXPECT_EQ(PressTarget(&wrong, 2), GuideChange::REFUSED);
    EXPECT_EQ(wrong.guide.reason, GuideReason::START_OVER);
    EXPECT_EQ(wrong.guide.target, 0U);
    for (uint32_t target = 0; target < 8; ++target)
        EXPECT_EQ(PressTarget(&wrong, target), GuideChange::TAKEN);
    EXPECT_EQ(PressTarget(&wrong, 8), GuideChange::FINISHED);
}

TEST(CalibrationGuide, AsksForTheOneTargetAgainThatDoesNotFitTheOthers)
{
    Course course;
    const auto off = [&course](uint32_t target) {
        const Point raw = RawOf(GuideTargetPlace(&course.guide, target));
        return Point{raw.x + 110, raw.y + 100};
    };
    for (uint32_t target = 0; target < 8; ++target)
        EXPECT_EQ(
            target == 5 ? Press(&course, off(5)) : PressTarget(&course, target), GuideChange::TAKEN)
            << target;
    EXPECT_EQ(PressTarget(&course, 8), GuideChange::REFUSED);
    EXPECT_EQ(course.guide.reason, GuideReason::UNEVEN);
    EXPECT_EQ(course.guide.target, 5U);
    Course stubborn = course;
    EXPECT_EQ(PressTarget(&course, 5), GuideChange::FINISHED);
    EXPECT_EQ(course.guide.step, GuideStep::REVIEW);
    EXPECT_EQ(Press(&stubborn, off(5)), GuideChange::FINISHED);
    EXPECT_EQ(stubborn.guide.step, GuideStep::MISFIT);
    EXPECT_EQ(stubborn.guide.judgement.target, 5U);
}

} // namespace
} // namespace korvex
