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

    explicit Program(uint32_t targets = 4) { StartCourse(&course, targets, SCREEN, now); }
};

Point RawAt(POINT pixel)
{
    return {100 + pixel.x * 800 / SCREEN.x, 100 + pixel.y * 800 / SCREEN.y};
}

// Holds a finger there for some reports, and lifts it: all that is to be done.
CourseTasks Press(Program* program, POINT pixel, int reports = 90, uint32_t panel = 0)
{
    CourseTasks tasks = 0;
    for (int i = 0; i <= reports; ++i) {
        program->now += REPORT_MS;
        tasks |= TakeReport(&program->course, panel, RawAt(pixel), i < reports, program->now);
    }
    return tasks;
}

CourseTasks PressTarget(Program* program, uint32_t panel = 0)
{
    const Point place = GuideTargetPlace(&program->course.guide, program->course.guide.target);
    return Press(program, PixelOf(SCREEN, {place.x, place.y}), 90, panel);
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
    EXPECT_EQ(program.course.step, CourseStep::SEARCHING);
    AddPanel(&program.course, 0, 10, program.now);
    EXPECT_EQ(program.course.step, CourseStep::GUIDING) << "while other ports are still asked";
    EXPECT_EQ(FinishSearch(&program.course, program.now), 0U);
    const CourseTasks tasks = PressAllTargets(&program);
    EXPECT_EQ(tasks & (TASK_ATTEMPT | TASK_BELL | TASK_STORE), TASK_ATTEMPT | TASK_BELL)
        << "nothing is stored unasked";
    EXPECT_EQ(program.course.step, CourseStep::TRYING);
    EXPECT_LT(ResidualPixels(&program.course, 0), 1);

    // Marks are measured by a finger that rests on them; one that slides off measures none.
    const POINT mark = MarkPlace(SCREEN, 1);
    Press(&program, {mark.x - 6, mark.y + 8}, 20);
    EXPECT_NEAR(program.course.distances[1], 10, 2);
    TakeReport(&program.course, 0, RawAt(MarkPlace(SCREEN, 2)), true, program.now);
    Press(&program, {SCREEN.x / 3, SCREEN.y / 3}, 5);
    EXPECT_LT(program.course.distances[2], 0);
    // A button counts where the touch begins and ends on it.
    TakeReport(&program.course, 0, RawAt(MiddleOf(PageButton::CANCEL)), true, program.now);
    EXPECT_EQ(Press(&program, MiddleOf(PageButton::SAVE), 5) & (TASK_STORE | TASK_TAKE_BACK), 0U);
    EXPECT_EQ(Press(&program, MiddleOf(PageButton::SAVE), 5) & TASK_STORE, TASK_STORE);
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
    AddPanel(&idle.course, 0, 10, idle.now);
    PressTarget(&idle);
    WaitFor(&idle, PATIENCE_MS - 5000);
    EXPECT_EQ(idle.course.secondsLeft, 5U);
    PressTarget(&idle);
    WaitFor(&idle, 1000);
    EXPECT_EQ(idle.course.secondsLeft, 0U);
    EXPECT_EQ(WaitFor(&idle, PATIENCE_MS) & TASK_END, TASK_END);
    EXPECT_EQ(idle.course.step, CourseStep::LEFT);

    // What was tried is taken back: by Again, by Cancel.
    Program tried;
    AddPanel(&tried.course, 0, 10, tried.now);
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
    AddPanel(&unseen.course, 0, 10, unseen.now);
    EXPECT_EQ(PressAllTargets(&unseen) & TASK_STORE, TASK_STORE);
    EXPECT_EQ(FinishStore(&unseen.course, false, unseen.now) & (TASK_TAKE_BACK | TASK_END),
        TASK_TAKE_BACK | TASK_END);
    Program nobody;
    nobody.course.savesUnasked = true;
    EXPECT_EQ(FinishSearch(&nobody.course, nobody.now) & TASK_END, TASK_END);
}

TEST(CalibrationCourse, ListensToThePanelThatWasTouchedFirstAndWaitsForItToComeBack)
{
    Program program(9);
    AddPanel(&program.course, 0, 10, program.now);
    AddPanel(&program.course, 1, 12, program.now);
    TakeReport(&program.course, 0, {500, 500}, true, program.now);
    TakeReport(&program.course, 0, {500, 500}, false, program.now);
    EXPECT_EQ(program.course.panel, 0U);
    PressTarget(&program, 1);
    EXPECT_EQ(program.course.panel, 1U) << "the first target was still open";
    EXPECT_EQ(program.course.guide.resolutionBits, 12U);
    EXPECT_EQ(program.course.guide.target, 1U);
    EXPECT_EQ(PressTarget(&program, 0), 0U);

    TakeReport(&program.course, 1, {500, 500}, true, program.now);
    LosePanel(&program.course, 1);
    EXPECT_TRUE(IsPanelGone(&program.course));
    EXPECT_EQ(program.course.guide.step, GuideStep::WAITING) << "its touch is forgotten";
    RegainPanel(&program.course, 1, program.now);
    PressTarget(&program, 1);
    EXPECT_EQ(program.course.guide.target, 2U);

    // In its place another one comes: what was touched is not its own.
    LosePanel(&program.course, 1);
    AddPanel(&program.course, 2, 10, program.now);
    EXPECT_EQ(program.course.guide.target, 2U) << "until that one is touched";
    Press(&program, PixelOf(SCREEN, {1310, 1310}), 90, 2);
    EXPECT_EQ(program.course.panel, 2U);
    // Also while the result of the one before is tried, which is taken back there.
    for (int target = 1; target < 9; ++target)
        PressTarget(&program, 2);
    LosePanel(&program.course, 2);
    AddPanel(&program.course, 3, 10, program.now);
    EXPECT_EQ(TakeReport(&program.course, 3, {500, 500}, true, program.now) & TASK_TAKE_BACK,
        TASK_TAKE_BACK);
    EXPECT_EQ(program.course.tried, 2U);
    TakeReport(&program.course, 3, {500, 500}, false, program.now);
    EXPECT_EQ(program.course.guide.target, 0U);
}

TEST(CalibrationCourse, BeginsAnewAtTheNextTouchWhenThePointsCannotBeRight)
{
    for (const bool unasked : {false, true}) {
        Program program(9);
        program.course.savesUnasked = unasked;
        AddPanel(&program.course, 0, 10, program.now);
        CourseTasks tasks = 0;
        // the sixth target is asked for again, and is wrong again
        for (int touch = 0; touch < 10; ++touch) {
            const Point place
                = GuideTargetPlace(&program.course.guide, program.course.guide.target);
            const POINT pixel = PixelOf(SCREEN, {place.x, place.y});
            tasks = program.course.guide.target == 5
                ? Press(&program, {pixel.x - 130, pixel.y + 110})
                : PressTarget(&program);
        }
        EXPECT_EQ(program.course.guide.judgement.fault, PointsFault::UNEVEN);
        EXPECT_EQ(tasks & (TASK_STORE | TASK_ATTEMPT), 0U);
        EXPECT_EQ(tasks & TASK_END, unasked ? TASK_END : 0U);
        EXPECT_FALSE(HasButton(&program.course, PageButton::SAVE));
        if (unasked)
            continue;
        EXPECT_EQ(program.course.step, CourseStep::MISFIT);
        Press(&program, {10, 10}, 5);
        EXPECT_EQ(program.course.step, CourseStep::GUIDING);
        EXPECT_EQ(program.course.guide.target, 0U);
    }
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
                const bool apart = place.x + MarkReach(screen) <= area.left
                    || place.x - MarkReach(screen) >= area.right
                    || place.y + MarkReach(screen) <= area.top
                    || place.y - MarkReach(screen) >= area.bottom;
                EXPECT_TRUE(apart) << "mark " << mark;
            }
        }
        const int middleRing = screen.y / 2 + RingRadius(screen);
        EXPECT_LE(HeadArea(screen).bottom, screen.y / 2 - RingRadius(screen) + 1);
        EXPECT_GE(CountArea(screen).top, middleRing);
        EXPECT_LE(DotPlace(screen, 8, 9).x + DotRadius(screen), screen.x);
    }
}

} // namespace
} // namespace korvex
