// The course of a calibration, touch by touch, and how exact its result is. Runs on Windows too.

#include "console/calibration_guide.h"

#include <cmath>
#include <map>

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
// it, rolling off a target that is taken: what has come.
GuideChange Press(Course* course, Point raw, int reports = 200)
{
    GuideChange change = GuideChange::NONE;
    for (int i = 0; i < reports && change != GuideChange::TAKEN && change != GuideChange::REFUSED;
        ++i)
        change = Report(course, raw, true);
    for (int i = 0; i < 150 && change == GuideChange::TAKEN; ++i)
        EXPECT_EQ(Report(course, {raw.x + 40, raw.y}, true), GuideChange::NONE);
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
        for (uint32_t target = 0; target < targets; ++target) {
            EXPECT_EQ(course.guide.step, GuideStep::WAITING);
            EXPECT_EQ(course.guide.target, target);
            EXPECT_EQ(PressTarget(&course, target),
                target + 1 < targets ? GuideChange::TAKEN : GuideChange::FINISHED);
        }
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
    EXPECT_EQ(PressTarget(&course, 0), GuideChange::TAKEN);
    EXPECT_EQ(PressTarget(&course, 0), GuideChange::REFUSED) << "the previous target";
    expectReason(GuideReason::ELSEWHERE, 1);
    EXPECT_EQ(PressTarget(&course, 1), GuideChange::TAKEN);
    // A controller that goes away takes its touch along.
    Report(&course, RawOf(GuideTargetPlace(&course.guide, 2)), true);
    ForgetGuideTouch(&course.guide);
    expectReason(GuideReason::NONE, 2);
}

// Touches what is asked for until all is judged, and those targets elsewhere, the first `times`
// times: which were asked for, in order, after each was touched once.
std::string AskedAgain(
    Course* course, const std::map<uint32_t, Point>& wrong, int times, std::string* judgement)
{
    std::map<uint32_t, int> touches;
    std::string asked;
    for (int touch = 0; touch < 60 && course->guide.step == GuideStep::WAITING; ++touch) {
        const uint32_t target = course->guide.target;
        Point raw = RawOf(GuideTargetPlace(&course->guide, target));
        if (wrong.contains(target) && touches[target] < times)
            raw = {raw.x + wrong.at(target).x, raw.y + wrong.at(target).y};
        const GuideChange change = Press(course, raw);
        if (touches[target]++ > 0)
            asked += std::to_string(target + 1);
        if (change == GuideChange::REFUSED && course->guide.reason == GuideReason::ELSEWHERE)
            asked += "!";
    }
    *judgement = course->guide.step == GuideStep::REVIEW
        ? "fits"
        : "target " + std::to_string(course->guide.judgement.outlier + 1);
    return asked;
}

TEST(CalibrationGuide, AsksForTargetsAgainThatLieTooFarFromWhereTheOthersPredictThem)
{
    // By how many raw units of 900 and 850 which ones are wrong, and how often.
    using Row = std::tuple<uint32_t, std::map<uint32_t, Point>, int, std::string, std::string>;
    for (const auto& [targets, wrong, times, asked, judgement] :
        {Row{9, {{4, {20, 10}}}, 9, "", "fits"},     // 2.5 % of the screen
            Row{9, {{4, {30, 20}}}, 1, "5", "fits"}, // 4 %
            Row{9, {{5, {30, 0}}}, 1, "6", "fits"},  // makes its neighbours seem worse than it is
            Row{9, {{5, {30, 0}}}, 2, "6369", "fits"},
            Row{9, {{5, {30, 0}}}, 9, "6369", "target 6"},
            Row{9, {{0, {100, 60}}, {7, {0, 60}}}, 1, "18", "fits"},
            Row{9, {{0, {446, 0}}}, 1, "!21", "fits"}, // the second cross was touched first
            Row{9, {{0, {446, 0}}}, 2, "!21!1", "fits"},
            Row{4, {{1, {40, 20}}}, 1, "41234", "fits"}, Row{4, {{1, {20, 10}}}, 9, "", "fits"},
            Row{4, {{1, {40, 20}}}, 9, "41234", "target 4"}}) {
        Course course(targets);
        std::string judged;
        EXPECT_EQ(AskedAgain(&course, wrong, times, &judged), asked);
        EXPECT_EQ(judged, judgement) << asked;
    }
}

} // namespace
} // namespace korvex
