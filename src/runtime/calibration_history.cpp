#include "runtime/calibration_history.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string_view>
#include <system_error>

#include "calibration/calibration.h"
#include "calibration/settings_file.h"
#include "console/plausibility.h"
#include "control/calibration_json.h"
#include "control/control_client.h"
#include "machine/port_names.h"
#include "platform/linux/files/whole_files.h"
#include "runtime/settings_state.h"

namespace korvex::command {

namespace {

constexpr size_t MAX_VERSIONS = 10;

std::string HistoryPath()
{
    const std::string path = SettingsFilePath();
    return path.empty() ? path : path + ".previous";
}

// An earlier calibration, reduced to its known members; null if it is none.
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
    return {{"port", TextIn(json, "port")}, {"until", TextIn(json, "until")},
        {"residuals", residuals}, {"calibration", CalibrationJson(&calib)}};
}

// The earlier calibrations of an array. Parts that are not understood are skipped: people can edit
// the file.
Json VersionsIn(const Json& json, const char* key)
{
    Json versions = Json::array();
    const Json none = Json::array();
    for (const Json& part : json.contains(key) ? json[key] : none) {
        const Json version = VersionOf(part);
        if (!version.is_null() && versions.size() < MAX_VERSIONS)
            versions.push_back(version);
    }
    return versions;
}

void AddVersion(Json* versions, const Json& version)
{
    versions->insert(versions->begin(), version);
    if (versions->size() > MAX_VERSIONS)
        versions->erase(versions->begin() + MAX_VERSIONS, versions->end());
}

CalibrationHistory Parse(std::string_view content)
{
    const Json json = ParseAnswer(content);
    return json.is_object() ? CalibrationHistory{TextIn(json, "port"), VersionsIn(json, "previous"),
                                  VersionsIn(json, "undone")}
                            : CalibrationHistory{"", Json::array(), Json::array()};
}

// How far its targets lie from where the others predict them, in percent of the screen.
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

// A line for each calibration, for people who read the file.
std::string LinesOf(const char* key, const Json& versions)
{
    std::string text = ",\n\"" + std::string(key) + "\":[";
    for (const Json& version : versions)
        text += (text.ends_with('[') ? "\n" : ",\n") + TextOf(version);
    return text + "]";
}

std::string ContentOf(const CalibrationHistory* history)
{
    return "{\"port\":" + TextOf(history->port) + LinesOf("previous", history->previous)
        + LinesOf("undone", history->undone) + "}\n";
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

std::string OtherPanelOf(const CalibrationHistory* history, const std::string& port)
{
    const bool isSame = history->port.empty() || IsSamePort(history->port, port)
        || PanelNameOf(history->port) == PanelNameOf(port);
    return isSame ? "" : PanelTitle(history->port);
}

CalibrationData PreviousCalibration(const CalibrationData* used, uint32_t resolutionBits)
{
    CalibrationData replaced = *used;
    if (ReadCalibrationFile(&replaced))
        RepairCalibration(&replaced, resolutionBits);
    return replaced;
}

std::string KeepPreviousCalibration(const std::string& port, const CalibrationData* replaced,
    const CalibrationData* saved, uint32_t resolutionBits)
{
    const Json calibration = CalibrationJson(replaced);
    const bool isSame = calibration == CalibrationJson(saved);
    return ChangeHistory([&](CalibrationHistory* history) {
        if (!isSame)
            AddVersion(&history->previous,
                {{"port", history->port}, {"until", TimeJson(std::chrono::system_clock::now())},
                    {"residuals", ResidualsOf(*replaced, resolutionBits)},
                    {"calibration", calibration}});
        history->port = port;
    });
}

std::string ChangePortInHistory(const std::string& before, const std::string& port)
{
    if (std::error_code error; !std::filesystem::exists(HistoryPath(), error))
        return "";
    return ChangeHistory([&](CalibrationHistory* history) {
        if (history->port == before)
            history->port = port;
        for (Json* versions : {&history->previous, &history->undone}) {
            for (Json& version : *versions) {
                if (TextIn(version, "port") == before)
                    version["port"] = port;
            }
        }
    });
}

std::string UndoSave(const std::string& port, const std::string& until, CalibrationData* restored)
{
    const CalibrationHistory history = ReadCalibrationHistory();
    if (history.previous.empty())
        return "no earlier calibration is kept";
    const Json latest = history.previous.front();
    if (!until.empty() && latest["until"] != until)
        return "another calibration has been saved since";
    if (const std::string other = port.empty() ? "" : OtherPanelOf(&history, port); !other.empty())
        return "the last save in '" + SettingsFilePath() + "' was for " + other;
    CalibrationData undone{};
    const bool hasFile = ReadCalibrationFile(&undone);
    RepairCalibration(&undone, HIGH_RESOLUTION_BITS);
    ParseCalibration(latest["calibration"], restored); // it was parsed before, so it can be
    if (!WriteCalibrationFile(restored)) {
        const std::string fault = SettingsFault();
        return fault.empty() ? "'" + SettingsFilePath() + "' cannot be written" : fault;
    }
    // If that cannot be written, the next undo restores the same one again.
    ChangeHistory([&](CalibrationHistory* changed) {
        if (hasFile)
            AddVersion(&changed->undone,
                {{"port", changed->port}, {"until", TimeJson(std::chrono::system_clock::now())},
                    {"residuals", Json::array()}, {"calibration", CalibrationJson(&undone)}});
        if (!changed->previous.empty() && changed->previous.front() == latest)
            changed->previous.erase(changed->previous.begin());
        changed->port = TextIn(latest, "port");
    });
    return "";
}

} // namespace korvex::command
