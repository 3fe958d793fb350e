#include "command/calibration_output.h"

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "cli/text_layout.h"
#include "control/json_line.h"
#include "platform/linux/core/text.h"
#include "platform/linux/windows/messages.h"
#include "process/end_request.h"
#include "process/exit_codes.h"
#include "process/message.h"

namespace korvex::command {

namespace {

constexpr const char* ACCEPT_SAVES = "; '--accept' saves all the same";

// The last state that was printed, so that each is printed once.
struct Progress {
    bool json;
    bool words; // each state on standard error: nobody sees a window
    std::string state;
    uint32_t target;
    bool nobody;     // there was no panel
    bool notSaved;   // a store has failed, and what came after has not changed that
    bool outputLost; // standard output takes no more
};

Progress progress;

void PrintJson(const Json& line)
{
    progress.outputLost = !WriteOutput(LineOf(line)) || progress.outputLost;
}

void Print(const CalibrationCourse* course, const std::string& state, const std::string& reason)
{
    const uint32_t target = course->guide.target;
    if (state == progress.state && target == progress.target)
        return;
    progress.state = state;
    progress.target = target;
    const POINT pixel = PixelOf(course->screen, GuideTargetPlace(&course->guide, target));
    if (progress.json) {
        Json line{{"target", target + 1}, {"of", course->guide.calib.pointCount}, {"x", pixel.x},
            {"y", pixel.y}, {"width", course->screen.x}, {"height", course->screen.y},
            {"state", state}};
        if (!reason.empty())
            line["reason"] = reason;
        PrintJson(line);
    }
    if (progress.words)
        fprintf(stderr, "target %u of %u at %d, %d: %s%s%s\n", target + 1,
            course->guide.calib.pointCount, pixel.x, pixel.y, state.c_str(),
            reason.empty() ? "" : ": ", reason.c_str());
}

void PrintTarget(const CalibrationCourse* course)
{
    const CalibrationGuide* guide = &course->guide;
    const std::string reason = platform::ToUtf8(ReasonText(guide->reason));
    switch (guide->step) {
    case GuideStep::SAMPLING:
        return Print(course, "sampling", "");
    case GuideStep::TAKEN:
        return Print(course, "taken", "");
    case GuideStep::LIFTING:
        return Print(course, "again", reason);
    default:
        if (guide->reason != GuideReason::NONE && progress.state != "again"
            && progress.state != "touch")
            Print(course, "again", reason);
        return Print(course, "touch", "");
    }
}

std::vector<double> Residuals(const CalibrationCourse* course)
{
    std::vector<double> residuals;
    for (uint32_t target = 0; target < course->guide.calib.pointCount; ++target)
        residuals.push_back(std::round(ResidualPixels(course, target) * 100) / 100);
    return residuals;
}

std::string AccuracyName(const CalibrationCourse* course)
{
    return platform::ToUtf8(AccuracyText(AccuracyOf(course, DistanceOff(course))));
}

// Which target does not fit the others, and how far it is off; of four each is as far.
std::string DoubtText(const CalibrationCourse* course)
{
    const uint32_t target = WorstTarget(course);
    const std::string name = course->guide.judgement.target != NO_TARGET
        ? "target " + std::to_string(target + 1)
        : "one of the targets";
    return name + " was touched "
        + Formatted("%.1f", ResidualPercent(&course->guide.judgement, target))
        + " % of the screen from where the others predict it";
}

// Prints that a result can be tried.
void PrintTrying(const CalibrationCourse* course)
{
    if (progress.json && progress.state != "try") {
        Json line{
            {"state", "try"}, {"accuracy", AccuracyName(course)}, {"residuals", Residuals(course)}};
        if (IsDoubtful(course))
            line["reason"] = DoubtText(course);
        PrintJson(line);
    }
    progress.state = "try";
}

// The reason why there is no result to try.
void PrintFault(const std::string& state, const WCHAR* reason)
{
    if (progress.json && progress.state != state)
        PrintJson({{"state", state}, {"reason", platform::ToUtf8(reason)}});
    progress.state = state;
}

// Why nothing was saved; empty where the person has ended it.
std::string EndReason(const CalibrationCourse* course, const PageWords* words)
{
    const bool isAlone = course->savesUnasked && !course->accepts;
    if (progress.nobody)
        return "no controller was found on any port that was asked";
    if (words->reason[0] != 0)
        return platform::ToUtf8(words->reason.data());
    if (IsDoubtful(course))
        return isAlone ? DoubtText(course) + ACCEPT_SAVES : "";
    if (course->guide.step == GuideStep::MISFIT)
        return platform::ToUtf8(FaultText(course->guide.judgement.fault));
    if (course->guide.step == GuideStep::REVIEW && isAlone && course->replacesAnother)
        return "the file has the calibration of " + platform::ToUtf8(words->file.other.data())
            + ACCEPT_SAVES;
    return "";
}

// The result, once there is one.
void PrintEnd(const CalibrationCourse* course, const PageWords* words)
{
    const bool saved = course->step == CourseStep::SAVED;
    const bool undone = course->step == CourseStep::UNDONE;
    const bool judged
        = course->guide.step == GuideStep::REVIEW || course->guide.step == GuideStep::MISFIT;
    const std::string file = platform::ToUtf8(words->file.path.data());
    const std::string reason = saved || undone ? "" : EndReason(course, words);
    if (progress.json) {
        Json line{{"saved", saved}, {"file", file}};
        if (undone)
            line["undone"] = true;
        if (judged && !undone) {
            line["accuracy"] = AccuracyName(course);
            line["residuals"] = Residuals(course);
        }
        if (!reason.empty())
            line["reason"] = reason;
        PrintJson(line);
    }
    if (saved)
        Notice("saved in '" + file + "'; accuracy: " + AccuracyName(course) + " ("
            + Formatted("%.1f", DistanceOff(course)) + " pixels)");
    else if (undone)
        Notice("the last save in '" + file + "' is undone");
    else
        Error(std::string(progress.notSaved ? "not saved" : "nothing was changed")
            + (reason.empty() ? "" : ": ") + reason);
}

} // namespace

void StartCalibrationOutput(const Options* options)
{
    progress
        = {options->json, options->windows == "none" && !options->json, "", 0, false, false, false};
}

void PrintCalibration(const CalibrationCourse* course, const PageWords* words)
{
    progress.nobody = progress.nobody || course->step == CourseStep::NOBODY;
    const bool isOver
        = IsOver(course) || (course->step == CourseStep::NOBODY && course->savesUnasked);
    if (LossOf(course) != PanelLoss::NONE && !isOver)
        Print(course, "gone", "");
    else if (course->step == CourseStep::GUIDING)
        PrintTarget(course);
    else if (course->step == CourseStep::TRYING && !course->savesUnasked)
        PrintTrying(course);
    else if (course->step == CourseStep::MISFIT && !course->savesUnasked)
        PrintFault("misfit", FaultText(course->guide.judgement.fault));
    else if (course->step == CourseStep::NOT_SAVED && !course->savesUnasked)
        PrintFault("notSaved", words->reason.data());
    else if (course->step == CourseStep::NOT_UNDONE)
        PrintFault("notUndone", words->reason.data());
    const bool isDone = course->step == CourseStep::SAVED || course->step == CourseStep::UNDONE;
    progress.notSaved = words->reason[0] != 0 && !isDone;
    if (isDone)
        SetOverdueExitCode(EXIT_DONE);
    if (isOver && progress.state != "end")
        PrintEnd(course, words);
    if (isOver)
        progress.state = "end";
}

int CalibrationExitCode(bool saved)
{
    if (platform::IsDisplayLost() && !saved) {
        if (progress.json)
            PrintJson({{"saved", false}, {"reason", "the display is lost"}});
        Error("the display is lost; nothing was changed");
        return EXIT_FAULT;
    }
    if (progress.outputLost && !IsEndRequested()) {
        return OutputFailed();
    }
    if (saved)
        return EXIT_DONE;
    if (progress.notSaved)
        return EXIT_FAULT;
    return progress.nobody ? EXIT_NO_CONTROLLER : EXIT_LEFT;
}

} // namespace korvex::command
