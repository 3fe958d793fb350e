#include "command/calibration_output.h"

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "cli/text_layout.h"
#include "control/json_line.h"
#include "platform/linux/core/text.h"
#include "platform/linux/windows/messages.h"
#include "process/exit_codes.h"
#include "process/message.h"
#include "process/shutdown.h"

namespace korvex::command {

namespace {

constexpr const char* ACCEPT_SAVES = "; '--accept' saves all the same";

// The last state that was printed, so that each is printed once.
struct Progress {
    bool json;
    bool words; // each state on standard error, because there is no window
    std::string state;
    uint32_t target;
    bool noneFound;  // there was no panel
    bool notSaved;   // a store has failed, and what came after has not changed that
    bool outputLost; // standard output takes no more
};

Progress progress;

void PrintEvent(const Json& line)
{
    progress.outputLost = !WriteOutput(LineOf(line)) || progress.outputLost;
}

void Print(const CalibrationFlow* flow, const std::string& state, const std::string& reason)
{
    const uint32_t target = flow->targets.current;
    if (state == progress.state && target == progress.target)
        return;
    progress.state = state;
    progress.target = target;
    const POINT pixel = PixelOf(flow->screen, TargetPlace(&flow->targets, target));
    if (progress.json) {
        Json line{{"target", target + 1}, {"of", flow->targets.calib.pointCount}, {"x", pixel.x},
            {"y", pixel.y}, {"width", flow->screen.x}, {"height", flow->screen.y},
            {"state", state}};
        if (!reason.empty())
            line["reason"] = reason;
        PrintEvent(line);
    }
    if (progress.words)
        fprintf(stderr, "target %u of %u at %d, %d: %s%s%s\n", target + 1,
            flow->targets.calib.pointCount, pixel.x, pixel.y, state.c_str(),
            reason.empty() ? "" : ": ", reason.c_str());
}

void PrintTarget(const CalibrationFlow* flow)
{
    const CalibrationTargets* targets = &flow->targets;
    const std::string reason = platform::ToUtf8(ReasonText(targets->reason));
    switch (targets->step) {
    case TargetStep::SAMPLING:
        return Print(flow, "sampling", "");
    case TargetStep::TAKEN:
        return Print(flow, "taken", "");
    case TargetStep::LIFTING:
        return Print(flow, "again", reason);
    default:
        if (targets->reason != RetakeReason::NONE && progress.state != "again"
            && progress.state != "touch")
            Print(flow, "again", reason);
        return Print(flow, "touch", "");
    }
}

std::vector<double> Residuals(const CalibrationFlow* flow)
{
    std::vector<double> residuals;
    for (uint32_t target = 0; target < flow->targets.calib.pointCount; ++target)
        residuals.push_back(std::round(ResidualPixels(flow, target) * 100) / 100);
    return residuals;
}

std::string AccuracyName(const CalibrationFlow* flow)
{
    return platform::ToUtf8(AccuracyText(AccuracyOf(flow, DistanceOff(flow))));
}

// Which target does not fit the others, and how far it is off; of four each is as far.
std::string DoubtText(const CalibrationFlow* flow)
{
    const uint32_t target = WorstTarget(flow);
    const std::string name = flow->targets.judgement.target != NO_TARGET
        ? "target " + std::to_string(target + 1)
        : "one of the targets";
    return name + " was touched "
        + Formatted("%.1f", ResidualPercent(&flow->targets.judgement, target))
        + " % of the screen from where the others predict it";
}

// Prints that a result can be tried.
void PrintTrying(const CalibrationFlow* flow)
{
    if (progress.json && progress.state != "try") {
        Json line{
            {"state", "try"}, {"accuracy", AccuracyName(flow)}, {"residuals", Residuals(flow)}};
        if (IsDoubtful(flow))
            line["reason"] = DoubtText(flow);
        PrintEvent(line);
    }
    progress.state = "try";
}

// The reason why there is no result to try.
void PrintFault(const std::string& state, const WCHAR* reason)
{
    if (progress.json && progress.state != state)
        PrintEvent({{"state", state}, {"reason", platform::ToUtf8(reason)}});
    progress.state = state;
}

// Why nothing was saved; empty if the person has ended it.
std::string EndReason(const CalibrationFlow* flow, const PageWords* words)
{
    const bool isAlone = flow->savesUnasked && !flow->accepts;
    if (progress.noneFound)
        return "no controller was found on any port that was asked";
    if (words->reason[0] != 0)
        return platform::ToUtf8(words->reason.data());
    if (IsDoubtful(flow))
        return isAlone ? DoubtText(flow) + ACCEPT_SAVES : "";
    if (flow->targets.step == TargetStep::MISFIT)
        return platform::ToUtf8(FaultText(flow->targets.judgement.fault));
    if (flow->targets.step == TargetStep::REVIEW && isAlone && flow->overwritesOtherPanel)
        return "the file has the calibration of " + platform::ToUtf8(words->file.other.data())
            + ACCEPT_SAVES;
    return "";
}

// The result, once there is one.
void PrintEnd(const CalibrationFlow* flow, const PageWords* words)
{
    const bool saved = flow->step == FlowStep::SAVED;
    const bool undone = flow->step == FlowStep::UNDONE;
    const bool judged
        = flow->targets.step == TargetStep::REVIEW || flow->targets.step == TargetStep::MISFIT;
    const std::string file = platform::ToUtf8(words->file.path.data());
    const std::string reason = saved || undone ? "" : EndReason(flow, words);
    if (progress.json) {
        Json line{{"saved", saved}, {"file", file}};
        if (undone)
            line["undone"] = true;
        if (judged && !undone) {
            line["accuracy"] = AccuracyName(flow);
            line["residuals"] = Residuals(flow);
        }
        if (!reason.empty())
            line["reason"] = reason;
        PrintEvent(line);
    }
    if (saved)
        Notice("saved in '" + file + "'; accuracy: " + AccuracyName(flow) + " ("
            + Formatted("%.1f", DistanceOff(flow)) + " pixels)");
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

void PrintCalibration(const CalibrationFlow* flow, const PageWords* words)
{
    progress.noneFound = progress.noneFound || flow->step == FlowStep::NONE_FOUND;
    const bool isOver = IsOver(flow) || (flow->step == FlowStep::NONE_FOUND && flow->savesUnasked);
    if (LossOf(flow) != PanelLoss::NONE && !isOver)
        Print(flow, "gone", "");
    else if (flow->step == FlowStep::MEASURING)
        PrintTarget(flow);
    else if (flow->step == FlowStep::TRYING && !flow->savesUnasked)
        PrintTrying(flow);
    else if (flow->step == FlowStep::IMPOSSIBLE && !flow->savesUnasked)
        PrintFault("misfit", FaultText(flow->targets.judgement.fault));
    else if (flow->step == FlowStep::NOT_SAVED && !flow->savesUnasked)
        PrintFault("notSaved", words->reason.data());
    else if (flow->step == FlowStep::NOT_UNDONE)
        PrintFault("notUndone", words->reason.data());
    const bool isDone = flow->step == FlowStep::SAVED || flow->step == FlowStep::UNDONE;
    progress.notSaved = words->reason[0] != 0 && !isDone;
    if (isDone)
        SetOverdueExitCode(EXIT_DONE);
    if (isOver && progress.state != "end")
        PrintEnd(flow, words);
    if (isOver)
        progress.state = "end";
}

int CalibrationExitCode(bool saved)
{
    if (platform::IsDisplayLost() && !saved) {
        if (progress.json)
            PrintEvent({{"saved", false}, {"reason", "the display is lost"}});
        Error("the display is lost; nothing was changed");
        return EXIT_FAULT;
    }
    if (progress.outputLost && !IsShutdownRequested()) {
        return OutputFailed();
    }
    if (saved)
        return EXIT_DONE;
    if (progress.notSaved)
        return EXIT_FAULT;
    return progress.noneFound ? EXIT_NO_CONTROLLER : EXIT_NOT_SAVED;
}

} // namespace korvex::command
