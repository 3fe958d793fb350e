// The targets of a calibration, touch by touch, and how exact its result is. Runs on Windows too.

#include "console/calibration_targets.h"

#include <cmath>
#include <map>

#include "calibration/mapping.h"
#include "testing/testing.h"

namespace korvex {
namespace {

constexpr uint32_t MS_PER_REPORT = 10;

// The targets, their clock, and a panel that lies as the screen does but is too small.
struct Panel {
    CalibrationTargets targets{};
    uint32_t now = 0xFFFFF000; // it wraps in the middle of everything

    explicit Panel(uint32_t count = 9) { StartTargets(&targets, count, 10); }
};

Point RawOf(Point place)
{
    return {50 + place.x * 900 / 65535, 80 + place.y * 850 / 65535};
}

TargetChange Report(Panel* panel, Point raw, bool touching)
{
    panel->now += MS_PER_REPORT;
    return HandleTargetReport(&panel->targets, raw, touching, panel->now);
}

// Holds a finger at a raw place for so many reports, or until something has come of it, and lifts
// it, rolling off a target that is taken: what has come.
TargetChange Press(Panel* panel, Point raw, int reports = 200)
{
    TargetChange change = TargetChange::NONE;
    for (int i = 0; i < reports && change != TargetChange::TAKEN && change != TargetChange::REFUSED;
        ++i)
        // it settles, and is noisy
        change = Report(panel, {raw.x + (i < 8 ? -20 : 5 * (i % 3 - 1)), raw.y}, true);
    for (int i = 0; i < 150 && change == TargetChange::TAKEN; ++i)
        EXPECT_EQ(Report(panel, {raw.x + 40, raw.y}, true), TargetChange::NONE);
    const TargetChange lifted = Report(panel, raw, false);
    return lifted == TargetChange::LIFTED ? change : lifted;
}

TargetChange PressTarget(Panel* panel, uint32_t target)
{
    return Press(panel, RawOf(TargetPlace(&panel->targets, target)));
}

TEST(CalibrationTargets, TakesOneTargetAfterTheOtherAndJudgesThemAll)
{
    for (const uint32_t targets : {4U, 9U}) {
        Panel panel(targets);
        for (uint32_t target = 0; target < targets; ++target) {
            EXPECT_EQ(panel.targets.step, TargetStep::WAITING);
            EXPECT_EQ(panel.targets.current, target);
            EXPECT_EQ(PressTarget(&panel, target),
                target + 1 < targets ? TargetChange::TAKEN : TargetChange::FINISHED);
        }
        EXPECT_EQ(panel.targets.step, TargetStep::REVIEW);
        Point middle = RawOf({32767, 32767});
        MapPoint(&panel.targets.calib, &middle);
        EXPECT_NEAR(middle.x, 32767, 100);
        EXPECT_NEAR(middle.y, 32767, 100);
    }
}

TEST(CalibrationTargets, AsksAgainWithAReasonForWhatCannotBeTheTarget)
{
    Panel panel;
    const auto expectReason = [&panel](RetakeReason reason, uint32_t target) {
        EXPECT_EQ(panel.targets.reason, reason);
        EXPECT_EQ(panel.targets.current, target);
        EXPECT_EQ(panel.targets.step, TargetStep::WAITING);
    };
    EXPECT_EQ(Press(&panel, {60, 90}, 40), TargetChange::REFUSED);
    expectReason(RetakeReason::LIFTED_EARLY, 0);
    TargetChange change = TargetChange::NONE;
    for (int i = 0; i < 100 && change != TargetChange::REFUSED; ++i)
        change = Report(&panel, {60 + i, 90}, true);
    EXPECT_EQ(change, TargetChange::REFUSED);
    EXPECT_EQ(Report(&panel, {160, 90}, true), TargetChange::NONE)
        << "it waits for the finger to be lifted";
    Report(&panel, {160, 90}, false);
    expectReason(RetakeReason::SLID, 0);
    EXPECT_EQ(PressTarget(&panel, 0), TargetChange::TAKEN);
    EXPECT_EQ(PressTarget(&panel, 0), TargetChange::REFUSED) << "the previous target";
    expectReason(RetakeReason::ELSEWHERE, 1);
    EXPECT_EQ(PressTarget(&panel, 1), TargetChange::TAKEN);
    // A controller that goes away takes its touch along.
    Report(&panel, RawOf(TargetPlace(&panel.targets, 2)), true);
    ForgetTargetTouch(&panel.targets);
    expectReason(RetakeReason::NONE, 2);
}

// Touches what is asked for until all is judged, and those targets elsewhere, the first `times`
// times: which were asked for, in order, after each was touched once.
std::string AskedAgain(
    Panel* panel, const std::map<uint32_t, Point>& wrong, int times, std::string* judgement)
{
    std::map<uint32_t, int> touches;
    std::string asked;
    for (int touch = 0; touch < 60 && panel->targets.step == TargetStep::WAITING; ++touch) {
        const uint32_t target = panel->targets.current;
        Point raw = RawOf(TargetPlace(&panel->targets, target));
        if (wrong.contains(target) && touches[target] < times)
            raw = {raw.x + wrong.at(target).x, raw.y + wrong.at(target).y};
        const TargetChange change = Press(panel, raw);
        if (touches[target]++ > 0)
            asked += std::to_string(target + 1);
        if (change == TargetChange::REFUSED && panel->targets.reason == RetakeReason::ELSEWHERE)
            asked += "!";
    }
    *judgement = panel->targets.step == TargetStep::REVIEW
        ? "fits"
        : "target " + std::to_string(panel->targets.judgement.outlier + 1);
    return asked;
}

TEST(CalibrationTargets, AsksForTargetsAgainThatLieTooFarFromWhereTheOthersPredictThem)
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
        Panel panel(targets);
        std::string judged;
        EXPECT_EQ(AskedAgain(&panel, wrong, times, &judged), asked);
        EXPECT_EQ(judged, judgement) << asked;
    }
}

} // namespace
} // namespace korvex
