#include "calibration/settings_file.h"

#include <type_traits>

#include "platform/win32.h"
#include "support/owned.h"

namespace korvex {

namespace {

constexpr const WCHAR* CALIBRATION_SECTION = TEXT("Calibration");

int32_t Read(const SettingsPath* path, const SettingKey& key)
{
    SettingText text{};
    return ReadSetting(path, &key, &text);
}

void Write(const SettingsPath* path, const SettingKey& key, int32_t number)
{
    SettingText value{};
    FormatBounded(value.data(), value.size(), TEXT("%d"), number);
    WritePrivateProfileStringW(CALIBRATION_SECTION, key.name, value.data(), path->data());
}

void WriteValues(const SettingsPath* path, const CalibrationData* calib)
{
    VisitSettings(calib, [path](const SettingKey& key, const auto* number) {
        Write(path, key, static_cast<int32_t>(*number));
    });
    // all of them reach the disk now
    WritePrivateProfileStringW(nullptr, nullptr, nullptr, path->data());
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
    GetPrivateProfileStringW(CALIBRATION_SECTION, key->name, key->fallback, text->data(),
        static_cast<DWORD>(text->size()), path->data());
    return ParseInteger(text->data());
}

bool ReadCalibrationFile(CalibrationData* calib)
{
    SettingsPath path{};
    LocateCalibrationFile(&path);
    if (!CanOpen(path.data(), GENERIC_READ | GENERIC_WRITE, 0))
        return false;
    VisitSettings(calib, [&path](const SettingKey& key, auto* number) {
        *number = static_cast<std::decay_t<decltype(*number)>>(Read(&path, key));
    });
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
    if (!LocateCalibrationFile(&path))
        return false;
    WriteValues(&path, calib);
    bool same = CanOpen(path.data(), GENERIC_READ | GENERIC_WRITE, 0);
    VisitSettings(calib, [&path, &same](const SettingKey& key, const auto* number) {
        same = same && Read(&path, key) == static_cast<int32_t>(*number);
    });
    return same;
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
