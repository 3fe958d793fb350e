// The calibration program from its start to its end, event by event, and where its page has room
// for it. Runs on Windows too.

#include "console/calibration_flow.h"

#include "testing/testing.h"

namespace korvex {
namespace {

constexpr POINT SCREEN{1024, 768};
constexpr uint32_t REPORT_MS = 10;

// A flow and its clock, which wraps in the middle of everything, and the panels that are touched:
// each lies as the screen does.
struct Program {
    CalibrationFlow flow{};
    uint32_t now = 0xFFFFF000;

    explicit Program(uint32_t targets = 4, bool hasPanel = true)
    {
        StartFlow(&flow, targets, SCREEN, now);
        if (hasPanel)
            AddPanel(&flow, 0, 10, now);
    }
};

Point RawAt(POINT pixel)
{
    return {100 + pixel.x * 800 / SCREEN.x, 100 + pixel.y * 800 / SCREEN.y};
}

// A report of a finger there, which the panel's own calibration maps as it should.
FlowTasks Report(Program* program, POINT pixel, bool touching = true, uint32_t panel = 0)
{
    program->now += REPORT_MS;
    const Point mapped{65536 * pixel.x / SCREEN.x, 65536 * pixel.y / SCREEN.y};
    return HandleReport(&program->flow, panel, RawAt(pixel), mapped, touching, program->now);
}

// Holds a finger there for some reports, and lifts it: all tasks that follow.
FlowTasks Press(Program* program, POINT pixel, int reports = 90, uint32_t panel = 0)
{
    FlowTasks tasks = 0;
    for (int i = 0; i <= reports; ++i)
        tasks |= Report(program, pixel, i < reports, panel);
    return tasks;
}

FlowTasks PressTarget(Program* program, uint32_t panel = 0, POINT off = {0, 0})
{
    const CalibrationTargets* targets = &program->flow.targets;
    const POINT place = PixelOf(SCREEN, TargetPlace(targets, targets->current));
    return Press(program, {place.x + off.x, place.y + off.y}, 90, panel);
}

FlowTasks PressAllTargets(Program* program)
{
    FlowTasks tasks = 0;
    for (uint32_t target = 0; target < program->flow.targetCount; ++target)
        tasks |= PressTarget(program);
    return tasks;
}

POINT MiddleOf(PageButton button)
{
    const RECT area = ButtonArea(SCREEN, button);
    return {(area.left + area.right) / 2, (area.top + area.bottom) / 2};
}

FlowTasks WaitFor(Program* program, uint32_t ms)
{
    program->now += ms;
    return HandleTime(&program->flow, program->now);
}

TEST(CalibrationFlow, LeadsToASavedCalibrationByTouchesAlone)
{
    Program program;
    EXPECT_EQ(program.flow.step, FlowStep::MEASURING) << "while other ports are still asked";
    EXPECT_EQ(FinishSearch(&program.flow, program.now), 0U);
    const FlowTasks tasks = PressAllTargets(&program);
    EXPECT_EQ(tasks & (TASK_TRY | TASK_BELL | TASK_SAVE), TASK_TRY | TASK_BELL)
        << "nothing is stored unasked";
    EXPECT_EQ(program.flow.step, FlowStep::TRYING);
    EXPECT_LT(ResidualPixels(&program.flow, 0), 1);

    // Marks are measured by a finger that rests on them, whatever lies far from the others among
    // its reports; one that slides off measures none. The worst mark is the accuracy.
    const auto accuracy = [&] { return AccuracyOf(&program.flow, DistanceOff(&program.flow)); };
    EXPECT_EQ(accuracy(), Accuracy::VERY_GOOD) << "by the fit";
    const POINT mark = MarkPlace(SCREEN, 1);
    Report(&program, {30, 700});
    for (int i = 0; i < 10; ++i)
        Report(&program, i == 6 ? POINT{500, 20} : POINT{mark.x - 6, mark.y + 8});
    Report(&program, mark, false);
    EXPECT_NEAR(program.flow.distances[1], 10, 2);
    EXPECT_EQ(accuracy(), Accuracy::FAIR) << "1.3 % of 768 pixels";
    for (int i = 0; i < 20; ++i)
        Report(&program, i < 10 ? MarkPlace(SCREEN, 2) : POINT{SCREEN.x / 3, SCREEN.y / 3});
    Report(&program, mark, false);
    EXPECT_LT(program.flow.distances[2], 0);
    // A button is pressed if the touch begins and ends on it.
    for (int i = 0; i < 10; ++i)
        Report(&program, MiddleOf(PageButton::CANCEL));
    EXPECT_EQ(Press(&program, MiddleOf(PageButton::SAVE), 5) & (TASK_SAVE | TASK_REVERT), 0U);
    Report(&program, {30, 700});
    EXPECT_EQ(Press(&program, MiddleOf(PageButton::SAVE), 5) & TASK_SAVE, TASK_SAVE)
        << "after an outlier";
    EXPECT_EQ(FinishSave(&program.flow, false, program.now) & TASK_END, 0U);
    EXPECT_EQ(program.flow.step, FlowStep::NOT_SAVED);
    EXPECT_EQ(PressButton(&program.flow, PageButton::SAVE, program.now), TASK_SAVE) << "once more";
    FinishSave(&program.flow, true, program.now);
    EXPECT_EQ(WaitFor(&program, SAVED_SHOWN_MS - 1) & TASK_END, 0U);
    EXPECT_EQ(WaitFor(&program, 1) & TASK_END, TASK_END);
    EXPECT_EQ(program.flow.step, FlowStep::SAVED);
}

TEST(CalibrationFlow, LeavesEverythingAsItWasHoweverItEnds)
{
    // A minute without a touch, counted down; a touch restarts it.
    Program idle;
    PressTarget(&idle);
    WaitFor(&idle, PATIENCE_MS - 5000);
    EXPECT_EQ(idle.flow.secondsLeft, 5U);
    PressTarget(&idle);
    WaitFor(&idle, 1000);
    EXPECT_EQ(idle.flow.secondsLeft, 0U);
    EXPECT_EQ(WaitFor(&idle, PATIENCE_MS) & TASK_END, TASK_END);
    EXPECT_EQ(idle.flow.step, FlowStep::UNCHANGED);

    // A tap on Cancel, as the panel's own calibration has it; a rest there is a touch of the cross.
    Program tapped;
    EXPECT_EQ(Press(&tapped, MiddleOf(PageButton::CANCEL)) & TASK_END, 0U);
    EXPECT_EQ(Press(&tapped, MiddleOf(PageButton::CANCEL), 12) & TASK_END, TASK_END);

    // A tried result is reverted by Again and by Cancel.
    Program tried;
    PressAllTargets(&tried);
    EXPECT_EQ(PressButton(&tried.flow, PageButton::AGAIN, tried.now), TASK_REVERT | TASK_SHOW);
    EXPECT_EQ(tried.flow.targets.current, 0U);
    EXPECT_EQ(PressButton(&tried.flow, PageButton::SAVE, tried.now), 0U)
        << "there is nothing to save";
    PressAllTargets(&tried);
    EXPECT_EQ(PressButton(&tried.flow, PageButton::CANCEL, tried.now),
        TASK_REVERT | TASK_SHOW | TASK_END);

    // Nobody can press a button.
    Program unseen;
    unseen.flow.savesUnasked = true;
    EXPECT_EQ(PressAllTargets(&unseen) & TASK_SAVE, TASK_SAVE);
    EXPECT_EQ(FinishSave(&unseen.flow, false, unseen.now) & (TASK_REVERT | TASK_END),
        TASK_REVERT | TASK_END);
    Program another; // has another panel's file
    another.flow.savesUnasked = another.flow.overwritesOtherPanel = true;
    EXPECT_EQ(PressAllTargets(&another) & (TASK_SAVE | TASK_END), TASK_END);
    Program nobody(4, false);
    nobody.flow.savesUnasked = true;
    EXPECT_EQ(WaitFor(&nobody, 2 * PATIENCE_MS) & TASK_END, 0U) << "it still searches";
    EXPECT_EQ(FinishSearch(&nobody.flow, nobody.now) & TASK_END, TASK_END);

    CalibrationFlow waiting{};
    StartFlow(&waiting, 9, SCREEN, 0);
    FinishSearch(&waiting, 0);
    EXPECT_EQ(HandleTime(&waiting, SEARCH_INTERVAL_MS - 1), 0U);
    EXPECT_EQ(HandleTime(&waiting, SEARCH_INTERVAL_MS), TASK_SEARCH);
    EXPECT_EQ(HandleTime(&waiting, 10 * SEARCH_INTERVAL_MS), 0U) << "a search takes long";
    FinishSearch(&waiting, 10 * SEARCH_INTERVAL_MS);
    EXPECT_EQ(HandleTime(&waiting, 11 * SEARCH_INTERVAL_MS), TASK_SEARCH);
    AddPanel(&waiting, 0, 10, 0);
    EXPECT_EQ(waiting.step, FlowStep::MEASURING);
}

TEST(CalibrationFlow, ListensToThePanelThatWasTouchedFirstAndWaitsForItToComeBack)
{
    Program program(9);
    AddPanel(&program.flow, 1, 12, program.now);
    Press(&program, {500, 500}, 1);
    EXPECT_EQ(program.flow.panel, 0U);
    PressTarget(&program, 1);
    EXPECT_EQ(program.flow.panel, 1U) << "the first target was still open";
    EXPECT_EQ(program.flow.targets.resolutionBits, 12U);
    EXPECT_EQ(program.flow.targets.current, 1U);
    EXPECT_EQ(PressTarget(&program, 0), 0U);

    Report(&program, {500, 500}, true, 1);
    LosePanel(&program.flow, 1, PanelLoss::RUNTIME);
    EXPECT_EQ(LossOf(&program.flow), PanelLoss::RUNTIME);
    EXPECT_EQ(program.flow.targets.step, TargetStep::WAITING) << "its touch is forgotten";
    ReturnPanel(&program.flow, 1, program.now);
    PressTarget(&program, 1);
    EXPECT_EQ(program.flow.targets.current, 2U);

    // Another panel replaces it: the touches so far are not its own.
    LosePanel(&program.flow, 1, PanelLoss::PORT);
    AddPanel(&program.flow, 2, 10, program.now);
    EXPECT_EQ(program.flow.targets.current, 2U) << "until that one is touched";
    Press(&program, PixelOf(SCREEN, {1310, 1310}), 90, 2);
    EXPECT_EQ(program.flow.panel, 2U);
    // Also while the result of the one before is tried, which is taken back there.
    for (int target = 1; target < 9; ++target)
        PressTarget(&program, 2, {target == 4 ? 12 : 0, 0});
    EXPECT_EQ(WorstTarget(&program.flow), 4U) << "though it fits";
    LosePanel(&program.flow, 2, PanelLoss::PORT);
    AddPanel(&program.flow, 3, 10, program.now);
    EXPECT_EQ(Press(&program, {500, 500}, 1, 3) & TASK_REVERT, TASK_REVERT);
    EXPECT_EQ(program.flow.tried, 2U);
    EXPECT_EQ(program.flow.targets.current, 0U);
}

TEST(CalibrationFlow, SavesWhatDoesNotFitOrIsAnotherPanelsOnlyForWhoeverSeesThat)
{
    for (const auto& [unasked, accepts] : {std::pair{false, false}, {true, false}, {true, true}}) {
        Program program(9);
        program.flow.savesUnasked = unasked;
        program.flow.accepts = accepts;
        FlowTasks tasks = 0;
        for (int touch = 0; touch < 30 && program.flow.step == FlowStep::MEASURING; ++touch) {
            const POINT off = program.flow.targets.current == 5 ? POINT{-40, 30} : POINT{0, 0};
            tasks = PressTarget(&program, 0, off);
        }
        EXPECT_EQ(tasks & (TASK_SAVE | TASK_END), !unasked ? 0U : accepts ? TASK_SAVE : TASK_END);
        EXPECT_EQ(WorstTarget(&program.flow), 5U);
        if (unasked)
            continue;
        EXPECT_TRUE(IsDoubtful(&program.flow));
        PressButton(&program.flow, PageButton::RETAKE, program.now);
        EXPECT_EQ(program.flow.targets.current, 5U);
        EXPECT_EQ(PressTarget(&program) & TASK_TRY, TASK_TRY);
        EXPECT_FALSE(IsDoubtful(&program.flow));
        program.flow.overwritesOtherPanel = true;
        EXPECT_EQ(Press(&program, MiddleOf(PageButton::SAVE), 5) & TASK_SAVE, 0U);
        EXPECT_EQ(Press(&program, MiddleOf(PageButton::SAVE), 5) & TASK_SAVE, 0U) << "a bounce";
        WaitFor(&program, 1000);
        EXPECT_EQ(Press(&program, MiddleOf(PageButton::SAVE), 2) & TASK_SAVE, 0U) << "noise";
        EXPECT_EQ(Press(&program, MiddleOf(PageButton::SAVE), 5), TASK_SAVE | TASK_SHOW_TOUCH);
        EXPECT_EQ(Press(&program, MiddleOf(PageButton::UNDO), 5) & TASK_UNDO, 0U);
        program.flow.canUndo = true;
        EXPECT_EQ(Press(&program, MiddleOf(PageButton::UNDO), 5) & TASK_UNDO, TASK_UNDO);
        FinishUndo(&program.flow, false, program.now);
        EXPECT_TRUE(IsTrying(&program.flow));
        FinishUndo(&program.flow, true, program.now);
        EXPECT_TRUE(IsOver(&program.flow));
    }
    // Nobody has touched the crosses where they are: it starts again at the next touch.
    Program program;
    for (int touch = 0; touch < 30 && program.flow.step == FlowStep::MEASURING; ++touch)
        Press(&program, {500 + touch % 3, 500});
    EXPECT_EQ(program.flow.step, FlowStep::IMPOSSIBLE);
    EXPECT_FALSE(HasButton(&program.flow, PageButton::SAVE));
    Press(&program, {10, 10}, 5);
    EXPECT_EQ(program.flow.step, FlowStep::MEASURING);
    EXPECT_EQ(program.flow.targets.current, 0U);
}

TEST(PageLayout, HasRoomForFingersOnScreensOfEverySize)
{
    for (const POINT screen : {POINT{320, 240}, POINT{480, 800}, POINT{800, 480}, POINT{1024, 768},
             POINT{1920, 360}, POINT{3840, 2160}}) {
        SCOPED_TRACE(std::to_string(screen.x) + " x " + std::to_string(screen.y));
        for (const PageButton button : PAGE_BUTTONS) {
            const RECT area = ButtonArea(screen, button);
            EXPECT_GE(area.right - area.left, Units(screen, 14)) << "a seventh of the shorter side";
            EXPECT_GE(area.bottom - area.top, Units(screen, 12) - 1);
            EXPECT_EQ(ButtonAt(screen, {area.left, area.top}), button);
            EXPECT_EQ(ButtonAt(screen, {area.right - 1, area.bottom - 1}), button);
            for (uint32_t mark = 0; mark < MARK_COUNT; ++mark) {
                const POINT place = MarkPlace(screen, mark);
                const int reach = RingRadius(screen);
                EXPECT_TRUE(place.x + reach <= area.left || place.x - reach >= area.right
                    || place.y + reach <= area.top || place.y - reach >= area.bottom)
                    << "mark " << mark;
            }
        }
        EXPECT_LE(DotPlace(screen, 8, 9).x + DotRadius(screen), screen.x);
    }
}

} // namespace
} // namespace korvex
