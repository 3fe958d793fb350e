#include "calibration/settings_file.h"

#include <array>
#include <cstddef>

#include "platform/win32.h"
#include "support/owned.h"

namespace korvex {

namespace {

constexpr const WCHAR* FILE_NAME = TEXT("Korvex.ini");
constexpr const WCHAR* SECTION = TEXT("Calibration");
constexpr size_t VALUE_CAPACITY = 32; // UTF-16 units with terminator

using Path = std::array<WCHAR, TEXT_CAPACITY>;
using Key = std::array<WCHAR, VALUE_CAPACITY>;

// The runtime's file; an empty path, which names no file, when the current directory's is too long.
Path SettingsPath()
{
    Path path{};
    const DWORD length = GetFullPathNameW(FILE_NAME, static_cast<DWORD>(path.size()), path.data(), nullptr);
    if (length >= path.size())
        path[0] = 0;
    return path;
}

Key PointKey(uint32_t index, WCHAR axis)
{
    Key key{};
    FormatBounded(key.data(), key.size(), TEXT("ADV_%02d_%c"), index, axis);
    return key;
}

int32_t ReadInteger(const Path* path, const WCHAR* key, const WCHAR* fallback)
{
    std::array<WCHAR, VALUE_CAPACITY> value{};
    GetPrivateProfileStringW(SECTION, key, fallback, value.data(), static_cast<DWORD>(value.size()), path->data());
    return ParseInteger(value.data());
}

void WriteInteger(const Path* path, const WCHAR* key, int32_t number)
{
    std::array<WCHAR, VALUE_CAPACITY> value{};
    FormatBounded(value.data(), value.size(), TEXT("%d"), number);
    WritePrivateProfileStringW(SECTION, key, value.data(), path->data());
}

bool CanOpen(const WCHAR* path, DWORD access, DWORD attributes)
{
    const OwnedHandle file(CreateFileW(path, access, FILE_SHARE_READ, nullptr, OPEN_EXISTING, attributes, nullptr));
    return IsOpen(file.value);
}

} // namespace

bool LoadCalibrationFile(TouchController* controller)
{
    const Path path = SettingsPath();
    if (!CanOpen(path.data(), GENERIC_READ | GENERIC_WRITE, 0))
        return false;
    CalibrationData* calib = &controller->calib;
    calib->orientation = static_cast<uint32_t>(ReadInteger(&path, TEXT("PanelOrient"), TEXT("1")));
    calib->pointCount = static_cast<uint32_t>(ReadInteger(&path, TEXT("Mode"), TEXT("0")));
    calib->stdMinX = ReadInteger(&path, TEXT("STD_MIN_X"), TEXT("0"));
    calib->stdMaxX = ReadInteger(&path, TEXT("STD_MAX_X"), TEXT("1023"));
    calib->stdMinY = ReadInteger(&path, TEXT("STD_MIN_Y"), TEXT("0"));
    calib->stdMaxY = ReadInteger(&path, TEXT("STD_MAX_Y"), TEXT("1023"));
    for (uint32_t i = 0; i < calib->pointCount && i < MAX_CALIBRATION_POINTS; ++i) {
        calib->advPoints[i].x = ReadInteger(&path, PointKey(i, 'X').data(), TEXT("0"));
        calib->advPoints[i].y = ReadInteger(&path, PointKey(i, 'Y').data(), TEXT("0"));
    }
    return true;
}

bool SaveCalibrationFile(TouchController* controller)
{
    const CalibrationData calib = CopyCalibration(controller);
    const Path path = SettingsPath();
    if (path[0] == 0)
        return true;
    WriteInteger(&path, TEXT("PanelOrient"), static_cast<int32_t>(calib.orientation));
    WriteInteger(&path, TEXT("Mode"), static_cast<int32_t>(calib.pointCount));
    WriteInteger(&path, TEXT("STD_MIN_X"), calib.stdMinX);
    WriteInteger(&path, TEXT("STD_MAX_X"), calib.stdMaxX);
    WriteInteger(&path, TEXT("STD_MIN_Y"), calib.stdMinY);
    WriteInteger(&path, TEXT("STD_MAX_Y"), calib.stdMaxY);
    for (uint32_t i = 0; i < calib.pointCount && i < MAX_CALIBRATION_POINTS; ++i) {
        WriteInteger(&path, PointKey(i, 'X').data(), calib.advPoints[i].x);
        WriteInteger(&path, PointKey(i, 'Y').data(), calib.advPoints[i].y);
    }
    WritePrivateProfileStringW(nullptr, nullptr, nullptr, path.data()); // all of them reach the disk now
    return true;
}

bool LocateSettingsFile(WCHAR* path)
{
    Path folder{};
    const bool folderKnown = SHGetFolderPathW(nullptr, CSIDL_SYSTEM, nullptr, SHGFP_TYPE_DEFAULT, folder.data()) >= 0;
    FormatBounded(path, TEXT_CAPACITY, TEXT("%s\\%s"), folder.data(), FILE_NAME);
    return folderKnown && CanOpen(path, GENERIC_READ, FILE_ATTRIBUTE_NORMAL);
}

} // namespace korvex
