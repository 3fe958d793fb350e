#include "calibration/settings_file.h"

#include <algorithm>

#include "platform/win32.h"
#include "support/owned.h"

namespace korvex {

namespace {

constexpr const WCHAR* SECTION = TEXT("Calibration");

int32_t Read(const SettingsPath* path, const SettingKey& key)
{
    SettingText text{};
    return ReadSetting(path, &key, &text);
}

void Write(const SettingsPath* path, const SettingKey& key, int32_t number)
{
    SettingText value{};
    FormatBounded(value.data(), value.size(), TEXT("%d"), number);
    WritePrivateProfileStringW(SECTION, key.name, value.data(), path->data());
}

void WriteValues(const SettingsPath* path, const CalibrationData* calib)
{
    Write(path, SETTING_ORIENTATION, static_cast<int32_t>(calib->orientation));
    Write(path, SETTING_POINT_COUNT, static_cast<int32_t>(calib->pointCount));
    Write(path, SETTING_MIN_X, calib->stdMinX);
    Write(path, SETTING_MAX_X, calib->stdMaxX);
    Write(path, SETTING_MIN_Y, calib->stdMinY);
    Write(path, SETTING_MAX_Y, calib->stdMaxY);
    SettingText name{};
    for (uint32_t i = 0; i < calib->pointCount && i < MAX_CALIBRATION_POINTS; ++i) {
        Write(path, PointSetting(i, 'X', &name), calib->advPoints[i].x);
        Write(path, PointSetting(i, 'Y', &name), calib->advPoints[i].y);
    }
    // all of them reach the disk now
    WritePrivateProfileStringW(nullptr, nullptr, nullptr, path->data());
}

// Whether two calibrations have the same values in a file.
bool HasSameValues(const CalibrationData* a, const CalibrationData* b)
{
    const auto points
        = static_cast<std::ptrdiff_t>(std::min(a->pointCount, MAX_CALIBRATION_POINTS));
    return a->orientation == b->orientation && a->pointCount == b->pointCount
        && a->stdMinX == b->stdMinX && a->stdMaxX == b->stdMaxX && a->stdMinY == b->stdMinY
        && a->stdMaxY == b->stdMaxY
        && std::equal(a->advPoints.begin(), a->advPoints.begin() + points, b->advPoints.begin());
}

bool CanOpen(const WCHAR* path, DWORD access, DWORD attributes)
{
    const OwnedHandle file(
        CreateFileW(path, access, FILE_SHARE_READ, nullptr, OPEN_EXISTING, attributes, nullptr));
    return IsOpen(file.value);
}

} // namespace

SettingKey PointSetting(uint32_t index, WCHAR axis, SettingText* name)
{
    FormatBounded(name->data(), name->size(), TEXT("ADV_%02d_%c"), index, axis);
    return {name->data(), TEXT("0")};
}

bool LocateCalibrationFile(SettingsPath* path)
{
    const DWORD length
        = GetFullPathNameW(SETTINGS_FILE, static_cast<DWORD>(path->size()), path->data(), nullptr);
    const bool fits = length > 0 && length < path->size();
    if (!fits)
        (*path)[0] = 0;
    return fits;
}

int32_t ReadSetting(const SettingsPath* path, const SettingKey* key, SettingText* text)
{
    GetPrivateProfileStringW(SECTION, key->name, key->fallback, text->data(),
        static_cast<DWORD>(text->size()), path->data());
    return ParseInteger(text->data());
}

bool ReadCalibrationFile(CalibrationData* calib)
{
    SettingsPath path{};
    LocateCalibrationFile(&path);
    if (!CanOpen(path.data(), GENERIC_READ | GENERIC_WRITE, 0))
        return false;
    calib->orientation = static_cast<uint32_t>(Read(&path, SETTING_ORIENTATION));
    calib->pointCount = static_cast<uint32_t>(Read(&path, SETTING_POINT_COUNT));
    calib->stdMinX = Read(&path, SETTING_MIN_X);
    calib->stdMaxX = Read(&path, SETTING_MAX_X);
    calib->stdMinY = Read(&path, SETTING_MIN_Y);
    calib->stdMaxY = Read(&path, SETTING_MAX_Y);
    SettingText name{};
    for (uint32_t i = 0; i < calib->pointCount && i < MAX_CALIBRATION_POINTS; ++i) {
        calib->advPoints[i].x = Read(&path, PointSetting(i, 'X', &name));
        calib->advPoints[i].y = Read(&path, PointSetting(i, 'Y', &name));
    }
    return true;
}

bool LoadCalibrationFile(TouchController* controller)
{
    return ReadCalibrationFile(&controller->calib);
}

bool SaveCalibrationFile(TouchController* controller)
{
    const CalibrationData calib = CopyCalibration(controller);
    SettingsPath path{};
    if (LocateCalibrationFile(&path))
        WriteValues(&path, &calib);
    return true;
}

bool WriteCalibrationFile(const CalibrationData* calib)
{
    SettingsPath path{};
    CalibrationData read{};
    if (!LocateCalibrationFile(&path))
        return false;
    WriteValues(&path, calib);
    return ReadCalibrationFile(&read) && HasSameValues(calib, &read);
}

bool LocateSettingsFile(WCHAR* path)
{
    SettingsPath folder{};
    const bool folderKnown
        = SHGetFolderPathW(nullptr, CSIDL_SYSTEM, nullptr, SHGFP_TYPE_DEFAULT, folder.data()) >= 0;
    FormatBounded(path, TEXT_CAPACITY, TEXT("%s\\%s"), folder.data(), SETTINGS_FILE);
    return folderKnown && CanOpen(path, GENERIC_READ, FILE_ATTRIBUTE_NORMAL);
}

} // namespace korvex
