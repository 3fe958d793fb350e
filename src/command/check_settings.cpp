#include "command/check_settings.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <memory>
#include <string_view>
#include <vector>

#include "calibration/calibration.h"
#include "calibration/mapping.h"
#include "calibration/orientation.h"
#include "calibration/settings_file.h"
#include "link/touch_controller.h"
#include "platform/linux/core/text.h"
#include "platform/linux/files/whole_files.h"
#include "platform/win32.h"

namespace korvex::command {

namespace {

constexpr const char* SUBJECT = "settings";
constexpr const char* CURE = "; calibrate anew with 'korvex paneltest', or put it right by hand";
constexpr uint32_t FINEST_RESOLUTION_BITS = 12;
constexpr int MAX_RAW = (1 << FINEST_RESOLUTION_BITS) - 1;
constexpr int MIN_SPAN = 64; // raw units that calibration points must cover on each axis to mean anything

using ControllerPointer = std::unique_ptr<TouchController, decltype(&ReleaseController)>;

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

// Adds what is to be said of one number.
void CheckNumber(const Setting* setting, int min, int max, Findings* findings)
{
    const std::string number = std::to_string(setting->number);
    if (setting->missing)
        return;
    if (setting->number == 0 && setting->text.find('0') == std::string::npos)
        AddFault(findings, Line(setting) + " is not a whole number, and counts as 0");
    else if (setting->number < min || setting->number > max)
        AddFault(findings, Line(setting) + " is not between " + std::to_string(min) + " and " + std::to_string(max));
    else if (setting->text != number)
        Add(findings, Severity::NOTE, Line(setting) + " is read as " + number);
}

void CheckValue(const SettingsPath* path, const SettingKey& key, int min, int max, Findings* findings)
{
    const Setting setting = ReadSettingOf(path, &key);
    CheckNumber(&setting, min, max, findings);
}

std::string PointCounts()
{
    std::string list = "0";
    for (size_t i = 0; i < POINT_COUNTS.size(); ++i)
        list += (i + 1 == POINT_COUNTS.size() ? " and " : ", ") + std::to_string(POINT_COUNTS[i]);
    return list;
}

// `used` is what the runtime makes of the value.
void CheckPointCount(const SettingsPath* path, uint32_t used, Findings* findings)
{
    const Setting count = ReadSettingOf(path, &SETTING_POINT_COUNT);
    if (static_cast<uint32_t>(count.number) == used)
        CheckNumber(&count, count.number, count.number, findings);
    else
        AddFault(findings, Line(&count) + " is none of " + PointCounts() + ", so the standard box is used");
}

// A box may reach past the panel: its ends are the raw values at the screen's edges.
void CheckBoxSide(const SettingsPath* path, const SettingKey& minimum, const SettingKey& maximum, bool repaired, Findings* findings)
{
    CheckValue(path, minimum, -MAX_RAW, 2 * MAX_RAW, findings);
    CheckValue(path, maximum, -MAX_RAW, 2 * MAX_RAW, findings);
    if (repaired)
        AddFault(findings,
            platform::ToUtf8(minimum.name) + " and " + platform::ToUtf8(maximum.name)
                + " leave the standard box without extent, so a default is used");
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
                AddFault(findings, coordinate.key + " is missing, and counts as 0");
            CheckNumber(&coordinate, 0, MAX_RAW, findings);
            if (findings->size() > before && findings->back().severity == Severity::FAULT)
                return; // the others are likely to be like it
        }
    }
    const auto begin = calib->advPoints.begin();
    const auto end = begin + static_cast<ptrdiff_t>(calib->pointCount);
    for (auto point = begin; point != end; ++point) {
        const auto same = std::find(begin, point, *point);
        if (same == point)
            continue;
        AddFault(findings,
            "the targets " + std::to_string(same - begin + 1) + " and " + std::to_string(point - begin + 1)
                + " were measured at the same place");
        return;
    }
    const auto spanOf = [begin, end](int32_t Point::*axis) {
        const auto [min, max] = std::minmax_element(begin, end, [axis](const Point& a, const Point& b) { return a.*axis < b.*axis; });
        return *max.*axis - *min.*axis;
    };
    if (begin != end && (spanOf(&Point::x) < MIN_SPAN || spanOf(&Point::y) < MIN_SPAN))
        AddFault(findings, "the calibration points lie on a line");
}

void CheckValues(const SettingsPath* path, const CalibrationData* read, Findings* findings)
{
    CalibrationData used = *read;
    RepairCalibration(&used, FINEST_RESOLUTION_BITS);
    CheckValue(path, SETTING_ORIENTATION, 1, static_cast<int>(MAX_ORIENTATION), findings);
    CheckPointCount(path, used.pointCount, findings);
    const bool boxCounts = !MapsByPoints(&used); // the panel test stores none
    CheckBoxSide(path, SETTING_MIN_X, SETTING_MAX_X, boxCounts && read->stdMinX == read->stdMaxX, findings);
    CheckBoxSide(path, SETTING_MIN_Y, SETTING_MAX_Y, boxCounts && read->stdMinY == read->stdMaxY, findings);
    CheckPoints(path, &used, findings);
    if (!HasFault(findings))
        Add(findings, Severity::FINE,
            "'" + SettingsFilePath() + "', "
                + (MapsByPoints(&used) ? std::to_string(used.pointCount) + " calibration points" : "the standard box"));
}

// Why the runtime does not use the file that is there, by the last error.
std::string UnusedReason()
{
    switch (GetLastError()) {
    case ERROR_ACCESS_DENIED:
        return "it cannot be read and written; give yourself permission";
    case ERROR_SHARING_VIOLATION:
        return "another program holds it";
    default:
        return "it is not a file that can be read and written";
    }
}

} // namespace

bool HasFault(const Findings* findings)
{
    return std::any_of(findings->begin(), findings->end(), [](const Finding& finding) { return finding.severity == Severity::FAULT; });
}

std::string SettingsFilePath()
{
    SettingsPath path{};
    return LocateCalibrationFile(&path) ? platform::ToNativePath(path.data()) : "";
}

std::string SavingFault()
{
    SettingsPath path{};
    if (!LocateCalibrationFile(&path))
        return "the path of 'Korvex.ini' in this folder is too long, so it is not used; start in a folder with a shorter path";
    const std::string name = platform::ToNativePath(path.data());
    const ControllerPointer controller(CreateController(), ReleaseController);
    if (controller == nullptr)
        return "memory is short; end other programs";
    const bool used = LoadCalibrationFile(controller.get());
    const bool missing = !used && GetLastError() == ERROR_FILE_NOT_FOUND;
    if (!used && !missing)
        return "'" + name + "' is not used: " + UnusedReason();
    std::string content;
    if (used && !platform::ReadWholeFile(name, &content))
        return "'" + name + "' cannot be read: " + strerror(errno);
    if (!platform::CanChangeWholeFile(name))
        return "'" + name + "' cannot be " + (missing ? "created" : "saved") + ": " + strerror(errno)
            + "; give yourself permission to write it and its folder, or start in another one";
    return "";
}

void CheckSettings(Findings* findings)
{
    const std::string fault = SavingFault();
    if (!fault.empty())
        Add(findings, Severity::FAULT, fault);
    SettingsPath path{};
    const ControllerPointer controller(CreateController(), ReleaseController);
    if (controller == nullptr || !LocateCalibrationFile(&path))
        return;
    Findings ofValues;
    if (LoadCalibrationFile(controller.get()))
        CheckValues(&path, &controller->calib, &ofValues);
    else if (fault.empty())
        Add(&ofValues, Severity::NOTE, "there is no '" + SettingsFilePath() + "': panels use the calibration in their own memory");
    if (!fault.empty()) // a good word would contradict it
        std::erase_if(ofValues, [](const Finding& finding) { return finding.severity == Severity::FINE; });
    findings->insert(findings->end(), ofValues.begin(), ofValues.end());
}

} // namespace korvex::command
