#include "runtime/calibration_history.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <iterator>
#include <optional>
#include <string_view>

#include "calibration/calibration.h"
#include "calibration/settings_file.h"
#include "console/plausibility.h"
#include "control/calibration_json.h"
#include "control/control_client.h"
#include "platform/linux/files/whole_files.h"
#include "runtime/settings_state.h"

namespace korvex::command {

namespace {

constexpr size_t MAX_VERSIONS = 10;

std::string HistoryPath()
{
    return SettingsFilePath() + ".previous";
}

// An earlier calibration, with nothing in it that is not its own; null where it is none.
Json VersionOf(const Json& json)
{
    CalibrationData calib{};
    const bool hasParts = json.is_object() && json.contains("calibration")
        && json["calibration"].is_object() && json["calibration"].size() == 3;
    if (!hasParts || !ParseCalibration(json["calibration"], &calib).empty())
        return nullptr;
    Json residuals = Json::array();
    if (json.contains("residuals") && json["residuals"].size() == calib.pointCount)
        std::copy_if(json["residuals"].begin(), json["residuals"].end(),
            std::back_inserter(residuals), [](const Json& value) { return value.is_number(); });
    return {{"until", TextIn(json, "until")}, {"residuals", residuals},
        {"calibration", CalibrationJson(&calib)}};
}

// People can change the file: what is not understood in it is left out.
CalibrationHistory Parse(std::string_view content)
{
    const Json json = ParseAnswer(content);
    CalibrationHistory history{"", Json::array(), nullptr};
    if (!json.is_object())
        return history;
    history.port = TextIn(json, "port");
    const Json none = Json::array();
    for (const Json& part : json.contains("previous") ? json["previous"] : none) {
        const Json version = VersionOf(part);
        if (!version.is_null() && history.previous.size() < MAX_VERSIONS)
            history.previous.push_back(version);
    }
    if (json.contains("undone"))
        history.undone = json["undone"];
    return history;
}

// How far its targets lie from where the others let expect them, in percent of the screen.
Json ResidualsOf(CalibrationData calib, uint32_t resolutionBits)
{
    RepairCalibration(&calib, resolutionBits);
    const PointsJudgement judgement = JudgePoints(&calib, resolutionBits);
    Json residuals = Json::array();
    for (uint32_t target = 0; target < calib.pointCount; ++target)
        residuals.push_back(std::round(ResidualPercent(&judgement, target) * 100) / 100);
    return residuals;
}

std::string TextOf(const Json& json)
{
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// The file's content, a line each for what people look for in it.
std::string ContentOf(const CalibrationHistory* history)
{
    std::string text = "{\"port\":" + TextOf(history->port);
    if (!history->undone.is_null())
        text += ",\n\"undone\":" + TextOf(history->undone);
    text += ",\n\"previous\":[";
    for (const Json& version : history->previous)
        text += (text.ends_with('[') ? "\n" : ",\n") + TextOf(version);
    return text + "]}\n";
}

// Changes the history's file; empty, or why not.
template <typename Change>
std::string ChangeHistory(Change change)
{
    const auto replace = [&change](std::string_view content) -> std::optional<std::string> {
        CalibrationHistory history = Parse(content);
        change(&history);
        return ContentOf(&history);
    };
    if (platform::ChangeWholeFile(HistoryPath(), replace, platform::Durability::SYNCED))
        return "";
    return "'" + HistoryPath() + "' cannot be written: " + strerror(errno);
}

} // namespace

CalibrationHistory ReadCalibrationHistory()
{
    std::string content;
    platform::ReadWholeFile(HistoryPath(), &content);
    return Parse(content);
}

std::string KeepReplaced(const std::string& port, const CalibrationData* replaced,
    const CalibrationData* saved, uint32_t resolutionBits)
{
    const Json calibration = CalibrationJson(replaced);
    const bool same = calibration == CalibrationJson(saved);
    const Json version{{"until", TimeJson(std::chrono::system_clock::now())},
        {"residuals", ResidualsOf(*replaced, resolutionBits)}, {"calibration", calibration}};
    return ChangeHistory([&](CalibrationHistory* history) {
        history->port = port;
        if (!same)
            history->previous.insert(history->previous.begin(), version);
        if (history->previous.size() > MAX_VERSIONS)
            history->previous.erase(
                history->previous.begin() + MAX_VERSIONS, history->previous.end());
    });
}

std::string UndoSave(CalibrationData* restored, std::string* until)
{
    const CalibrationHistory history = ReadCalibrationHistory();
    if (history.previous.empty())
        return "no earlier calibration is kept";
    const Json undone = CalibrationJson(restored);
    const Json& latest = history.previous.front();
    ParseCalibration(latest["calibration"], restored); // as it was read, so it can be
    if (!WriteCalibrationFile(restored)) {
        const std::string fault = SavingFault();
        return fault.empty() ? "'" + SettingsFilePath() + "' cannot be written" : fault;
    }
    *until = TextIn(latest, "until");
    // Where that cannot be written, the next undo brings back the same one.
    ChangeHistory([&](CalibrationHistory* changed) {
        changed->undone = undone;
        if (!changed->previous.empty() && changed->previous.front() == latest)
            changed->previous.erase(changed->previous.begin());
    });
    return "";
}

} // namespace korvex::command
