#include "command/check/check_settings.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <utility>

#include "calibration/calibration.h"
#include "calibration/mapping.h"
#include "calibration/orientation.h"
#include "calibration/settings_file.h"
#include "link/touch_controller.h"
#include "platform/linux/core/text.h"
#include "platform/linux/files/profile_file.h"
#include "platform/win32.h"
#include "runtime/calibration_fault.h"
#include "runtime/settings_state.h"

namespace korvex::command {

namespace {

constexpr const char* SUBJECT = "settings";
constexpr const char* CURE = "; 'korvex calibrate' makes a new one";
constexpr int MAX_RAW = (1 << HIGH_RESOLUTION_BITS) - 1;

void Add(Findings* findings, Severity severity, const std::string& text)
{
    findings->push_back({severity, SUBJECT, text});
}

void AddFault(Findings* findings, const std::string& text)
{
    Add(findings, Severity::FAULT, text + CURE);
}

std::string TextOf(const SettingText* text)
{
    return platform::ToUtf8(text->data());
}

// A value as the file has it and as the runtime reads it.
struct Setting {
    std::string key;
    std::string text; // that it is read from
    int number;
    bool missing; // the number is the default
};

Setting ReadSettingOf(const SettingsPath* path, const SettingKey* key)
{
    SettingText text{};
    SetLastError(ERROR_SUCCESS);
    const int number = ReadSetting(path, key, &text);
    const bool missing = GetLastError() == ERROR_FILE_NOT_FOUND;
    return {platform::ToUtf8(key->name), TextOf(&text), number, missing};
}

std::string Line(const Setting* setting)
{
    return "'" + setting->key + "=" + setting->text + "'";
}

// Adds the findings on one number.
void CheckNumber(const Setting* setting, int min, int max, Findings* findings)
{
    const std::string number = std::to_string(setting->number);
    if (setting->missing)
        return;
    if (setting->number == 0 && setting->text.find('0') == std::string::npos)
        AddFault(findings, Line(setting) + " is not a whole number and is read as 0");
    else if (setting->number < min || setting->number > max)
        AddFault(findings,
            Line(setting) + " is not between " + std::to_string(min) + " and "
                + std::to_string(max));
    else if (setting->text != number)
        Add(findings, Severity::NOTE, Line(setting) + " is read as " + number);
}

void CheckValue(
    const SettingsPath* path, const SettingKey& key, int min, int max, Findings* findings)
{
    const Setting setting = ReadSettingOf(path, &key);
    CheckNumber(&setting, min, max, findings);
}

// Whether the runtime may read a key in the section; points of an earlier calibration stay in the
// file.
bool IsKnownKey(std::u16string_view name)
{
    CalibrationData all{};
    all.pointCount = MAX_CALIBRATION_POINTS;
    bool known = false;
    VisitSettings(&all, [&](const SettingKey& key, const auto* /*number*/) {
        known = known || platform::EqualNoCase(name, key.name);
    });
    return known;
}

// `used` is the value as the runtime reads it.
void CheckPointCount(const SettingsPath* path, uint32_t used, Findings* findings)
{
    const Setting count = ReadSettingOf(path, &SETTING_POINT_COUNT);
    if (static_cast<uint32_t>(count.number) == used)
        CheckNumber(&count, count.number, count.number, findings);
    else
        AddFault(
            findings, Line(&count) + " is none of 0, 4, 9, 16 and 25, so the standard box is used");
}

// A box may reach past the panel: its ends are the raw values at the screen's edges.
void CheckBoxSide(const SettingsPath* path, const SettingKey& minimum, const SettingKey& maximum,
    bool used, Findings* findings)
{
    CheckValue(path, minimum, -MAX_RAW, 2 * MAX_RAW, findings);
    CheckValue(path, maximum, -MAX_RAW, 2 * MAX_RAW, findings);
    const auto end
        = [path](const SettingKey& key) { return int64_t{ReadSettingOf(path, &key).number}; };
    const int64_t span = std::abs(end(maximum) - end(minimum));
    if (used && span != 0 && span < MIN_BOX_SPAN)
        AddFault(findings,
            platform::ToUtf8(minimum.name) + " and " + platform::ToUtf8(maximum.name)
                + " span less than a fifth of the panel");
    if (used && span == 0)
        AddFault(findings,
            platform::ToUtf8(minimum.name) + " and " + platform::ToUtf8(maximum.name)
                + " make the standard box empty, so a default is used");
}

void CheckPoints(const SettingsPath* path, const CalibrationData* calib, Findings* findings)
{
    for (uint32_t i = 0; i < calib->pointCount; ++i) {
        for (const WCHAR axis : {u'X', u'Y'}) {
            SettingText name{};
            const SettingKey key = PointSetting(i, axis, &name);
            const Setting coordinate = ReadSettingOf(path, &key);
            const size_t before = findings->size();
            if (coordinate.missing)
                AddFault(findings, coordinate.key + " is missing and is read as 0");
            CheckNumber(&coordinate, 0, MAX_RAW, findings);
            if (findings->size() > before && findings->back().severity == Severity::FAULT)
                return; // the others are likely to be like it
        }
    }
    const PointsJudgement judgement = JudgePoints(calib, ResolutionOfPoints(calib));
    if (judgement.fault != PointsFault::NONE)
        AddFault(findings, PointsFaultText(&judgement));
}

// Lines of the file that look like settings but that the runtime does not read.
void CheckLines(const std::string& path, Findings* findings)
{
    platform::ProfileDocument file;
    if (!platform::ReadProfile(path, &file))
        return;
    bool inSection = false;
    bool hasSection = false;
    bool empty = true;
    for (const std::u16string& line : file.lines) {
        if (line.find(u'\0') != std::u16string::npos) {
            AddFault(
                findings, "it is UTF-16 without the mark at its start, so nothing in it is read");
            return;
        }
        const std::u16string_view text = platform::Trim(line);
        empty = empty && text.empty();
        if (text.starts_with(u'[')) {
            inSection = platform::EqualNoCase(text, u"[Calibration]");
            hasSection = hasSection || inSection;
        } else if (const size_t equals = text.find(u'=');
            inSection && !text.starts_with(u';') && equals != std::u16string_view::npos) {
            if (!IsKnownKey(platform::Trim(text.substr(0, equals))))
                AddFault(
                    findings, "'" + platform::ToUtf8(text) + "' is not read: there is no such key");
        }
    }
    if (!hasSection && !empty)
        AddFault(findings, "it has no section [Calibration], so nothing in it is read");
}

void CheckValues(const SettingsPath* path, const CalibrationData* read, Findings* findings)
{
    CalibrationData used = *read;
    RepairCalibration(&used, HIGH_RESOLUTION_BITS);
    CheckValue(path, SETTING_ORIENTATION, 1, static_cast<int>(MAX_ORIENTATION), findings);
    CheckPointCount(path, used.pointCount, findings);
    const bool boxCounts = !MapsByPoints(&used); // the panel test stores none
    CheckBoxSide(path, SETTING_MIN_X, SETTING_MAX_X, boxCounts, findings);
    CheckBoxSide(path, SETTING_MIN_Y, SETTING_MAX_Y, boxCounts, findings);
    CheckPoints(path, &used, findings);
    CheckLines(SettingsFilePath(), findings);
    if (!HasFault(findings))
        Add(findings, Severity::OK,
            "'" + SettingsFilePath() + "', "
                + (MapsByPoints(&used) ? std::to_string(used.pointCount) + " calibration points"
                                       : "the standard box"));
}

} // namespace

void CheckSettingsIn(const std::string& folder, const std::string& subject, Findings* findings)
{
    const FolderVisit visit(folder);
    const std::string file = folder + "/" + platform::ToUtf8(SETTINGS_FILE);
    if (!visit.entered || (access(file.c_str(), R_OK | W_OK) != 0 && errno == EACCES)) {
        findings->push_back({Severity::NOTE, subject,
            "its calibration, '" + file + "', can be read only by root and its own user"});
        return;
    }
    Findings found;
    CheckSettings(&found);
    struct stat owned{};
    struct stat own{};
    constexpr mode_t OF_GROUP = S_IRGRP | S_IWGRP;
    if (stat(file.c_str(), &owned) == 0 && stat(".", &own) == 0 && owned.st_uid != own.st_uid
        && !(owned.st_gid == own.st_gid && (owned.st_mode & OF_GROUP) == OF_GROUP))
        AddFault(&found,
            "'" + file
                + "' belongs to another user than its folder, so the panel's runtime may "
                  "not use it; 'chown --reference="
                + folder + " " + file + "'");
    for (Finding& finding : found) {
        finding.subject = subject;
        findings->push_back(std::move(finding));
    }
}

void CheckSettings(Findings* findings)
{
    const std::string fault = SettingsFault();
    if (!fault.empty())
        Add(findings, Severity::FAULT, fault);
    SettingsPath path{};
    if (!LocateCalibrationFile(&path))
        return;
    CalibrationData read{};
    Findings ofValues;
    if (ReadCalibrationFile(&read))
        CheckValues(&path, &read, &ofValues);
    else if (fault.empty())
        Add(&ofValues, Severity::NOTE,
            "there is no '" + SettingsFilePath()
                + "': panels use the calibration in their own memory (not calibrated by korvex "
                  "yet; "
                  "run korvex calibrate)");
    if (!fault.empty()) // a good word would contradict it
        std::erase_if(
            ofValues, [](const Finding& finding) { return finding.severity == Severity::OK; });
    findings->insert(findings->end(), ofValues.begin(), ofValues.end());
}

} // namespace korvex::command
