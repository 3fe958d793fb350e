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
        const auto error = wrong.find(target);
        if (error != wrong.end() && touches[target] < times)
            raw = {raw.x + error->second.x, raw.y + error->second.y};
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
    using Wrong = std::map<uint32_t, Point>;
    struct Row {
        uint32_t targets;
        Wrong wrong; // by how many raw units of 900 and 850
        int times;
        std::string asked;
        std::string judgement;
    };
    for (const Row& row : {Row{9, {{4, {20, 10}}}, 9, "", "fits"}, // 2.5 % of the screen
             Row{9, {{4, {30, 20}}}, 1, "5", "fits"},              // 4 %
             Row{9, {{5, {30, 0}}}, 1, "6", "fits"}, // makes its neighbours seem worse than it is
             Row{9, {{5, {30, 0}}}, 2, "6369", "fits"},
             Row{9, {{5, {30, 0}}}, 9, "6369", "target 6"},
             Row{9, {{0, {100, 60}}, {7, {0, 60}}}, 1, "18", "fits"},
             Row{9, {{0, {446, 0}}}, 1, "!21", "fits"}, // the second cross was touched first
             Row{4, {{1, {40, 20}}}, 1, "41234", "fits"}, Row{4, {{1, {20, 10}}}, 9, "", "fits"},
             Row{4, {{1, {40, 20}}}, 9, "41234", "target 4"}}) {
        Course course(row.targets);
        std::string judgement;
        EXPECT_EQ(AskedAgain(&course, row.wrong, row.times, &judgement), row.asked);
        EXPECT_EQ(judgement, row.judgement) << row.asked;
    }
}

} // namespace
} // namespace korvex
