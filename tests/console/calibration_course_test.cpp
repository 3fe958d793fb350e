// The calibration program from its start to its end, event by event, and where its page has room
// for it. Runs on Windows too.

#include "console/calibration_course.h"

#include "testing/testing.h"

namespace korvex {
namespace {

constexpr POINT SCREEN{1024, 768};
constexpr uint32_t REPORT_MS = 10;

// A course and its clock, which wraps in the middle of everything, and the panels that are touched:
// each lies as the screen does.
struct Program {
    CalibrationCourse course{};
    uint32_t now = 0xFFFFF000;

    explicit Program(uint32_t targets = 4, bool hasPanel = true)
    {
        StartCourse(&course, targets, SCREEN, now);
        if (hasPanel)
            AddPanel(&course, 0, 10, now);
    }
};

Point RawAt(POINT pixel)
{
    return {100 + pixel.x * 800 / SCREEN.x, 100 + pixel.y * 800 / SCREEN.y};
}

// A report of a finger there, which the panel's own calibration maps as it should.
CourseTasks Report(Program* program, POINT pixel, bool touching = true, uint32_t panel = 0)
{
    program->now += REPORT_MS;
    const Point mapped{65536 * pixel.x / SCREEN.x, 65536 * pixel.y / SCREEN.y};
    return TakeReport(&program->course, panel, RawAt(pixel), mapped, touching, program->now);
}

// Holds a finger there for some reports, and lifts it: all that is to be done.
CourseTasks Press(Program* program, POINT pixel, int reports = 90, uint32_t panel = 0)
{
    CourseTasks tasks = 0;
    for (int i = 0; i <= reports; ++i)
        tasks |= Report(program, pixel, i < reports, panel);
    return tasks;
}

CourseTasks PressTarget(Program* program, uint32_t panel = 0, POINT off = {0, 0})
{
    const CalibrationGuide* guide = &program->course.guide;
    const POINT place = PixelOf(SCREEN, GuideTargetPlace(guide, guide->target));
    return Press(program, {place.x + off.x, place.y + off.y}, 90, panel);
}

CourseTasks PressAllTargets(Program* program)
{
    CourseTasks tasks = 0;
    for (uint32_t target = 0; target < program->course.targetCount; ++target)
        tasks |= PressTarget(program);
    return tasks;
}

POINT MiddleOf(PageButton button)
{
    const RECT area = ButtonArea(SCREEN, button);
    return {(area.left + area.right) / 2, (area.top + area.bottom) / 2};
}

CourseTasks WaitFor(Program* program, uint32_t ms)
{
    program->now += ms;
    return TakeTime(&program->course, program->now);
}

TEST(CalibrationCourse, LeadsToASavedCalibrationByTouchesAlone)
{
    Program program;
    EXPECT_EQ(program.course.step, CourseStep::GUIDING) << "while other ports are still asked";
    EXPECT_EQ(FinishSearch(&program.course, program.now), 0U);
    const CourseTasks tasks = PressAllTargets(&program);
    EXPECT_EQ(tasks & (TASK_ATTEMPT | TASK_BELL | TASK_STORE), TASK_ATTEMPT | TASK_BELL)
        << "nothing is stored unasked";
    EXPECT_EQ(program.course.step, CourseStep::TRYING);
    EXPECT_LT(ResidualPixels(&program.course, 0), 1);

    // Marks are measured by a finger that rests on them, whatever lies far from the others among
    // its reports; one that slides off measures none. The worst mark is the accuracy.
    const auto accuracy = [&] { return AccuracyOf(&program.course, DistanceOff(&program.course)); };
    EXPECT_EQ(accuracy(), Accuracy::VERY_GOOD) << "by the fit";
    const POINT mark = MarkPlace(SCREEN, 1);
    Report(&program, {30, 700});
    for (int i = 0; i < 10; ++i)
        Report(&program, i == 6 ? POINT{500, 20} : POINT{mark.x - 6, mark.y + 8});
    Report(&program, mark, false);
    EXPECT_NEAR(program.course.distances[1], 10, 2);
    EXPECT_EQ(accuracy(), Accuracy::FAIR) << "1.3 % of 768 pixels";
    for (int i = 0; i < 20; ++i)
        Report(&program, i < 10 ? MarkPlace(SCREEN, 2) : POINT{SCREEN.x / 3, SCREEN.y / 3});
    Report(&program, mark, false);
    EXPECT_LT(program.course.distances[2], 0);
    // A button counts where the touch begins and ends on it.
    for (int i = 0; i < 10; ++i)
        Report(&program, MiddleOf(PageButton::CANCEL));
    EXPECT_EQ(Press(&program, MiddleOf(PageButton::SAVE), 5) & (TASK_STORE | TASK_TAKE_BACK), 0U);
    Report(&program, {30, 700});
    EXPECT_EQ(Press(&program, MiddleOf(PageButton::SAVE), 5) & TASK_STORE, TASK_STORE)
        << "after an outlier";
    EXPECT_EQ(FinishStore(&program.course, false, program.now) & TASK_END, 0U);
    EXPECT_EQ(program.course.step, CourseStep::NOT_SAVED);
    EXPECT_EQ(PressButton(&program.course, PageButton::SAVE, program.now), TASK_STORE)
        << "once more";
    FinishStore(&program.course, true, program.now);
    EXPECT_EQ(WaitFor(&program, SAVED_SHOWN_MS - 1) & TASK_END, 0U);
    EXPECT_EQ(WaitFor(&program, 1) & TASK_END, TASK_END);
    EXPECT_EQ(program.course.step, CourseStep::SAVED);
}

TEST(CalibrationCourse, LeavesEverythingAsItWasHoweverItEnds)
{
    // A minute without anybody, counted down; a touch begins it anew.
    Program idle;
    PressTarget(&idle);
    WaitFor(&idle, PATIENCE_MS - 5000);
    EXPECT_EQ(idle.course.secondsLeft, 5U);
    PressTarget(&idle);
    WaitFor(&idle, 1000);
    EXPECT_EQ(idle.course.secondsLeft, 0U);
    EXPECT_EQ(WaitFor(&idle, PATIENCE_MS) & TASK_END, TASK_END);
    EXPECT_EQ(idle.course.step, CourseStep::LEFT);

    // A tap on Cancel, as the panel's own calibration has it; a rest there is a touch of the cross.
    Program tapped;
    EXPECT_EQ(Press(&tapped, MiddleOf(PageButton::CANCEL)) & TASK_END, 0U);
    EXPECT_EQ(Press(&tapped, MiddleOf(PageButton::CANCEL), 12) & TASK_END, TASK_END);

    // What was tried is taken back: by Again, by Cancel.
    Program tried;
    PressAllTargets(&tried);
    EXPECT_EQ(PressButton(&tried.course, PageButton::AGAIN, tried.now), TASK_TAKE_BACK | TASK_SHOW);
    EXPECT_EQ(tried.course.guide.target, 0U);
    EXPECT_EQ(PressButton(&tried.course, PageButton::SAVE, tried.now), 0U)
        << "there is nothing to save";
    PressAllTargets(&tried);
    EXPECT_EQ(PressButton(&tried.course, PageButton::CANCEL, tried.now),
        TASK_TAKE_BACK | TASK_SHOW | TASK_END);

    // Nobody can press a button.
    Program unseen;
    unseen.course.savesUnasked = true;
    EXPECT_EQ(PressAllTargets(&unseen) & TASK_STORE, TASK_STORE);
    EXPECT_EQ(FinishStore(&unseen.course, false, unseen.now) & (TASK_TAKE_BACK | TASK_END),
        TASK_TAKE_BACK | TASK_END);
    Program another; // has another panel's file
    another.course.savesUnasked = another.course.replacesAnother = true;
    EXPECT_EQ(PressAllTargets(&another) & (TASK_STORE | TASK_END), TASK_END);
    Program nobody(4, false);
    nobody.course.savesUnasked = true;
    EXPECT_EQ(WaitFor(&nobody, 2 * PATIENCE_MS) & TASK_END, 0U) << "it still searches";
    EXPECT_EQ(FinishSearch(&nobody.course, nobody.now) & TASK_END, TASK_END);
}

TEST(CalibrationCourse, ListensToThePanelThatWasTouchedFirstAndWaitsForItToComeBack)
{
    Program program(9);
    AddPanel(&program.course, 1, 12, program.now);
    Press(&program, {500, 500}, 1);
    EXPECT_EQ(program.course.panel, 0U);
    PressTarget(&program, 1);
    EXPECT_EQ(program.course.panel, 1U) << "the first target was still open";
    EXPECT_EQ(program.course.guide.resolutionBits, 12U);
    EXPECT_EQ(program.course.guide.target, 1U);
    EXPECT_EQ(PressTarget(&program, 0), 0U);

    Report(&program, {500, 500}, true, 1);
    LosePanel(&program.course, 1, PanelLoss::RUNTIME);
    EXPECT_EQ(LossOf(&program.course), PanelLoss::RUNTIME);
    EXPECT_EQ(program.course.guide.step, GuideStep::WAITING) << "its touch is forgotten";
    RegainPanel(&program.course, 1, program.now);
    PressTarget(&program, 1);
    EXPECT_EQ(program.course.guide.target, 2U);

    // In its place another one comes: what was touched is not its own.
    LosePanel(&program.course, 1, PanelLoss::PORT);
    AddPanel(&program.course, 2, 10, program.now);
    EXPECT_EQ(program.course.guide.target, 2U) << "until that one is touched";
    Press(&program, PixelOf(SCREEN, {1310, 1310}), 90, 2);
    EXPECT_EQ(program.course.panel, 2U);
    // Also while the result of the one before is tried, which is taken back there.
    for (int target = 1; target < 9; ++target)
        PressTarget(&program, 2, {target == 4 ? 12 : 0, 0});
    EXPECT_EQ(WorstTarget(&program.course), 4U) << "though it fits";
    LosePanel(&program.course, 2, PanelLoss::PORT);
    AddPanel(&program.course, 3, 10, program.now);
    EXPECT_EQ(Press(&program, {500, 500}, 1, 3) & TASK_TAKE_BACK, TASK_TAKE_BACK);
    EXPECT_EQ(program.course.tried, 2U);
    EXPECT_EQ(program.course.guide.target, 0U);
}

TEST(CalibrationCourse, SavesWhatDoesNotFitOrIsAnotherPanelsOnlyForWhoeverSeesThat)
{
    for (const auto& [unasked, accepts] : {std::pair{false, false}, {true, false}, {true, true}}) {
        Program program(9);
        program.course.savesUnasked = unasked;
        program.course.accepts = accepts;
        CourseTasks tasks = 0;
        for (int touch = 0; touch < 30 && program.course.step == CourseStep::GUIDING; ++touch) {
            const POINT off = program.course.guide.target == 5 ? POINT{-40, 30} : POINT{0, 0};
            tasks = PressTarget(&program, 0, off);
        }
        EXPECT_EQ(tasks & (TASK_STORE | TASK_END), !unasked ? 0U : accepts ? TASK_STORE : TASK_END);
        EXPECT_EQ(WorstTarget(&program.course), 5U);
        if (unasked)
            continue;
        EXPECT_TRUE(IsDoubtful(&program.course));
        PressButton(&program.course, PageButton::RETAKE, program.now);
        EXPECT_EQ(program.course.guide.target, 5U);
        EXPECT_EQ(PressTarget(&program) & TASK_ATTEMPT, TASK_ATTEMPT);
        EXPECT_FALSE(IsDoubtful(&program.course));
        program.course.replacesAnother = true;
        EXPECT_EQ(Press(&program, MiddleOf(PageButton::SAVE), 5) & TASK_STORE, 0U);
        EXPECT_EQ(Press(&program, MiddleOf(PageButton::SAVE), 5) & TASK_STORE, 0U) << "a bounce";
        WaitFor(&program, 1000);
        EXPECT_EQ(Press(&program, MiddleOf(PageButton::SAVE), 2) & TASK_STORE, 0U) << "noise";
        EXPECT_EQ(Press(&program, MiddleOf(PageButton::SAVE), 5), TASK_STORE | TASK_SHOW_TOUCH);
        EXPECT_EQ(Press(&program, MiddleOf(PageButton::UNDO), 5) & TASK_UNDO, 0U);
        program.course.canUndo = true;
        EXPECT_EQ(Press(&program, MiddleOf(PageButton::UNDO), 5) & TASK_UNDO, TASK_UNDO);
        FinishUndo(&program.course, false, program.now);
        EXPECT_TRUE(IsTrying(&program.course));
        FinishUndo(&program.course, true, program.now);
        EXPECT_TRUE(IsOver(&program.course));
    }
    // Nobody has touched the crosses where they are: it starts again at the next touch.
    Program program;
    for (int touch = 0; touch < 30 && program.course.step == CourseStep::GUIDING; ++touch)
        Press(&program, {500 + touch % 3, 500});
    EXPECT_EQ(program.course.step, CourseStep::MISFIT);
    EXPECT_FALSE(HasButton(&program.course, PageButton::SAVE));
    Press(&program, {10, 10}, 5);
    EXPECT_EQ(program.course.step, CourseStep::GUIDING);
    EXPECT_EQ(program.course.guide.target, 0U);
}

TEST(PageLayout, HasRoomForFingersOnScreensOfEverySize)
{
    for (const POINT screen : {POINT{320, 240}, POINT{480, 800}, POINT{800, 480}, POINT{1024, 768},
             POINT{1920, 360}, POINT{3840, 2160}}) {
        SCOPED_TRACE(std::to_string(screen.x) + " x " + std::to_string(screen.y));
        for (const PageButton button : PAGE_BUTTONS) {
            const RECT area = ButtonArea(screen, button);
            EXPECT_GE(area.right - area.left, 14 * PageUnit(screen))
                << "a seventh of the shorter side";
            EXPECT_GE(area.bottom - area.top, 12 * PageUnit(screen));
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
        const int middleRing = screen.y / 2 + RingRadius(screen);
        EXPECT_LE(ScreenPart(screen, HEAD_PERCENT).bottom, screen.y / 2 - RingRadius(screen) + 1);
        EXPECT_GE(ScreenPart(screen, COUNT_PERCENT).top, middleRing);
        EXPECT_LE(DotPlace(screen, 8, 9).x + DotRadius(screen), screen.x);
    }
}

} // namespace
} // namespace korvex
